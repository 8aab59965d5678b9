// platform/platform.h: everything the component asks of the operating
// system. Code outside platform/ includes this and no system header.
//
// The seam keeps the handheld system's own vocabulary: Win32 error numbers,
// access, share and disposition flags, attribute bits, FILETIME ticks and
// SYSTEMTIME records, and device paths ("\Windows\win.ini"). Each backend
// translates to its host; the core holds every rule of the language.
//
//   errors, modules | files | time, locale | the platform record
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace plat {

// ---- Errors -----------------------------------------------------------------

// A Win32 error number on every backend; the language functions report these
// numbers and the system's text for them. 0 is success.
using SysErr = std::uint32_t;
inline constexpr SysErr kOk = 0;

// The numbers the core tests for by name.
inline constexpr SysErr kErrFileNotFound = 2;
inline constexpr SysErr kErrPathNotFound = 3;
inline constexpr SysErr kErrAccessDenied = 5;
inline constexpr SysErr kErrInvalidHandle = 6;
inline constexpr SysErr kErrNoMoreFiles = 18;
inline constexpr SysErr kErrSharingViolation = 32;
inline constexpr SysErr kErrLockViolation = 33;
inline constexpr SysErr kErrFileExists = 80;
inline constexpr SysErr kErrInvalidParameter = 87;
inline constexpr SysErr kErrDiskFull = 112;
inline constexpr SysErr kErrProcNotFound = 127;
inline constexpr SysErr kErrModNotFound = 126;
inline constexpr SysErr kErrLockFailed = 162;
inline constexpr SysErr kErrAlreadyExists = 183;
inline constexpr SysErr kErrFilenameTooLong = 206;
inline constexpr SysErr kErrIoPending = 997;
inline constexpr SysErr kErrPrivilegeNotHeld = 1314;

// ---- Modules ----------------------------------------------------------------

// A loaded module: the VM's module handles arrive as words, and libraries
// loaded by name are handed out as words too. 0 is no module.
using Module = std::uintptr_t;

class Modules {
 public:
  virtual ~Modules() = default;
  // The named export of a module given by the VM, or null.
  virtual void* FindExport(Module module, const char* name) = 0;
};

// Libraries loaded by name ("coredll.dll", "TOOLHELP.DLL", ...), compared
// without regard to case. Each exposes only the entry points the backend can
// really carry out, so the core's fallbacks run where one is missing.
class Libraries {
 public:
  virtual ~Libraries() = default;
  // 0 and error 126 for a library the backend does not have.
  virtual Module LoadLibrary(std::u16string_view name) = 0;
  // Null and error 127 when the library lacks the entry point.
  virtual void* GetProcAddress(Module library, const char* name) = 0;
  virtual bool FreeLibrary(Module library) = 0;
};

// Entry points that libraries hand out keep the system's signatures and
// records. "GetFileAttributesExW" of "COREDLL.DLL", level 0:
struct Win32AttributeData {  // WIN32_FILE_ATTRIBUTE_DATA
  std::uint32_t attributes;
  std::uint32_t creation_low, creation_high;
  std::uint32_t access_low, access_high;
  std::uint32_t write_low, write_high;
  std::uint32_t size_high, size_low;
};
using GetFileAttributesExFn = int (*)(const char16_t* path, int level,
                                      Win32AttributeData* data);
// "CoCreateGuid" of "ole32.dll": fills the 16 bytes of a GUID record as it
// lies in memory (little-endian fields) and returns 0 (S_OK).
using CoCreateGuidFn = long (*)(std::uint8_t guid[16]);

// "TOOLHELP.DLL": snapshots of processes and modules. The records keep the
// handheld's layout (32-bit fields, UTF-16 names) and sizes, which the
// caller puts in `size` before the first call.
struct ProcessEntry32 {  // PROCESSENTRY32W
  std::uint32_t size;    // 564
  std::uint32_t usage;
  std::uint32_t process_id;
  std::uint32_t default_heap_id;
  std::uint32_t module_id;
  std::uint32_t threads;
  std::uint32_t parent_process_id;
  std::int32_t priority_base;
  std::uint32_t flags;
  char16_t exe_file[260];  // the executable's file name
  std::uint32_t memory_base;
  std::uint32_t access_key;
};
static_assert(sizeof(ProcessEntry32) == 564, "the handheld's record");
struct ModuleEntry32 {  // MODULEENTRY32W
  std::uint32_t size;   // 1,076
  std::uint32_t module_id;
  std::uint32_t process_id;
  std::uint32_t global_usage;
  std::uint32_t process_usage;
  std::uint32_t base_address;
  std::uint32_t base_size;
  std::uint32_t module_handle;
  char16_t module[256];    // the module's file name
  char16_t exe_path[260];  // its full path
  std::uint32_t flags;
  std::uint32_t data_base;
  std::uint32_t base;
};
static_assert(sizeof(ModuleEntry32) == 1076, "the handheld's record");
inline constexpr std::uint32_t kSnapProcess = 0x00000002;
inline constexpr std::uint32_t kSnapModule = 0x00000008;
inline constexpr std::uint32_t kSnapNoHeaps = 0x40000000;
// CreateToolhelp32Snapshot(flags, process id): kInvalidHandle on failure.
using CreateToolhelp32SnapshotFn = std::intptr_t (*)(std::uint32_t flags,
                                                     std::uint32_t process_id);
using Process32Fn = int (*)(std::intptr_t snapshot, ProcessEntry32* entry);
using Module32Fn = int (*)(std::intptr_t snapshot, ModuleEntry32* entry);
using CloseToolhelp32SnapshotFn = int (*)(std::intptr_t snapshot);
// "PSAPI.DLL", over a process handle of Processes::Open (rights 0x410).
using EnumProcessModulesFn = int (*)(std::intptr_t process, Module* modules,
                                     std::uint32_t bytes,
                                     std::uint32_t* needed);
using GetModuleFileNameExFn = std::uint32_t (*)(std::intptr_t process,
                                                Module module, char16_t* name,
                                                std::uint32_t size);

// ---- Files ------------------------------------------------------------------

// A system handle: an open file, a directory opened with backup semantics,
// or a search. kInvalidHandle is none.
using Handle = std::intptr_t;
inline constexpr Handle kInvalidHandle = -1;

// Access rights, share modes, dispositions and flags of an open.
inline constexpr std::uint32_t kGenericRead = 0x80000000u;
inline constexpr std::uint32_t kGenericWrite = 0x40000000u;
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;
inline constexpr std::uint32_t kShareDelete = 4;
inline constexpr std::uint32_t kCreateNew = 1;
inline constexpr std::uint32_t kCreateAlways = 2;
inline constexpr std::uint32_t kOpenExisting = 3;
inline constexpr std::uint32_t kOpenAlways = 4;
inline constexpr std::uint32_t kTruncateExisting = 5;
inline constexpr std::uint32_t kFlagBackupSemantics = 0x02000000u;
inline constexpr std::uint32_t kFlagRandomAccess = 0x10000000u;

// Attribute bits.
inline constexpr std::uint32_t kAttrReadOnly = 0x01;
inline constexpr std::uint32_t kAttrHidden = 0x02;
inline constexpr std::uint32_t kAttrSystem = 0x04;
inline constexpr std::uint32_t kAttrDirectory = 0x10;
inline constexpr std::uint32_t kAttrArchive = 0x20;
inline constexpr std::uint32_t kAttrNormal = 0x80;
inline constexpr std::uint32_t kAttrCompressed = 0x800;
inline constexpr std::uint32_t kInvalidAttributes = 0xFFFFFFFFu;

// Seek origins.
inline constexpr std::uint32_t kSeekBegin = 0;
inline constexpr std::uint32_t kSeekCurrent = 1;
inline constexpr std::uint32_t kSeekEnd = 2;

// A FILETIME: 100-nanosecond ticks since 1 January 1601, UTC.
using FileTime = std::uint64_t;

// A SYSTEMTIME: calendar fields, day of week 0 = Sunday.
struct SystemTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;
  std::uint16_t day_of_week = 0;
  std::uint16_t day = 0;
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;
};

// What a search or an attribute query tells of one entry.
struct FileData {
  std::uint32_t attributes = 0;
  FileTime creation = 0;
  FileTime last_access = 0;
  FileTime last_write = 0;
  std::uint64_t size = 0;
  std::u16string name;  // the entry's name (searches only), case kept
};

// Files and directories, named by device paths: "\" and "/" both separate,
// a path that does not begin with one is taken from the device root, names
// keep their case and are found without regard to it. Every call returns
// kOk or the error it also leaves as the thread's last error.
class Files {
 public:
  virtual ~Files() = default;

  // Opening: a file open for writing refuses a conflicting open from any
  // handle or process with error 32, as the share modes say. A directory
  // opens only with kFlagBackupSemantics (for its times).
  virtual SysErr Open(std::u16string_view path, std::uint32_t access,
                      std::uint32_t share, std::uint32_t disposition,
                      std::uint32_t flags_and_attributes, Handle* out) = 0;
  virtual SysErr Close(Handle handle) = 0;
  virtual SysErr Read(Handle handle, void* buffer, std::uint32_t count,
                      std::uint32_t* read) = 0;
  virtual SysErr Write(Handle handle, const void* buffer,
                       std::uint32_t count, std::uint32_t* written) = 0;
  // Moves the handle's position; *position (when given) receives the new one.
  virtual SysErr Seek(Handle handle, std::int64_t offset,
                      std::uint32_t origin, std::uint64_t* position) = 0;
  // Cuts or extends the file at the handle's position.
  virtual SysErr SetEnd(Handle handle) = 0;
  virtual SysErr Flush(Handle handle) = 0;
  virtual SysErr Size(Handle handle, std::uint64_t* size) = 0;
  // Null pointers leave a time unread or unchanged.
  virtual SysErr GetTimes(Handle handle, FileTime* creation,
                          FileTime* last_access, FileTime* last_write) = 0;
  virtual SysErr SetTimes(Handle handle, const FileTime* creation,
                          const FileTime* last_access,
                          const FileTime* last_write) = 0;

  // Attributes: read-only, hidden, system and archive are kept per file;
  // directory and normal are derived. kInvalidAttributes on failure.
  virtual SysErr GetAttributes(std::u16string_view path,
                               std::uint32_t* attributes) = 0;
  virtual SysErr SetAttributes(std::u16string_view path,
                               std::uint32_t attributes) = 0;
  // Attributes, times and size of one entry (name left empty).
  virtual SysErr GetAttributeData(std::u16string_view path,
                                  FileData* data) = 0;

  // Searching: the pattern's last component may hold "*" and "?" ("*.*"
  // matches every name); "." and ".." are never listed. An empty result is
  // error 2 from FindFirst; the end of a search is error 18.
  virtual SysErr FindFirst(std::u16string_view pattern, FileData* data,
                           Handle* out) = 0;
  virtual SysErr FindNext(Handle search, FileData* data) = 0;
  virtual SysErr FindClose(Handle search) = 0;

  // Read-only files and directories refuse removal with error 5.
  virtual SysErr Remove(std::u16string_view path) = 0;
  virtual SysErr Move(std::u16string_view from, std::u16string_view to) = 0;
  // Copies contents, attributes and the write time.
  virtual SysErr Copy(std::u16string_view from, std::u16string_view to,
                      bool fail_if_exists) = 0;
  // Error 183 when the directory exists.
  virtual SysErr MakeDirectory(std::u16string_view path) = 0;
  virtual SysErr RemoveDir(std::u16string_view path) = 0;

  // Bytes free to the caller and in total on the volume holding `path`.
  virtual SysErr FreeSpace(std::u16string_view path, std::uint64_t* free,
                           std::uint64_t* total) = 0;
  // The temporary directory, with a trailing "\", created when missing.
  virtual SysErr TempPath(std::u16string* path) = 0;
  // Creates "<directory>\<3 prefix chars><hex>.tmp" (unique 0: a new name,
  // the file created empty; otherwise that number, nothing created).
  virtual SysErr TempFileName(std::u16string_view directory,
                              std::u16string_view prefix,
                              std::uint32_t unique,
                              std::u16string* name) = 0;
  // The device path of the running program.
  virtual SysErr ProgramFile(std::u16string* path) = 0;
};

// ---- Time, locale and errors -----------------------------------------------

// What GetVersionEx tells.
struct OsVersion {
  std::uint32_t major = 0;
  std::uint32_t minor = 0;
  std::uint32_t build = 0;
  std::uint32_t platform_id = 0;
  std::u16string service_pack;  // szCSDVersion, at most 127 characters
  std::uint16_t suite_mask = 0;  // wSuiteMask of the extended record
};
inline constexpr std::uint32_t kPlatformDesktop = 2;  // VER_PLATFORM_WIN32_NT
inline constexpr std::uint32_t kPlatformHandheld = 3;  // VER_PLATFORM_WIN32_CE

class SystemInfo {
 public:
  virtual ~SystemInfo() = default;
  // The system's text for an error code, without a trailing line break;
  // empty when the system has none.
  virtual std::u16string ErrorText(SysErr code) = 0;
  virtual SysErr LastError() = 0;
  virtual void SetLastError(SysErr code) = 0;

  virtual SystemTime LocalTime() = 0;
  // Needs privileges the caller may lack: then error 1314, nothing changed.
  virtual SysErr SetLocalTime(const SystemTime& time) = 0;
  // Milliseconds since the system started, wrapping at 2^32.
  virtual std::uint32_t TickCount() = 0;
  // The user's language identifier (1036 French, 1033 English US, ...).
  virtual std::uint16_t UserDefaultLangId() = 0;
  // Minutes to add to UTC for local time at the given UTC instant.
  virtual std::int32_t UtcOffsetMinutes(FileTime utc) = 0;
  // GetVersionEx. Platform id 2 is the desktop class (Linux reports it,
  // from uname); the handheld's is 3.
  virtual OsVersion Version() = 0;
  // The platform type text ("PocketPC", "Smartphone"), as SystemParametersInfo
  // writes it for SPI_GETPLATFORMTYPE in a 64-character buffer. A desktop
  // system has none and refuses with kErrInvalidSpiValue.
  virtual SysErr PlatformType(std::u16string* text) = 0;
};
inline constexpr SysErr kErrInvalidSpiValue = 1439;  // ERROR_INVALID_SPI_VALUE

// ---- Registry ---------------------------------------------------------------

// An open key (HKEY). The four predefined roots are always open and never
// closed; 0 is no key, and any call given it fails with error 6.
using Key = std::uintptr_t;
inline constexpr Key kClassesRoot = 0x80000000u;
inline constexpr Key kCurrentUser = 0x80000001u;
inline constexpr Key kLocalMachine = 0x80000002u;
inline constexpr Key kUsers = 0x80000003u;

// Access rights of an open key; an operation outside them fails with 5.
inline constexpr std::uint32_t kKeyQueryValue = 0x0001;
inline constexpr std::uint32_t kKeySetValue = 0x0002;
inline constexpr std::uint32_t kKeyCreateSubKey = 0x0004;
inline constexpr std::uint32_t kKeyEnumerateSubKeys = 0x0008;
inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyWrite = 0x20006;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;

// Value types.
inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegDwordBigEndian = 5;
inline constexpr std::uint32_t kRegLink = 6;
inline constexpr std::uint32_t kRegMultiSz = 7;
inline constexpr std::uint32_t kRegQword = 11;

// Errors of the registry besides 2, 5, 6 and 87.
inline constexpr SysErr kErrMoreData = 234;
inline constexpr SysErr kErrNoMoreItems = 259;
inline constexpr SysErr kErrBadDb = 1009;          // the store is not one
inline constexpr SysErr kErrRegistryIoFailed = 1016;
inline constexpr SysErr kErrKeyDeleted = 1018;     // the open key is gone

// What RegQueryInfoKey tells: counts, and the longest subkey name, value
// name (characters, no terminator) and value data (bytes).
struct KeyInfo {
  std::uint32_t subkeys = 0;
  std::uint32_t max_subkey_name = 0;
  std::uint32_t values = 0;
  std::uint32_t max_value_name = 0;
  std::uint32_t max_value_data = 0;
};

// The system registry. A subkey path may hold several names separated by
// "\"; names compare without regard to case and keep their case. A value
// keeps its type and raw bytes; the empty name is the key's default value.
// Subkeys enumerate by name (case folded), values in the order they were
// first set; both orders are stable while nothing is added or deleted.
// Every call returns kOk or the error it also leaves as the last error.
//
// Rights an open key needs: kKeyQueryValue to query or enumerate values and
// for QueryInfo, kKeySetValue to set or delete a value, kKeyEnumerateSubKeys
// for EnumKey; 5 without. A handle whose key was deleted, by this process or
// another, gives 1018 on every call but CloseKey. A store that cannot be read
// gives 1009, one that cannot be written 5 (or 1016), one held by another
// process past a few seconds 170.
class Registry {
 public:
  virtual ~Registry() = default;

  // An empty subkey opens `parent` again (a new handle). As on Windows NT,
  // one trailing "\" is accepted and a leading one gives 161; an empty name
  // inside the path or one over 255 characters gives 87; a missing key 2.
  // Opening needs no right on `parent`; *out is 0 on failure.
  virtual SysErr OpenKey(Key parent, std::u16string_view subkey,
                         std::uint32_t access, Key* out) = 0;
  // Creates the missing keys of the path in one step; *created (when given)
  // tells whether the last one was new. Creating needs kKeyCreateSubKey on
  // `parent`; opening an existing key does not.
  virtual SysErr CreateKey(Key parent, std::u16string_view subkey,
                           std::uint32_t access, Key* out, bool* created) = 0;
  // Closing a predefined root succeeds and leaves it open.
  virtual SysErr CloseKey(Key key) = 0;

  // RegQueryValueEx: `data` null asks the size only; a buffer smaller than
  // the value gives 234 with *size set to what is needed. `type` may be null.
  virtual SysErr QueryValue(Key key, std::u16string_view name,
                            std::uint32_t* type, std::uint8_t* data,
                            std::uint32_t* size) = 0;
  // A value name over 16,383 characters gives 87.
  virtual SysErr SetValue(Key key, std::u16string_view name,
                          std::uint32_t type, const std::uint8_t* data,
                          std::uint32_t size) = 0;
  virtual SysErr DeleteValue(Key key, std::u16string_view name) = 0;

  // Enumeration by index from 0: 259 past the end. EnumValue fills the
  // name, and the type and data as QueryValue does (each may be null); on
  // 234 the name, type and size needed are still filled.
  virtual SysErr EnumKey(Key key, std::uint32_t index,
                         std::u16string* name) = 0;
  virtual SysErr EnumValue(Key key, std::uint32_t index, std::u16string* name,
                           std::uint32_t* type, std::uint8_t* data,
                           std::uint32_t* size) = 0;
  virtual SysErr QueryInfo(Key key, KeyInfo* info) = 0;

  // Deletes a key without subkeys (one with subkeys gives 5) and its values.
  // An empty subkey deletes `parent` itself; a predefined root gives 5.
  virtual SysErr DeleteKey(Key parent, std::u16string_view subkey) = 0;
};

// ---- Processes --------------------------------------------------------------

using ProcessId = std::uint32_t;
// The exit code of a process that has not ended (STILL_ACTIVE).
inline constexpr std::uint32_t kStillActive = 259;
// Rights of an opened process.
inline constexpr std::uint32_t kProcessTerminate = 0x0001;
inline constexpr std::uint32_t kProcessVmRead = 0x0010;
inline constexpr std::uint32_t kProcessQueryInformation = 0x0400;
// Wait results besides kOk (the process ended).
inline constexpr SysErr kWaitTimeout = 258;
// A window message of the thread's queue (MSG); 15 is WM_PAINT.
inline constexpr std::uint32_t kMessagePaint = 15;
struct WindowMessage {
  std::uintptr_t window = 0;
  std::uint32_t message = 0;
  std::uintptr_t wparam = 0;
  std::intptr_t lparam = 0;
};

struct ProcessInfo {  // PROCESS_INFORMATION
  Handle process = kInvalidHandle;
  Handle thread = kInvalidHandle;
  ProcessId process_id = 0;
  ProcessId thread_id = 0;
};

// Programs are device paths, as files are. Process and thread handles are
// closed with CloseHandle; every call returns kOk or the error it also
// leaves as the last error.
class Processes {
 public:
  virtual ~Processes() = default;
  // CreateProcess: `program` is the program's device path, `arguments` the
  // rest of the command line, split into words by the system's rules. No
  // handle is inherited; the environment is the caller's.
  virtual SysErr Create(std::u16string_view program,
                        std::u16string_view arguments, ProcessInfo* out) = 0;
  // OpenProcess: 87 when no process has that identifier.
  virtual SysErr Open(ProcessId id, std::uint32_t access, Handle* out) = 0;
  // GetExitCodeProcess: kStillActive while it runs.
  virtual SysErr ExitCode(Handle process, std::uint32_t* code) = 0;
  virtual SysErr Terminate(Handle process, std::uint32_t code) = 0;
  // WaitForSingleObject on a process: kOk once it has ended, kWaitTimeout
  // when it has not within `milliseconds`.
  virtual SysErr Wait(Handle process, std::uint32_t milliseconds) = 0;
  virtual SysErr CloseHandle(Handle handle) = 0;
  virtual ProcessId CurrentProcessId() = 0;

  // The calling thread's message queue, as a waiting launch pumps it:
  // PeekMessage with removal (false when empty), then TranslateMessage and
  // DispatchMessage. A Linux process has no windows: its queue is empty.
  virtual bool TakeMessage(WindowMessage* message) = 0;
  virtual void DispatchMessage(const WindowMessage& message) = 0;
  virtual void Sleep(std::uint32_t milliseconds) = 0;
};

// ---- The platform -----------------------------------------------------------

struct Platform {
  Modules& modules;
  SystemInfo& system;
  Files& files;
  Libraries& libraries;
  Registry& registry;
  Processes& processes;
};

// The backend linked into this build; never destroyed.
Platform& Current();

// Tests: Current() returns another platform until the scope ends.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(Platform& replacement);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* previous_;
};

// ---- Conversions every backend shares (platform/time_convert.cpp) ----------

// False when the record is out of the FILETIME range or not a date.
bool SystemTimeToFileTime(const SystemTime& time, FileTime* out);
// Fills every field, day of week included.
bool FileTimeToSystemTime(FileTime time, SystemTime* out);
// Local and UTC through SystemInfo::UtcOffsetMinutes.
FileTime FileTimeToLocal(FileTime utc);
FileTime LocalToFileTime(FileTime local);

}  // namespace plat

// platform/posix/posix_files.cpp: opening files as the handheld does
// (dispositions, share modes, read-only files) and the calls on a handle.
#include "platform/posix/posix_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/device_paths.h"
#include "platform/posix/file_meta.h"
#include "platform/posix/share_modes.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr std::uint32_t kGenericAll = 0x10000000u;
constexpr std::uint32_t kCreationBits =
    kAttrReadOnly | kAttrHidden | kAttrSystem | kAttrArchive;

// The error for an open() that failed on `host`.
SysErr OpenError(int e, const std::string& host) {
  switch (e) {
    case ENOENT:
      return MissingError(host);
    case EISDIR:
      return kErrAccessDenied;
    default:
      return FromErrno(e);
  }
}

// Sets the bits a created (or overwritten) file gets: those asked for, and
// archive. A read-only file keeps its descriptor writable.
void ApplyCreationAttributes(int fd, std::uint32_t flags, bool created) {
  const std::uint32_t bits = (flags & kCreationBits) | kAttrArchive;
  if (created) WriteCreationTime({fd, nullptr}, FileTimeNow());
  WriteKeptBits({fd, nullptr}, bits & kKeptFileBits);
  if ((bits & kAttrReadOnly) != 0) {
    struct stat st;
    if (fstat(fd, &st) == 0) fchmod(fd, st.st_mode & ~0222u);
  }
}

// Directories open for their times only, and take no part in sharing.
SysErr OpenDirectory(const std::string& host, std::uint32_t access,
                     std::uint32_t disposition, std::uint32_t flags,
                     OpenFile* out) {
  if ((flags & kFlagBackupSemantics) == 0) return kErrAccessDenied;
  if (disposition == kCreateNew) return kErrFileExists;
  if (disposition == kCreateAlways || disposition == kTruncateExisting)
    return kErrAccessDenied;
  const int fd = open(host.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return OpenError(errno, host);
  *out = OpenFile{fd, access, true, false};
  return kOk;
}

// Opens without creating; when the file is missing and the disposition
// allows, creates it exclusively, so *created is exact.
int OpenOrCreate(const std::string& host, int oflags, std::uint32_t disposition,
                 bool* created) {
  *created = false;
  if (disposition == kCreateNew) {
    *created = true;
    return open(host.c_str(), oflags | O_CREAT | O_EXCL, 0666);
  }
  if (disposition == kOpenExisting || disposition == kTruncateExisting)
    return open(host.c_str(), oflags);
  for (;;) {
    const int fd = open(host.c_str(), oflags);
    if (fd >= 0 || errno != ENOENT) return fd;
    const int made = open(host.c_str(), oflags | O_CREAT | O_EXCL, 0666);
    if (made >= 0 || errno != EEXIST) {
      *created = made >= 0;
      return made;
    }
  }
}

struct ReadyFile {
  OpenFile file;
  SysErr error = kOk;
};

// The file of a handle, or 6.
ReadyFile Lookup(Handle handle) {
  ReadyFile ready;
  if (!Handles().File(handle, &ready.file)) ready.error = kErrInvalidHandle;
  return ready;
}

bool CanRead(const OpenFile& f) { return (f.access & kGenericRead) != 0; }
bool CanWrite(const OpenFile& f) { return (f.access & kGenericWrite) != 0; }

// A file written through a handle gets the archive bit, once per handle.
void MarkArchive(Handle handle, const OpenFile& file) {
  if (file.archived) return;
  std::uint32_t bits = 0;
  if (ReadKeptBits({file.fd, nullptr}, &bits) && (bits & kAttrArchive) == 0)
    WriteKeptBits({file.fd, nullptr}, bits | kAttrArchive);
  Handles().MarkArchived(handle);
}

}  // namespace

// ---- Handle registry --------------------------------------------------------

// A plain static: the component may be unloaded, and the table goes with it.
HandleRegistry& Handles() {
  static HandleRegistry registry;
  return registry;
}

Handle HandleRegistry::Add(OpenFile file) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Handle handle = next_;
  next_ += 4;
  entries_.emplace(handle, file);
  return handle;
}

Handle HandleRegistry::Add(Search search) {
  std::lock_guard<std::mutex> lock(mutex_);
  const Handle handle = next_;
  next_ += 4;
  entries_.emplace(handle, std::move(search));
  return handle;
}

bool HandleRegistry::File(Handle handle, OpenFile* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it == entries_.end() || !std::holds_alternative<OpenFile>(it->second))
    return false;
  *out = std::get<OpenFile>(it->second);
  return true;
}

void HandleRegistry::MarkArchived(Handle handle) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it != entries_.end() && std::holds_alternative<OpenFile>(it->second))
    std::get<OpenFile>(it->second).archived = true;
}

bool HandleRegistry::TakeFile(Handle handle, OpenFile* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it == entries_.end() || !std::holds_alternative<OpenFile>(it->second))
    return false;
  *out = std::get<OpenFile>(it->second);
  entries_.erase(it);
  return true;
}

SysErr HandleRegistry::NextEntry(Handle handle, FileData* out) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it == entries_.end() || !std::holds_alternative<Search>(it->second))
    return kErrInvalidHandle;
  Search& search = std::get<Search>(it->second);
  if (search.next >= search.entries.size()) return kErrNoMoreFiles;
  *out = search.entries[search.next++];
  return kOk;
}

bool HandleRegistry::RemoveSearch(Handle handle) {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto it = entries_.find(handle);
  if (it == entries_.end() || !std::holds_alternative<Search>(it->second))
    return false;
  entries_.erase(it);
  return true;
}

// ---- Opening ----------------------------------------------------------------

SysErr OpenDescriptor(std::u16string_view path, std::uint32_t access,
                      std::uint32_t share, std::uint32_t disposition,
                      std::uint32_t flags, OpenFile* out, bool* created) {
  bool made = false;
  if (created != nullptr) *created = false;
  if (disposition < kCreateNew || disposition > kTruncateExisting)
    return kErrInvalidParameter;
  if ((access & kGenericAll) != 0) access |= kGenericRead | kGenericWrite;
  access &= kGenericRead | kGenericWrite;
  const bool writes = (access & kGenericWrite) != 0;
  if (disposition == kTruncateExisting && !writes) return kErrInvalidParameter;

  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  struct stat st;
  if (stat(host.path.c_str(), &st) == 0 && S_ISDIR(st.st_mode))
    return OpenDirectory(host.path, access, disposition, flags, out);

  // Create-always truncates even for a reader, so it needs a writable
  // descriptor; the handle still allows only what was asked.
  const bool modifies = writes || disposition == kCreateAlways;
  const int oflags = (modifies ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY;
  const int fd = OpenOrCreate(host.path, oflags, disposition, &made);
  if (fd < 0) return OpenError(errno, host.path);

  // Root may write anything: the handheld's read-only bit is honoured here.
  if (!made && modifies && fstat(fd, &st) == 0 && (st.st_mode & S_IWUSR) == 0) {
    close(fd);
    return kErrAccessDenied;
  }
  if (const SysErr err = AcquireShare(fd, access, share); err != kOk) {
    close(fd);
    return err;
  }
  // Truncation waits until the share modes agree, so a refused open leaves
  // the file as it was.
  if (!made &&
      (disposition == kCreateAlways || disposition == kTruncateExisting)) {
    if (ftruncate(fd, 0) != 0) {
      const SysErr err = FromErrno(errno);
      close(fd);
      return err;
    }
  }
  if (made || disposition == kCreateAlways)
    ApplyCreationAttributes(fd, flags, made);
  if ((flags & kFlagRandomAccess) != 0)
    posix_fadvise(fd, 0, 0, POSIX_FADV_RANDOM);
  *out = OpenFile{fd, access, false, false};
  if (created != nullptr) *created = made;
  return kOk;
}

SysErr PosixFiles::Open(std::u16string_view path, std::uint32_t access,
                        std::uint32_t share, std::uint32_t disposition,
                        std::uint32_t flags_and_attributes, Handle* out) {
  *out = kInvalidHandle;
  OpenFile file;
  const SysErr err = OpenDescriptor(path, access, share, disposition,
                                    flags_and_attributes, &file);
  if (err == kOk) *out = Handles().Add(file);
  return Done(err);
}

SysErr PosixFiles::Close(Handle handle) {
  OpenFile file;
  if (!Handles().TakeFile(handle, &file)) return Done(kErrInvalidHandle);
  return Done(close(file.fd) == 0 || errno == EINTR ? kOk : FromErrno(errno));
}

// ---- Calls on a handle ------------------------------------------------------

SysErr PosixFiles::Read(Handle handle, void* buffer, std::uint32_t count,
                        std::uint32_t* read_count) {
  if (read_count != nullptr) *read_count = 0;
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  if (f.file.directory) return Done(1);
  if (!CanRead(f.file)) return Done(kErrAccessDenied);
  ssize_t got;
  do {
    got = ::read(f.file.fd, buffer, count);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return DoneErrno();
  if (read_count != nullptr) *read_count = static_cast<std::uint32_t>(got);
  return Done(kOk);
}

SysErr PosixFiles::Write(Handle handle, const void* buffer, std::uint32_t count,
                         std::uint32_t* written) {
  if (written != nullptr) *written = 0;
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  if (f.file.directory) return Done(1);
  if (!CanWrite(f.file)) return Done(kErrAccessDenied);
  const char* bytes = static_cast<const char*>(buffer);
  std::uint32_t done = 0;
  SysErr err = kOk;
  while (done < count) {
    const ssize_t put = ::write(f.file.fd, bytes + done, count - done);
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) {
      err = FromErrno(errno);
      break;
    }
    if (put == 0) {
      err = kErrDiskFull;
      break;
    }
    done += static_cast<std::uint32_t>(put);
  }
  if (written != nullptr) *written = done;
  if (done > 0) MarkArchive(handle, f.file);
  return Done(err);
}

SysErr PosixFiles::Seek(Handle handle, std::int64_t offset,
                        std::uint32_t origin, std::uint64_t* position) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  if (f.file.directory) return Done(1);
  static constexpr int kWhence[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  if (origin > kSeekEnd) return Done(kErrInvalidParameter);
  const off_t at = lseek(f.file.fd, offset, kWhence[origin]);
  if (at < 0) return Done(errno == EINVAL ? 131 : FromErrno(errno));
  if (position != nullptr) *position = static_cast<std::uint64_t>(at);
  return Done(kOk);
}

SysErr PosixFiles::SetEnd(Handle handle) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  if (f.file.directory) return Done(1);
  if (!CanWrite(f.file)) return Done(kErrAccessDenied);
  const off_t at = lseek(f.file.fd, 0, SEEK_CUR);
  if (at < 0 || ftruncate(f.file.fd, at) != 0) return DoneErrno();
  MarkArchive(handle, f.file);
  return Done(kOk);
}

SysErr PosixFiles::Flush(Handle handle) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  if (!CanWrite(f.file)) return Done(kErrAccessDenied);
  return Done(fdatasync(f.file.fd) == 0 ? kOk : FromErrno(errno));
}

SysErr PosixFiles::Size(Handle handle, std::uint64_t* size) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  struct stat st;
  if (fstat(f.file.fd, &st) != 0) return DoneErrno();
  *size = f.file.directory ? 0 : static_cast<std::uint64_t>(st.st_size);
  return Done(kOk);
}

SysErr PosixFiles::GetTimes(Handle handle, FileTime* creation,
                            FileTime* last_access, FileTime* last_write) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  struct stat st;
  if (fstat(f.file.fd, &st) != 0) return DoneErrno();
  if (creation != nullptr) *creation = CreationTimeOf({f.file.fd, nullptr}, st);
  if (last_access != nullptr) *last_access = FromTimespec(st.st_atim);
  if (last_write != nullptr) *last_write = FromTimespec(st.st_mtim);
  return Done(kOk);
}

SysErr PosixFiles::SetTimes(Handle handle, const FileTime* creation,
                            const FileTime* last_access,
                            const FileTime* last_write) {
  const ReadyFile f = Lookup(handle);
  if (f.error != kOk) return Done(f.error);
  // The right to change times comes with the handle, even on a file made
  // read-only since it was opened.
  if (!CanWrite(f.file)) return Done(kErrAccessDenied);
  if (creation != nullptr) {
    if (const SysErr err = WriteCreationTime({f.file.fd, nullptr}, *creation);
        err != kOk)
      return Done(err);
  }
  if (last_access == nullptr && last_write == nullptr) return Done(kOk);
  timespec times[2];
  times[0].tv_nsec = times[1].tv_nsec = UTIME_OMIT;
  if (last_access != nullptr) times[0] = ToTimespec(*last_access);
  if (last_write != nullptr) times[1] = ToTimespec(*last_write);
  return Done(futimens(f.file.fd, times) == 0 ? kOk : FromErrno(errno));
}

}  // namespace plat::posix

// platform/posix/posix_files.h: the Files interface over the device root.
//
//   posix_files.cpp    opening and the calls on an open handle
//   posix_entries.cpp  attributes, remove, move, copy, directories
//   posix_find.cpp     searches
//   posix_places.cpp   free space, temporary names, the program's file
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "platform/platform.h"

namespace plat::posix {

// What a file handle stands for. `access` keeps the rights asked for, since
// the descriptor is opened for reading even where only writing was asked
// (share locks need it).
struct OpenFile {
  int fd = -1;
  std::uint32_t access = 0;
  bool directory = false;
  bool archived = false;  // the archive bit is set since the first write
};

// A search: its entries, read when it starts, and the next one to give.
struct Search {
  std::vector<FileData> entries;
  std::size_t next = 0;
};

// The process's handles. Numbers start at 0x100 and grow by 4, like the
// handheld's; a number is never 0 or kInvalidHandle.
class HandleRegistry {
 public:
  Handle Add(OpenFile file);
  Handle Add(Search search);
  // Copies of the entry; false for an unknown handle or another kind.
  bool File(Handle handle, OpenFile* out);
  void MarkArchived(Handle handle);
  bool TakeFile(Handle handle, OpenFile* out);
  // 18 at the end, 6 for an unknown handle.
  SysErr NextEntry(Handle handle, FileData* out);
  bool RemoveSearch(Handle handle);

 private:
  std::mutex mutex_;
  std::unordered_map<Handle, std::variant<OpenFile, Search>> entries_;
  Handle next_ = 0x100;
};

HandleRegistry& Handles();

// The open as Files::Open does it, returning the descriptor instead of a
// handle; *created tells that the file is new.
SysErr OpenDescriptor(std::u16string_view path, std::uint32_t access,
                      std::uint32_t share, std::uint32_t disposition,
                      std::uint32_t flags_and_attributes, OpenFile* out,
                      bool* created = nullptr);

class PosixFiles final : public Files {
 public:
  SysErr Open(std::u16string_view path, std::uint32_t access,
              std::uint32_t share, std::uint32_t disposition,
              std::uint32_t flags_and_attributes, Handle* out) override;
  SysErr Close(Handle handle) override;
  SysErr Read(Handle handle, void* buffer, std::uint32_t count,
              std::uint32_t* read) override;
  SysErr Write(Handle handle, const void* buffer, std::uint32_t count,
               std::uint32_t* written) override;
  SysErr Seek(Handle handle, std::int64_t offset, std::uint32_t origin,
              std::uint64_t* position) override;
  SysErr SetEnd(Handle handle) override;
  SysErr Flush(Handle handle) override;
  SysErr Size(Handle handle, std::uint64_t* size) override;
  SysErr GetTimes(Handle handle, FileTime* creation, FileTime* last_access,
                  FileTime* last_write) override;
  SysErr SetTimes(Handle handle, const FileTime* creation,
                  const FileTime* last_access,
                  const FileTime* last_write) override;

  SysErr GetAttributes(std::u16string_view path,
                       std::uint32_t* attributes) override;
  SysErr SetAttributes(std::u16string_view path,
                       std::uint32_t attributes) override;
  SysErr GetAttributeData(std::u16string_view path, FileData* data) override;

  SysErr FindFirst(std::u16string_view pattern, FileData* data,
                   Handle* out) override;
  SysErr FindNext(Handle search, FileData* data) override;
  SysErr FindClose(Handle search) override;

  SysErr Remove(std::u16string_view path) override;
  SysErr Move(std::u16string_view from, std::u16string_view to) override;
  SysErr Copy(std::u16string_view from, std::u16string_view to,
              bool fail_if_exists) override;
  SysErr MakeDirectory(std::u16string_view path) override;
  SysErr RemoveDir(std::u16string_view path) override;

  SysErr FreeSpace(std::u16string_view path, std::uint64_t* free,
                   std::uint64_t* total) override;
  SysErr TempPath(std::u16string* path) override;
  SysErr TempFileName(std::u16string_view directory, std::u16string_view prefix,
                      std::uint32_t unique, std::u16string* name) override;
  SysErr ProgramFile(std::u16string* path) override;
};

}  // namespace plat::posix

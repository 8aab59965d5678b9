// platform/fake/fake_files.cpp: files through the real backend, with planned
// failures and a disk that fills up.
#include <algorithm>

#include "platform/fake/fake_platform.h"

namespace plat {

void FakeFiles::SetDiskCapacity(std::uint64_t bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  capacity_ = bytes;
}

void FakeFiles::ClearDiskCapacity() {
  std::lock_guard<std::mutex> lock(mutex_);
  capacity_.reset();
}

SysErr FakeFiles::Open(std::u16string_view path, std::uint32_t access,
                       std::uint32_t share, std::uint32_t disposition,
                       std::uint32_t flags_and_attributes, Handle* out) {
  if (const SysErr err = Planned(FileOp::kOpen); err != kOk) {
    *out = kInvalidHandle;
    return err;
  }
  return real_.Open(path, access, share, disposition, flags_and_attributes,
                    out);
}

SysErr FakeFiles::Close(Handle handle) {
  if (const SysErr err = Planned(FileOp::kClose); err != kOk) return err;
  return real_.Close(handle);
}

SysErr FakeFiles::Read(Handle handle, void* buffer, std::uint32_t count,
                       std::uint32_t* read) {
  if (const SysErr err = Planned(FileOp::kRead); err != kOk) {
    if (read != nullptr) *read = 0;
    return err;
  }
  return real_.Read(handle, buffer, count, read);
}

SysErr FakeFiles::Write(Handle handle, const void* buffer, std::uint32_t count,
                        std::uint32_t* written) {
  if (written != nullptr) *written = 0;
  if (const SysErr err = Planned(FileOp::kWrite); err != kOk) return err;
  std::uint32_t fits = count;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (capacity_)
      fits = static_cast<std::uint32_t>(
          std::min<std::uint64_t>(count, *capacity_));
  }
  std::uint32_t done = 0;
  SysErr err = kOk;
  if (fits > 0 || count == 0) err = real_.Write(handle, buffer, fits, &done);
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (capacity_) *capacity_ -= std::min<std::uint64_t>(done, *capacity_);
  }
  if (written != nullptr) *written = done;
  if (err == kOk && fits < count) {
    system_.SetLastError(kErrDiskFull);
    return kErrDiskFull;
  }
  return err;
}

SysErr FakeFiles::Seek(Handle handle, std::int64_t offset, std::uint32_t origin,
                       std::uint64_t* position) {
  if (const SysErr err = Planned(FileOp::kSeek); err != kOk) return err;
  return real_.Seek(handle, offset, origin, position);
}

SysErr FakeFiles::SetEnd(Handle handle) {
  if (const SysErr err = Planned(FileOp::kSetEnd); err != kOk) return err;
  return real_.SetEnd(handle);
}

SysErr FakeFiles::Flush(Handle handle) {
  if (const SysErr err = Planned(FileOp::kFlush); err != kOk) return err;
  return real_.Flush(handle);
}

SysErr FakeFiles::Size(Handle handle, std::uint64_t* size) {
  if (const SysErr err = Planned(FileOp::kSize); err != kOk) return err;
  return real_.Size(handle, size);
}

SysErr FakeFiles::GetTimes(Handle handle, FileTime* creation,
                           FileTime* last_access, FileTime* last_write) {
  if (const SysErr err = Planned(FileOp::kGetTimes); err != kOk) return err;
  return real_.GetTimes(handle, creation, last_access, last_write);
}

SysErr FakeFiles::SetTimes(Handle handle, const FileTime* creation,
                           const FileTime* last_access,
                           const FileTime* last_write) {
  if (const SysErr err = Planned(FileOp::kSetTimes); err != kOk) return err;
  return real_.SetTimes(handle, creation, last_access, last_write);
}

SysErr FakeFiles::GetAttributes(std::u16string_view path,
                                std::uint32_t* attributes) {
  if (const SysErr err = Planned(FileOp::kGetAttributes); err != kOk) {
    *attributes = kInvalidAttributes;
    return err;
  }
  return real_.GetAttributes(path, attributes);
}

SysErr FakeFiles::SetAttributes(std::u16string_view path,
                                std::uint32_t attributes) {
  if (const SysErr err = Planned(FileOp::kSetAttributes); err != kOk)
    return err;
  return real_.SetAttributes(path, attributes);
}

SysErr FakeFiles::GetAttributeData(std::u16string_view path, FileData* data) {
  if (const SysErr err = Planned(FileOp::kGetAttributeData); err != kOk)
    return err;
  return real_.GetAttributeData(path, data);
}

SysErr FakeFiles::FindFirst(std::u16string_view pattern, FileData* data,
                            Handle* out) {
  if (const SysErr err = Planned(FileOp::kFindFirst); err != kOk) {
    *out = kInvalidHandle;
    return err;
  }
  return real_.FindFirst(pattern, data, out);
}

SysErr FakeFiles::FindNext(Handle search, FileData* data) {
  if (const SysErr err = Planned(FileOp::kFindNext); err != kOk) return err;
  return real_.FindNext(search, data);
}

SysErr FakeFiles::FindClose(Handle search) {
  if (const SysErr err = Planned(FileOp::kFindClose); err != kOk) return err;
  return real_.FindClose(search);
}

SysErr FakeFiles::Remove(std::u16string_view path) {
  if (const SysErr err = Planned(FileOp::kRemove); err != kOk) return err;
  return real_.Remove(path);
}

SysErr FakeFiles::Move(std::u16string_view from, std::u16string_view to) {
  if (const SysErr err = Planned(FileOp::kMove); err != kOk) return err;
  return real_.Move(from, to);
}

SysErr FakeFiles::Copy(std::u16string_view from, std::u16string_view to,
                       bool fail_if_exists) {
  if (const SysErr err = Planned(FileOp::kCopy); err != kOk) return err;
  bool limited = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    limited = capacity_.has_value();
  }
  if (!limited) return real_.Copy(from, to, fail_if_exists);
  FileData source;
  if (const SysErr err = real_.GetAttributeData(from, &source); err != kOk)
    return err;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (source.size > *capacity_) {
      system_.SetLastError(kErrDiskFull);
      return kErrDiskFull;
    }
  }
  const SysErr err = real_.Copy(from, to, fail_if_exists);
  if (err == kOk) {
    std::lock_guard<std::mutex> lock(mutex_);
    *capacity_ -= source.size;
  }
  return err;
}

SysErr FakeFiles::MakeDirectory(std::u16string_view path) {
  if (const SysErr err = Planned(FileOp::kMakeDirectory); err != kOk)
    return err;
  return real_.MakeDirectory(path);
}

SysErr FakeFiles::RemoveDir(std::u16string_view path) {
  if (const SysErr err = Planned(FileOp::kRemoveDir); err != kOk) return err;
  return real_.RemoveDir(path);
}

SysErr FakeFiles::FreeSpace(std::u16string_view path, std::uint64_t* free,
                            std::uint64_t* total) {
  if (const SysErr err = Planned(FileOp::kFreeSpace); err != kOk) return err;
  const SysErr err = real_.FreeSpace(path, free, total);
  std::lock_guard<std::mutex> lock(mutex_);
  if (err == kOk && capacity_ && free != nullptr) *free = *capacity_;
  return err;
}

SysErr FakeFiles::TempPath(std::u16string* path) {
  if (const SysErr err = Planned(FileOp::kTempPath); err != kOk) return err;
  return real_.TempPath(path);
}

SysErr FakeFiles::TempFileName(std::u16string_view directory,
                               std::u16string_view prefix, std::uint32_t unique,
                               std::u16string* name) {
  if (const SysErr err = Planned(FileOp::kTempFileName); err != kOk) return err;
  return real_.TempFileName(directory, prefix, unique, name);
}

SysErr FakeFiles::ProgramFile(std::u16string* path) {
  if (const SysErr err = Planned(FileOp::kProgramFile); err != kOk) return err;
  return real_.ProgramFile(path);
}

}  // namespace plat

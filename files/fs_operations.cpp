// files/fs_operations.cpp: the system operations of FileSystemLayer on
// single entries: attributes, delete, move, copy, directories, temporary
// names and free space.
//
//   attributes | delete, move, copy | directories | temporary names
//   free space
#include <string>

#include "files/fs_layer.h"
#include "files/fs_reports.h"

namespace files {

namespace {

plat::Files& Sys() { return plat::Current().files; }

// Temporary names fail spuriously with access denied on version 4.0 of the
// NT platform, where the request is retried. There is no version interface
// on this backend, so the retry never applies here.
bool TempNamesNeedRetries() { return false; }
constexpr int kTempNameTries = 100;

}  // namespace

// ---- Attributes -------------------------------------------------------------

bool FileSystemLayer::GetAttributes(std::u16string_view path,
                                    std::uint32_t* attributes,
                                    frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  if (const plat::SysErr err = Sys().GetAttributes(full, attributes);
      err != plat::kOk) {
    *attributes = plat::kInvalidAttributes;
    FileReport(sink, err, kNoMessage);
    return false;
  }
  return true;
}

bool FileSystemLayer::SetAttributes(std::u16string_view path,
                                    std::uint32_t attributes,
                                    frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  if (const plat::SysErr err = Sys().SetAttributes(full, attributes);
      err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  return true;
}

// ---- Delete, move, copy -----------------------------------------------------

bool FileSystemLayer::DeleteFile(std::u16string_view path,
                                 frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  if (const plat::SysErr err = Sys().Remove(full); err != plat::kOk) {
    FileReport(sink, err, kMsgDeleteFailed, {full});
    return false;
  }
  return true;
}

bool FileSystemLayer::MoveFile(std::u16string_view from, std::u16string_view to,
                               frame::CXError* sink) {
  const std::u16string full_from = FullPath(from);
  const std::u16string full_to = FullPath(to);
  if (const plat::SysErr err = Sys().Move(full_from, full_to);
      err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  return true;
}

bool FileSystemLayer::CopyFile(std::u16string_view from, std::u16string_view to,
                               frame::CXError* sink) {
  const std::u16string full_from = FullPath(from);
  const std::u16string full_to = FullPath(to);
  if (const plat::SysErr err =
          Sys().Copy(full_from, full_to, /*fail_if_exists=*/false);
      err != plat::kOk) {
    FileReport(sink, err, kMsgCopyFailed, {full_from, full_to});
    return false;
  }
  return true;
}

// ---- Directories ------------------------------------------------------------

bool FileSystemLayer::CreateDirectoryChain(std::u16string_view path,
                                           frame::CXError* sink) {
  if (path.empty()) return false;
  std::u16string full = FullPath(path);
  if (full.size() > kMaxPath + 1) full.resize(kMaxPath + 1);
  if (!full.empty() && full.back() == u'\\') full.pop_back();

  // The root is never created: the walk starts after the "\" that follows a
  // drive, after the server name of a "\\server\share" path, or at the start
  // of a device path (where the first cut is the empty root).
  std::size_t start = 0;
  if (const std::size_t colon = full.find(u':');
      colon != std::u16string::npos) {
    const std::size_t slash = full.find(u'\\', colon);
    start = slash == std::u16string::npos ? full.size() : slash + 1;
  } else if (full.starts_with(u"\\\\")) {
    const std::size_t slash = full.find(u'\\', 2);
    start = slash == std::u16string::npos ? full.size() : slash + 1;
  }
  for (std::size_t at = full.find(u'\\', start); at != std::u16string::npos;
       at = full.find(u'\\', at + 1)) {
    if (at == 0) continue;
    const std::u16string part = full.substr(0, at);
    std::uint32_t attributes;
    if (Sys().GetAttributes(part, &attributes) == plat::kOk) continue;
    if (const plat::SysErr err = Sys().MakeDirectory(part);
        err != plat::kOk && err != plat::kErrAlreadyExists) {
      FileReport(sink, err, kMsgCreateDirectoryFailed, {part});
      return false;
    }
  }
  const plat::SysErr err = Sys().MakeDirectory(full);
  if (err == plat::kOk) return true;
  std::uint32_t attributes;
  if (err == plat::kErrAlreadyExists &&
      Sys().GetAttributes(full, &attributes) == plat::kOk &&
      (attributes & plat::kAttrDirectory) != 0) {
    return true;
  }
  FileReport(sink, err, kMsgCreateDirectoryFailed, {full});
  return false;
}

bool FileSystemLayer::RemoveDirectory(std::u16string_view path,
                                      frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  if (const plat::SysErr err = Sys().RemoveDir(full); err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  return true;
}

// ---- Temporary names --------------------------------------------------------

bool FileSystemLayer::GetTempPath(std::u16string* path, frame::CXError* sink) {
  if (const plat::SysErr err = Sys().TempPath(path); err != plat::kOk) {
    FileReport(sink, err, kMsgTempPathFailed);
    return false;
  }
  return true;
}

bool FileSystemLayer::GetTempFileName(std::u16string_view directory,
                                      std::u16string_view prefix,
                                      std::uint32_t unique,
                                      std::u16string* name,
                                      frame::CXError* sink) {
  const std::u16string full = FullPath(directory);
  plat::SysErr err = Sys().TempFileName(full, prefix, unique, name);
  if (err == plat::kErrAccessDenied && TempNamesNeedRetries()) {
    for (int i = 1; i < kTempNameTries && err != plat::kOk; ++i) {
      err = Sys().TempFileName(full, prefix, unique, name);
    }
  }
  if (err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  return true;
}

// ---- Free space -------------------------------------------------------------

bool FileSystemLayer::GetDiskFreeSpace(std::u16string_view path,
                                       std::uint32_t* high, std::uint32_t* low,
                                       frame::CXError* sink) {
  const std::u16string full = FullPath(path);
  std::uint64_t free = 0;
  std::uint64_t total = 0;
  if (const plat::SysErr err = Sys().FreeSpace(full, &free, &total);
      err != plat::kOk) {
    FileReport(sink, err, kNoMessage);
    return false;
  }
  *high = static_cast<std::uint32_t>(free >> 32);
  *low = static_cast<std::uint32_t>(free);
  return true;
}

}  // namespace files

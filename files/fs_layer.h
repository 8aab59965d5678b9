// files/fs_layer.h: FileSystemLayer, the thin layer every file operation
// of the component goes through. It resolves relative paths against the
// program's directory (the system has no current directory), retries where
// the system fails spuriously, and files reports into an optional sink.
// Operations return success; on failure the sink (when given) receives the
// system error and the operation's report naming the path(s).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "files/stream.h"
#include "frame/xerror_record.h"
#include "platform/platform.h"

namespace files {

// A search in progress: the system handle, the bits an entry must have
// (filter) and must not have (mask), and the current entry.
struct FindState {
  plat::Handle handle = plat::kInvalidHandle;
  std::uint32_t filter = 0;
  std::uint32_t mask = 0;
  plat::FileData entry;
};

// Calendar forms of the three times of an entry, as read by
// GetFileAttributesEx.
struct AttributeData {
  std::uint32_t attributes = 0;
  plat::SystemTime creation;
  plat::SystemTime last_access;
  plat::SystemTime last_write;
  std::uint64_t size = 0;
};

class FileSystemLayer {
 public:
  // The full form of `path` in `out` (at most capacity - 1 characters).
  // Returns its length, the size needed when it would not fit (nothing
  // copied), or 0 for an empty path.
  static std::size_t ResolvePath(std::u16string_view path,
                                 std::size_t capacity, std::u16string* out);
  // `target` relative to `base` (".\" or "..\" steps); false past 259.
  static bool MakeRelativePath(std::u16string* out, std::u16string_view target,
                               std::u16string_view base);
  // The text every operation below uses for `path`: its resolved form, or
  // the path as given when it cannot be resolved within kMaxPath.
  static std::u16string FullPath(std::u16string_view path);

  static bool GetAttributes(std::u16string_view path,
                            std::uint32_t* attributes,
                            frame::CXError* sink = nullptr);
  static bool SetAttributes(std::u16string_view path, std::uint32_t attributes,
                            frame::CXError* sink = nullptr);
  static bool DeleteFile(std::u16string_view path,
                         frame::CXError* sink = nullptr);
  static bool MoveFile(std::u16string_view from, std::u16string_view to,
                       frame::CXError* sink = nullptr);
  // Overwrites an existing target.
  static bool CopyFile(std::u16string_view from, std::u16string_view to,
                       frame::CXError* sink = nullptr);
  static bool CreateDirectoryChain(std::u16string_view path,
                                   frame::CXError* sink = nullptr);
  static bool RemoveDirectory(std::u16string_view path,
                              frame::CXError* sink = nullptr);

  // Entries that lack a `filter` bit or carry a `mask` bit are skipped.
  // The end of a search (errors 2 and 18) is a plain false with no report.
  static bool FindFirst(std::u16string_view pattern, FindState* state,
                        std::uint32_t filter, std::uint32_t mask,
                        frame::CXError* sink = nullptr);
  static bool FindNext(FindState* state, frame::CXError* sink = nullptr);
  static void FindClose(FindState* state);

  static bool GetTempPath(std::u16string* path,
                          frame::CXError* sink = nullptr);
  static bool GetTempFileName(std::u16string_view directory,
                              std::u16string_view prefix, std::uint32_t unique,
                              std::u16string* name,
                              frame::CXError* sink = nullptr);
  // The directory of the running program, without a trailing "\".
  static bool GetProgramDirectory(std::u16string* path,
                                  frame::CXError* sink = nullptr);
  static bool GetDiskFreeSpace(std::u16string_view path, std::uint32_t* high,
                               std::uint32_t* low,
                               frame::CXError* sink = nullptr);

  // True when the name holds none of \ / : * ? " < > |.
  static bool IsValidFileName(std::u16string_view name);
  static bool GetFileAttributesEx(std::u16string_view path, AttributeData* data,
                                  frame::CXError* sink = nullptr);

  // Calls `visit` with the full path of each entry matching `pattern` in
  // `directory` (files only unless `directories`), then, with `recurse`,
  // walks each subdirectory. Stops with false at the first false.
  using Visitor = std::function<bool(std::u16string_view full_path,
                                     const plat::FileData& entry)>;
  static bool WalkTree(std::u16string_view directory,
                       std::u16string_view pattern, const Visitor& visit,
                       bool directories, bool recurse);
  // The same walk over every entry, the names matched here: "*.*" or a
  // name part holding "*" or "?" matches all, any other name part only the
  // entry of that name, without regard to case.
  static bool WalkTreeMatching(std::u16string_view directory,
                               std::u16string_view pattern,
                               const Visitor& visit, bool directories,
                               bool recurse);
};

}  // namespace files

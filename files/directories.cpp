// files/directories.cpp: DirectorySize (function 350), DirectoryDelete
// (194) and ParentDirectory (407).
#include <string>
#include <vector>

#include "files/fs_layer.h"
#include "files/path_checks.h"
#include "files/stream.h"
#include "files/walk_hook.h"
#include "frame/conversion.h"
#include "frame/implementations.h"
#include "frame/text.h"

namespace files {

namespace {

// DirectorySize options.
constexpr std::int32_t kSizeNoDescent = 2;
constexpr std::int32_t kSizeInterruptible = 4;
constexpr std::int32_t kSizeQuietWhenEmpty = 8;
// DirectoryDelete options.
constexpr std::int32_t kDeleteRecursive = 1;
constexpr std::int32_t kDeleteClearReadOnly = 8;
// ParentDirectory options.
constexpr std::int32_t kParentRelative = 1;

std::u16string WithSeparator(std::u16string_view path) {
  std::u16string out(path);
  if (out.empty() || (out.back() != u'\\' && out.back() != u'/')) out += u'\\';
  return out;
}

bool IsDirectory(const plat::FileData& entry) {
  return (entry.attributes & plat::kAttrDirectory) != 0;
}

// ---- DirectorySize ----------------------------------------------------------

class SizeWalk {
 public:
  SizeWalk(frame::Self* self, std::int32_t options)
      : self_(self), options_(options) {}

  // The bytes below `directory`, or -1 (reported, or stopped by the host).
  std::int64_t Sum(std::u16string_view directory) {
    const std::u16string folder = WithSeparator(directory);
    FindState state;
    if (!FileSystemLayer::FindFirst(folder + u"*", &state, 0, 0)) {
      const plat::SysErr err = plat::Current().system.LastError();
      const bool normal_end =
          err == plat::kErrFileNotFound || err == plat::kErrNoMoreFiles;
      if ((options_ & kSizeQuietWhenEmpty) == 0 && !normal_end) {
        ReportMessage(self_, kMsgNothingFound, {directory}, err);
        return -1;
      }
      return 0;
    }
    std::int64_t total = 0;
    do {
      if (!HostLetsWalkGoOn((options_ & kSizeInterruptible) != 0)) {
        total = -1;
        break;
      }
      const plat::FileData& entry = state.entry;
      if (!IsDirectory(entry)) {
        total += static_cast<std::int64_t>(entry.size);
        continue;
      }
      if ((options_ & kSizeNoDescent) != 0) continue;
      const std::u16string child = folder + entry.name;
      if (child.size() > static_cast<std::size_t>(kMaxPath)) {
        ReportMessage(self_, kMsgNothingFound, {child},
                      plat::kErrFilenameTooLong);
        total = -1;
        break;
      }
      const std::int64_t below = Sum(child);
      if (below < 0) {
        total = -1;
        break;
      }
      total += below;
    } while (FileSystemLayer::FindNext(&state));
    FileSystemLayer::FindClose(&state);
    return total;
  }

 private:
  frame::Self* self_;
  std::int32_t options_;
};

// ---- DirectoryDelete --------------------------------------------------------

// Deleting reports name the path that failed with the system's message, or
// say that the system gave none.
void ReportNotDeleted(frame::Self* self, std::u16string_view path,
                      plat::SysErr err) {
  const std::u16string reason = frame::SystemErrorText(err);
  if (reason.empty()) {
    ReportMessage(self, kMsgDirectoryNoReason, {}, err);
    return;
  }
  frame::Raise(self, frame::kErrDirectoryDeleteFailed, {path, reason});
  frame::AttachSystemError(frame::ErrorRecord(self), err);
}

// The entries of a directory, read before any is deleted so that the
// search never runs over entries that are going away.
std::vector<plat::FileData> Entries(const std::u16string& folder) {
  std::vector<plat::FileData> entries;
  FindState state;
  if (!FileSystemLayer::FindFirst(folder + u"*", &state, 0, 0)) return entries;
  do {
    entries.push_back(state.entry);
  } while (FileSystemLayer::FindNext(&state));
  FileSystemLayer::FindClose(&state);
  return entries;
}

// Without the recursive option the files go and the subdirectories stay, so
// that removing the directory then fails and is reported.
bool DeleteTree(frame::Self* self, std::u16string_view directory,
                std::int32_t options) {
  const std::u16string folder = WithSeparator(directory);
  for (const plat::FileData& entry : Entries(folder)) {
    const std::u16string path = folder + entry.name;
    if (IsDirectory(entry)) {
      if ((options & kDeleteRecursive) != 0 &&
          !DeleteTree(self, path, options)) {
        return false;
      }
      continue;
    }
    if ((options & kDeleteClearReadOnly) != 0) {
      FileSystemLayer::SetAttributes(path, plat::kAttrNormal);
    }
    frame::CXError scratch;
    if (FileSystemLayer::DeleteFile(path, &scratch)) continue;
    std::uint32_t attributes = 0;
    if (FileSystemLayer::GetAttributes(path, &attributes) &&
        (attributes & plat::kAttrReadOnly) != 0) {
      ReportMessage(self, kMsgReadOnlyNotDeleted, {path});
    } else {
      ReportNotDeleted(self, path, scratch.system_code);
    }
    return false;
  }
  frame::CXError scratch;
  if (!FileSystemLayer::RemoveDirectory(directory, &scratch)) {
    ReportNotDeleted(self, directory, scratch.system_code);
    return false;
  }
  return true;
}

}  // namespace

std::int64_t DirectorySize(frame::Self* self, frame::Word path_word,
                           std::int32_t options) {
  const std::u16string_view path = PathView(path_word);
  if (!CheckAbsolutePath(self, path)) return -1;
  if (!FitsPathBuffer(path)) {
    ReportMessage(self, kMsgNothingFound, {path}, plat::kErrFilenameTooLong);
    return -1;
  }
  return SizeWalk(self, options).Sum(path);
}

// The shell's file operation, which deletes a tree in one request, is for
// systems that have a shell; this component always walks the tree itself.
bool DirectoryDelete(frame::Self* self, frame::Word path_word,
                     std::int32_t options) {
  if ((options & ~(kDeleteRecursive | kDeleteClearReadOnly)) != 0) {
    frame::Raise(self, frame::kErrInvalidOption);
    return false;
  }
  std::u16string path(PathView(path_word));
  // "\dir\*.*" names the directory "\dir\".
  if (const std::size_t star = path.find(u'*'); star != std::u16string::npos) {
    path.resize(star);
  }
  if (!FitsPathBuffer(path)) {
    ReportNotDeleted(self, path, plat::kErrFilenameTooLong);
    return false;
  }
  std::uint32_t attributes = 0;
  if (path.empty() || !FileSystemLayer::GetAttributes(path, &attributes) ||
      (attributes & plat::kAttrDirectory) == 0) {
    frame::Raise(self, frame::kErrDirectoryNotFound, {path});
    return false;
  }
  return DeleteTree(self, path, options);
}

void ParentDirectory(frame::Self* self, frame::AnyValue* result,
                     frame::Word path_word, std::int32_t options) {
  const std::u16string_view path = PathView(path_word);
  const bool relative = (options & kParentRelative) != 0;
  std::u16string parent;
  auto resolve = [&parent](std::u16string_view text) {
    const std::size_t length =
        FileSystemLayer::ResolvePath(text, kMaxPath, &parent);
    if (length == 0 || length >= static_cast<std::size_t>(kMaxPath)) {
      parent.clear();
    }
  };
  // "." and ".." name the program's directory and its parent. They are taken
  // before the absolute path check, which would otherwise refuse them.
  if (path == u".") {
    if (relative)
      parent = u"..";
    else
      resolve(u"..");
  } else if (path == u"..") {
    if (relative)
      parent = u"..\\..";
    else
      resolve(u"..\\..");
  } else {
    if (!CheckAbsolutePath(self, path) || !FitsPathBuffer(path)) {
      frame::MakeText(result, u"");
      return;
    }
    // Kept as is: the ".." appended last is not folded by ResolvePath, so
    // the parent of "\a\b" reads "\a\b\..".
    resolve(WithSeparator(path) + u"..");
    if (relative && !parent.empty()) {
      std::u16string made;
      if (!FileSystemLayer::MakeRelativePath(&made, parent, path)) made.clear();
      parent = std::move(made);
    }
  }
  // The result keeps the argument's kind: UTF-16 text, the only kind this
  // host's path argument has.
  frame::MakeText(result, parent);
}

}  // namespace files

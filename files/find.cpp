// files/find.cpp: searches of FileSystemLayer with the attribute filter and
// mask, and the two tree walks built on them.
#include <string>

#include "files/fs_layer.h"
#include "files/fs_reports.h"
#include "text/letter_case.h"

namespace files {

namespace {

plat::Files& Sys() { return plat::Current().files; }

bool EndsSearch(plat::SysErr err) {
  return err == plat::kErrFileNotFound || err == plat::kErrNoMoreFiles;
}

bool Passes(const FindState& state) {
  const std::uint32_t attributes = state.entry.attributes;
  return (attributes & state.filter) == state.filter &&
         (attributes & state.mask) == 0;
}

// Moves to the next entry that passes; false at the end or on failure, with
// `message` reported for a failure.
bool SkipToPassing(FindState* state, std::uint32_t message,
                   std::u16string_view pattern, frame::CXError* sink) {
  while (!Passes(*state)) {
    const plat::SysErr err = Sys().FindNext(state->handle, &state->entry);
    if (err == plat::kOk) continue;
    if (!EndsSearch(err)) {
      if (message == kMsgFindFirstFailed) {
        FileReport(sink, err, message, {pattern});
      } else {
        FileReport(sink, err, message);
      }
    }
    plat::Current().system.SetLastError(err);
    return false;
  }
  return true;
}

std::u16string Child(std::u16string_view directory, std::u16string_view name) {
  std::u16string path(directory);
  if (!path.empty() && path.back() != u'\\' && path.back() != u'/') {
    path += u'\\';
  }
  path += name;
  return path;
}

bool IsDirectory(const plat::FileData& entry) {
  return (entry.attributes & plat::kAttrDirectory) != 0;
}

bool IsDotEntry(std::u16string_view name) {
  return name == u"." || name == u"..";
}

// The matching rule of the second walk.
bool NameMatches(std::u16string_view pattern, std::u16string_view name) {
  const std::size_t slash = pattern.find_last_of(u"\\/");
  const std::u16string_view part =
      slash == std::u16string_view::npos ? pattern : pattern.substr(slash + 1);
  if (pattern == u"*.*" ||
      part.find_first_of(u"*?") != std::u16string_view::npos) {
    return true;
  }
  return text::EqualAsciiNoCase(part, name);
}

// Calls `step` for every entry of `pattern`; stops with false at the first
// false. An empty or failed search ends the walk quietly.
template <class Step>
bool ForEachEntry(std::u16string_view pattern, Step&& step) {
  FindState state;
  if (!FileSystemLayer::FindFirst(pattern, &state, 0, 0)) return true;
  bool go_on = true;
  do {
    if (IsDotEntry(state.entry.name)) continue;
    if (!step(state.entry)) {
      go_on = false;
      break;
    }
  } while (FileSystemLayer::FindNext(&state));
  FileSystemLayer::FindClose(&state);
  return go_on;
}

}  // namespace

bool FileSystemLayer::FindFirst(std::u16string_view pattern, FindState* state,
                                std::uint32_t filter, std::uint32_t mask,
                                frame::CXError* sink) {
  FindClose(state);
  state->filter = filter;
  state->mask = mask;
  const std::u16string full = FullPath(pattern);
  if (const plat::SysErr err =
          Sys().FindFirst(full, &state->entry, &state->handle);
      err != plat::kOk) {
    state->handle = plat::kInvalidHandle;
    if (!EndsSearch(err)) FileReport(sink, err, kMsgFindFirstFailed, {full});
    plat::Current().system.SetLastError(err);
    return false;
  }
  if (!SkipToPassing(state, kMsgFindFirstFailed, full, sink)) {
    const plat::SysErr err = plat::Current().system.LastError();
    FindClose(state);
    plat::Current().system.SetLastError(err);
    return false;
  }
  return true;
}

bool FileSystemLayer::FindNext(FindState* state, frame::CXError* sink) {
  if (state->handle == plat::kInvalidHandle) {
    plat::Current().system.SetLastError(plat::kErrInvalidHandle);
    return false;
  }
  if (const plat::SysErr err = Sys().FindNext(state->handle, &state->entry);
      err != plat::kOk) {
    if (!EndsSearch(err)) FileReport(sink, err, kMsgFindNextFailed);
    plat::Current().system.SetLastError(err);
    return false;
  }
  return SkipToPassing(state, kMsgFindNextFailed, {}, sink);
}

void FileSystemLayer::FindClose(FindState* state) {
  if (state->handle == plat::kInvalidHandle) return;
  Sys().FindClose(state->handle);
  state->handle = plat::kInvalidHandle;
}

bool FileSystemLayer::WalkTree(std::u16string_view directory,
                               std::u16string_view pattern,
                               const Visitor& visit, bool directories,
                               bool recurse) {
  const bool listed =
      ForEachEntry(Child(directory, pattern), [&](const plat::FileData& entry) {
        if (IsDirectory(entry) && !directories) return true;
        return visit(Child(directory, entry.name), entry);
      });
  if (!listed) return false;
  if (!recurse) return true;
  return ForEachEntry(Child(directory, u"*"), [&](const plat::FileData& entry) {
    if (!IsDirectory(entry)) return true;
    return WalkTree(Child(directory, entry.name), pattern, visit, directories,
                    true);
  });
}

bool FileSystemLayer::WalkTreeMatching(std::u16string_view directory,
                                       std::u16string_view pattern,
                                       const Visitor& visit, bool directories,
                                       bool recurse) {
  return ForEachEntry(Child(directory, u"*"), [&](const plat::FileData& entry) {
    const std::u16string path = Child(directory, entry.name);
    const bool is_directory = IsDirectory(entry);
    if ((directories || !is_directory) && NameMatches(pattern, entry.name) &&
        !visit(path, entry)) {
      return false;
    }
    if (is_directory && recurse) {
      return WalkTreeMatching(path, pattern, visit, directories, true);
    }
    return true;
  });
}

}  // namespace files

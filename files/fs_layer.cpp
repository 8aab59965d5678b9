// files/fs_layer.cpp: the path rules of FileSystemLayer: resolving a path
// against the program's directory, making one path relative to another,
// the program's directory and valid names. The system operations live in
// fs_operations.cpp, searches and walks in find.cpp.
#include "files/fs_layer.h"

#include <algorithm>

#include "files/fs_reports.h"
#include "text/letter_case.h"

namespace files {

namespace {

// The module file name is read into a buffer of this many characters.
constexpr std::size_t kModuleNameChars = 261;

// The directory part of a module file name, read as the system's buffer
// would hold it, without its trailing "\".
std::u16string DirectoryPart(std::u16string file) {
  if (file.size() > kModuleNameChars) file.resize(kModuleNameChars);
  const std::size_t slash = file.find_last_of(u"\\/");
  file.resize(slash == std::u16string::npos ? 0 : slash);
  return file;
}

// Empty (the device root) when the system cannot tell.
std::u16string ProgramDirectoryOf() {
  std::u16string file;
  if (plat::Current().files.ProgramFile(&file) != plat::kOk) return {};
  return DirectoryPart(std::move(file));
}

// Removes "\..\" steps with the component before them, then "\.\" steps.
// Kept as is: a "." or ".." at the very end (no "\" after it) stays, so
// "\a\b\.." is returned as given; callers have always received that form.
void Fold(std::u16string* text) {
  for (std::size_t at; (at = text->find(u"\\..\\")) != std::u16string::npos;) {
    // Nothing above the root: the step is dropped.
    const std::size_t previous =
        at == 0 ? std::u16string::npos : text->rfind(u'\\', at - 1);
    const std::size_t keep =
        previous == std::u16string::npos ? at + 1 : previous + 1;
    text->erase(keep, at + 4 - keep);
  }
  for (std::size_t at; (at = text->find(u"\\.\\")) != std::u16string::npos;) {
    text->erase(at, 2);
  }
}

}  // namespace

std::size_t FileSystemLayer::ResolvePath(std::u16string_view path,
                                         std::size_t capacity,
                                         std::u16string* out) {
  if (path.empty()) return 0;
  // A leading "/" is absolute too: the device separates with either, and the
  // language's absolute path check accepts both.
  const bool rooted = path.front() == u'\\' || path.front() == u'/';
  if (!rooted && path.find(u':') != std::u16string_view::npos) {
    // A drive or device name: taken as given, never folded.
    if (path.size() >= capacity) return path.size() + 1;
    out->assign(path);
    return out->size();
  }
  std::u16string full;
  if (rooted) {
    if (path.size() >= capacity) return path.size() + 1;
    full.assign(path);
  } else {
    const std::u16string directory = ProgramDirectoryOf();
    const std::size_t needed = directory.size() + path.size() + 2;
    if (needed > capacity) return needed;
    full.reserve(needed);
    full.append(directory).append(u"\\").append(path);
  }
  Fold(&full);
  *out = std::move(full);
  return out->size();
}

bool FileSystemLayer::MakeRelativePath(std::u16string* out,
                                       std::u16string_view target,
                                       std::u16string_view base) {
  if (base.empty()) {
    out->assign(target);
    return true;
  }
  std::u16string with_slash(base);
  if (with_slash.back() != u'\\') with_slash += u'\\';
  std::u16string resolved;
  const std::size_t length = ResolvePath(with_slash, kMaxPath, &resolved);
  if (length == 0 || length >= kMaxPath) resolved = with_slash;
  resolved = text::UpperLatin(resolved);
  const std::u16string upper_target = text::UpperLatin(target);
  // Kept as is: a plain text prefix test, so a target equal to the base
  // without its "\" counts one step up ("\A\B" from "\A\B" is "..\B").
  int steps = 0;
  while (!upper_target.starts_with(resolved)) {
    // One component off, keeping its "\" separator: "\A\X\" becomes "\A\".
    resolved.pop_back();
    const std::size_t slash = resolved.find_last_of(u'\\');
    resolved.resize(slash == std::u16string::npos ? 0 : slash + 1);
    ++steps;
  }
  std::u16string relative;
  if (steps == 0) {
    relative = u".\\";
  } else {
    for (int i = 0; i < steps; ++i) relative += u"..\\";
  }
  relative.append(target.substr(resolved.size()));
  if (relative.size() >= kMaxPath) return false;
  *out = std::move(relative);
  return true;
}

std::u16string FileSystemLayer::FullPath(std::u16string_view path) {
  std::u16string full;
  const std::size_t length = ResolvePath(path, kMaxPath, &full);
  if (length == 0 || length >= kMaxPath) return std::u16string(path);
  return full;
}

bool FileSystemLayer::GetProgramDirectory(std::u16string* path,
                                          frame::CXError* sink) {
  std::u16string file;
  if (const plat::SysErr err = plat::Current().files.ProgramFile(&file);
      err != plat::kOk) {
    FileReport(sink, err, kMsgProgramDirectoryFailed);
    return false;
  }
  *path = DirectoryPart(std::move(file));
  return true;
}

bool FileSystemLayer::IsValidFileName(std::u16string_view name) {
  return name.find_first_of(u"\\/:*?\"<>|") == std::u16string_view::npos;
}

}  // namespace files

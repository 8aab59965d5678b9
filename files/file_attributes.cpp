// files/file_attributes.cpp: FileAttribute (function 175), with the
// writability test that stands behind "R" and the directory write test.
#include "files/file_attributes.h"

#include <array>

#include "files/fs_layer.h"
#include "files/path_checks.h"
#include "frame/implementations.h"
#include "frame/text.h"

namespace files {

namespace {

struct Letter {
  char16_t letter;
  std::uint32_t bit;
  bool written;
};
// Reading order; only A, H, R and S are ever written.
constexpr std::array<Letter, 6> kLetters = {{
    {u'A', plat::kAttrArchive, true},
    {u'D', plat::kAttrDirectory, false},
    {u'H', plat::kAttrHidden, true},
    {u'R', plat::kAttrReadOnly, true},
    {u'S', plat::kAttrSystem, true},
    {u'C', plat::kAttrCompressed, false},
}};

constexpr std::u16string_view kErr = u"ERR";

std::u16string WithSeparator(std::u16string_view path) {
  std::u16string out(path);
  if (out.empty() || (out.back() != u'\\' && out.back() != u'/')) out += u'\\';
  return out;
}

// The root form of a drive path ("C:\dir\" gives "C:\"); device paths have
// no drive and are queried as they are.
std::u16string RootForm(const std::u16string& folder) {
  const std::size_t at = folder.find(u":\\");
  return at == std::u16string::npos ? folder : folder.substr(0, at + 2);
}

}  // namespace

std::u16string AttributeLetters(std::uint32_t attributes, bool not_writable) {
  std::u16string letters;
  for (const Letter& l : kLetters) {
    const bool set = (attributes & l.bit) != 0 ||
                     (l.bit == plat::kAttrReadOnly && not_writable);
    if (set) letters += l.letter;
  }
  return letters;
}

std::uint32_t AttributeWord(std::u16string_view letters, bool* recognised) {
  std::uint32_t word = 0;
  *recognised = false;
  for (const Letter& l : kLetters) {
    if (letters.find(l.letter) == std::u16string_view::npos) continue;
    *recognised = true;
    if (l.written) word |= l.bit;
  }
  return word;
}

int DirectoryWriteTest(frame::Self* self, const char16_t* directory) {
  if (directory == nullptr) {
    frame::Raise(self, frame::kErrDirectoryPathMissing);
    return kNotWritable;
  }
  plat::Files& sys = plat::Current().files;
  const std::u16string folder = WithSeparator(directory);
  const std::u16string probe = folder + std::u16string(kWriteTestName);

  // The raw times, not their calendar form, so that writing them back
  // restores them to the tick.
  const std::u16string full = FileSystemLayer::FullPath(directory);
  plat::FileData before;
  const bool have_times = sys.GetAttributeData(full, &before) == plat::kOk;

  // A probe past the path buffer cannot be created, as on the system.
  plat::Handle file = plat::kInvalidHandle;
  if (FitsPathBuffer(probe) &&
      sys.Open(FileSystemLayer::FullPath(probe), plat::kGenericWrite, 0,
               plat::kCreateAlways, plat::kAttrNormal, &file) == plat::kOk) {
    sys.Close(file);
    FileSystemLayer::DeleteFile(probe);
    plat::Handle handle = plat::kInvalidHandle;
    if (have_times &&
        sys.Open(full, plat::kGenericWrite,
                 plat::kShareRead | plat::kShareWrite, plat::kOpenExisting,
                 plat::kFlagBackupSemantics, &handle) == plat::kOk) {
      sys.SetTimes(handle, &before.creation, &before.last_access,
                   &before.last_write);
      sys.Close(handle);
    }
    return kWritable;
  }

  FindState state;
  if (FileSystemLayer::FindFirst(folder + u"*.*", &state, 0, 0)) {
    FileSystemLayer::FindClose(&state);
    return kExistsNoFileCreated;
  }
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  return FileSystemLayer::GetDiskFreeSpace(RootForm(folder), &high, &low)
             ? kExistsNoFileCreated
             : kNotWritable;
}

bool IsWritable(frame::Self* self, std::u16string_view path,
                std::uint32_t attributes) {
  if ((attributes & plat::kAttrDirectory) != 0) {
    const std::u16string directory(path);
    return DirectoryWriteTest(self, directory.c_str()) == kWritable;
  }
  plat::Files& sys = plat::Current().files;
  plat::Handle handle = plat::kInvalidHandle;
  if (sys.Open(FileSystemLayer::FullPath(path),
               plat::kGenericRead | plat::kGenericWrite,
               plat::kShareRead | plat::kShareWrite, plat::kOpenExisting, 0,
               &handle) != plat::kOk) {
    return false;
  }
  sys.Close(handle);
  return true;
}

void FileAttribute(frame::Self* self, char16_t** result, frame::Word path_word,
                   const char16_t* new_letters) {
  const char16_t* raw = PathArgument(path_word);
  if (raw == nullptr) {
    frame::Raise(self, frame::kErrFilePathMissing);
    frame::AssignText(result, kErr);
    return;
  }
  const std::u16string_view path(raw);
  if (!CheckAbsolutePath(self, path)) return;
  // A bare drive ("C:") has no attributes to give.
  if (path.size() <= 3 && path.size() >= 2 && path[1] == u':') {
    frame::AssignText(result, kErr);
    return;
  }
  if (!FitsPathBuffer(path)) {
    frame::AssignText(result, kErr);
    return;
  }
  if (new_letters != nullptr && *new_letters != u'\0') {
    // Kept as is: a text with no capital of "ADHRSC" ("ad") writes nothing,
    // while one whose only capitals are D or C writes the empty word and so
    // clears every attribute.
    bool recognised = false;
    const std::uint32_t word = AttributeWord(new_letters, &recognised);
    if (recognised && !FileSystemLayer::SetAttributes(path, word)) {
      frame::AssignText(result, kErr);
      return;
    }
  }
  std::uint32_t attributes = 0;
  if (!FileSystemLayer::GetAttributes(path, &attributes)) {
    frame::AssignText(result, kErr);
    return;
  }
  const bool not_writable = (attributes & plat::kAttrReadOnly) == 0 &&
                            !IsWritable(self, path, attributes);
  frame::AssignText(result, AttributeLetters(attributes, not_writable));
}

}  // namespace files

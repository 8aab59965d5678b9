// system/program_info.cpp: ProgramInfo (function 37), what the language can
// ask of an executable: its path and directory, its version strings, its
// kind and its numeric file version. Nothing here raises: a question the
// file cannot answer gives the empty text.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "platform/platform.h"
#include "system/pe_image.h"
#include "text/letter_case.h"

namespace sys {
namespace {

constexpr std::size_t kMaxPathChars = 260;
constexpr std::size_t kMaxVersionChars = 199;

enum class Answer {
  kPath,
  kDirectory,
  kVersionString,
  kMode,
  kNumericVersion,
  kNothing,  // questions this platform has no answer to
};

struct KeyRow {
  std::u16string_view french;
  std::u16string_view english;
  Answer answer;
  std::u16string_view resource_name;  // for kVersionString
};

// clang-format off
constexpr std::array<KeyRow, 10> kKeys = {{
  {u"NOM",         u"NAME",        Answer::kPath,           u""},
  {u"REPERTOIRE",  u"DIRECTORY",   Answer::kDirectory,      u""},
  {u"COPYRIGHT",   u"COPYRIGHT",   Answer::kVersionString,  u"LegalCopyright"},
  {u"VERSION",     u"VERSION",     Answer::kVersionString,  u"FileVersion"},
  {u"DESCRIPTION", u"DESCRIPTION", Answer::kVersionString,  u"FileDescription"},
  {u"MODE",        u"MODE",        Answer::kMode,           u""},
  {u"SOCIETE",     u"COMPANY",     Answer::kVersionString,  u"CompanyName"},
  {u"VERSION4N",   u"VERSION4N",   Answer::kNumericVersion, u""},
  {u"LANCEMENT",   u"LANCEMENT",   Answer::kNothing,        u""},
  {u"BOOT",        u"BOOT",        Answer::kNothing,        u""},
}};
// clang-format on

// French keys are typed with or without their accent ("société",
// "Répertoire"): every e acute becomes a plain E before upper-casing.
std::u16string NormalisedKey(std::u16string_view key) {
  std::u16string out(key);
  for (char16_t& c : out) {
    if (c == u'\u00E9' || c == u'\u00C9') c = u'E';
  }
  return text::UpperLatin(out);
}

std::u16string_view ViewOf(const char16_t* text) {
  return text == nullptr ? std::u16string_view() : std::u16string_view(text);
}

// The given path, cut to a path buffer, or the running program's file.
std::u16string ExecutablePath(std::u16string_view given) {
  if (!given.empty()) {
    return std::u16string(
        given.substr(0, std::min(given.size(), kMaxPathChars)));
  }
  std::u16string program;
  if (plat::Current().files.ProgramFile(&program) != plat::kOk) {
    program.clear();
  }
  return program;
}

// Up to the last "\"; without one, up to and with the last ":".
std::u16string_view DirectoryOf(std::u16string_view path) {
  if (const std::size_t slash = path.rfind(u'\\'); slash != path.npos) {
    return path.substr(0, slash);
  }
  if (const std::size_t colon = path.rfind(u':'); colon != path.npos) {
    return path.substr(0, colon + 1);
  }
  return {};
}

// The string `name` of the file's version resource, in the first language
// the resource lists, else in US English with the Windows Latin-1 page.
std::u16string VersionString(std::u16string_view path,
                             std::u16string_view name) {
  std::vector<std::uint8_t> block;
  if (ReadVersionResource(path, &block) != VersionSource::kFound) return {};
  const VersionInfo info(std::move(block));
  std::u16string sub_block;
  if (const auto t = info.FirstTranslation()) {
    sub_block = frame::FormatMessage(u"\\StringFileInfo\\%04X%04X\\%s",
                                     {t->language, t->code_page, name});
  } else {
    sub_block = frame::FormatMessage(u"\\StringFileInfo\\040904E4\\%s", {name});
  }
  std::u16string value = info.QueryText(sub_block).value_or(u"");
  value.resize(std::min(value.size(), kMaxVersionChars));
  return value;
}

// The file version of the fixed information as "major.minor.build.revision",
// the four 16-bit parts in decimal: the form the FileVersion string usually
// takes, so both keys read alike.
std::u16string NumericVersion(std::u16string_view path) {
  std::vector<std::uint8_t> block;
  if (ReadVersionResource(path, &block) != VersionSource::kFound) return {};
  const std::optional<FixedFileInfo> fixed =
      VersionInfo(std::move(block)).Fixed();
  if (!fixed) return {};
  return frame::FormatMessage(
      u"%u.%u.%u.%u",
      {fixed->file_version_ms >> 16, fixed->file_version_ms & 0xFFFF,
       fixed->file_version_ls >> 16, fixed->file_version_ls & 0xFFFF});
}

}  // namespace

void ProgramInfo(frame::Self*, char16_t** result, const char16_t* key,
                 const char16_t* path) {
  const std::u16string wanted = NormalisedKey(ViewOf(key));
  const auto row =
      std::find_if(kKeys.begin(), kKeys.end(), [&](const KeyRow& r) {
        return wanted == r.french || wanted == r.english;
      });
  const std::u16string executable = ExecutablePath(ViewOf(path));
  std::u16string answer;
  if (row == kKeys.end()) {
    // Any other key names a string of the version resource, in the form it
    // was compared in (upper case, e acute as E). The resource's names are
    // matched without regard to case, as the system's version query does,
    // so "ProductName" still finds its string.
    if (!wanted.empty()) answer = VersionString(executable, wanted);
  } else {
    switch (row->answer) {
      case Answer::kPath:
        answer = executable;
        break;
      case Answer::kDirectory:
        answer = DirectoryOf(executable);
        break;
      case Answer::kVersionString:
        answer = VersionString(executable, row->resource_name);
        break;
      case Answer::kMode:
        answer = ExecutableMode(executable);
        break;
      case Answer::kNumericVersion:
        answer = NumericVersion(executable);
        break;
      case Answer::kNothing:
        break;
    }
  }
  frame::AssignText(result, answer);
}

}  // namespace sys

// fuzz/pe_image_fuzz.cpp: the executable kind and the version resource
// reader over any bytes, stored as a file in a device root of its own, and
// the version-block queries over the block found there and over the same
// bytes taken as a block. Each may find nothing; none may crash, hang,
// over-read or keep more than one version block.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/xerror.h"
#include "fuzz/device_file.h"
#include "system/pe_image.h"

namespace {

// The questions ProgramInfo asks of a block.
void Ask(const sys::VersionInfo& info) {
  info.Fixed();
  std::u16string table = u"040904E4";
  if (const auto t = info.FirstTranslation()) {
    table = frame::FormatMessage(u"%04X%04X", {t->language, t->code_page});
  }
  for (const char16_t* name : {u"CompanyName", u"FILEVERSION", u""}) {
    info.QueryText(u"\\StringFileInfo\\" + table + u"\\" + name);
  }
  info.QueryText(u"\\a\\b\\c\\d\\e\\f\\g\\h\\i\\j");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  fuzz::WriteDeviceFile("p.exe", data, size);
  const std::u16string_view mode = sys::ExecutableMode(u"\\p.exe");
  if (mode != u"" && mode != u"DOS" && mode != u"16" && mode != u"32" &&
      mode != u"64") {
    std::abort();
  }
  std::vector<std::uint8_t> block;
  if (sys::ReadVersionResource(u"\\p.exe", &block) ==
      sys::VersionSource::kFound) {
    if (block.empty() || block.size() > sys::kMaxVersionBytes) std::abort();
    Ask(sys::VersionInfo(std::move(block)));
  }
  Ask(sys::VersionInfo(std::vector<std::uint8_t>(data, data + size)));
  return 0;
}

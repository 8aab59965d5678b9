// fuzz/elt_header_fuzz.cpp: the project element reader and the data-file
// header over any bytes, stored as a file in a device root of its own. Both
// may refuse; neither may crash, hang, over-read or allocate more than the
// file holds.
#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "files/file_headers.h"
#include "files/stream.h"
#include "frame/xerror_record.h"
#include "platform/platform.h"

namespace {

std::string root_path;

void RemoveRoot() {
  std::error_code ignored;
  std::filesystem::remove_all(root_path, ignored);
}

std::filesystem::path DeviceRoot() {
  root_path = (std::filesystem::temp_directory_path() / "std8_elt_fuzz_XXXXXX")
                  .string();
  if (mkdtemp(root_path.data()) == nullptr) std::abort();
  setenv("TESSEL_ROOT", root_path.c_str(), 1);
  std::atexit(&RemoveRoot);
  return root_path;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  static const std::filesystem::path root = DeviceRoot();
  {
    std::ofstream out(root / "e.dat", std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data),
              static_cast<std::streamsize>(size));
  }
  frame::CXError record;
  files::IXStream stream(&record);
  if (!stream.Open(u"\\e.dat", plat::kGenericRead, plat::kShareRead,
                   plat::kOpenExisting, 0)) {
    std::abort();  // the file was just written
  }
  files::CEltProjetFile element(stream, 3, 8);
  element.ReadHeader(0);
  files::CTSFile header(stream, files::CTSFile::kFamilyRequest);
  std::uint64_t position = 0;
  header.ReadHeader(&position);
  return 0;
}

// fuzz/elt_header_fuzz.cpp: the project element reader and the data-file
// header over any bytes, stored as a file in a device root of its own. Both
// may refuse; neither may crash, hang, over-read or allocate more than the
// file holds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "files/file_headers.h"
#include "files/stream.h"
#include "frame/xerror_record.h"
#include "fuzz/device_file.h"
#include "platform/platform.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  fuzz::WriteDeviceFile("e.dat", data, size);
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

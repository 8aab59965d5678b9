// tests/files/stream_fixture.h: what the stream, header and handle table
// tests share: the device root of fs_fixture.h with bytes put and read
// there directly on disk, and the texts a report is expected to hold.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "frame/xerror.h"
#include "frame/xerror_record.h"
#include "platform/platform.h"
#include "tests/files/fs_fixture.h"

namespace files {

using Bytes = std::vector<std::uint8_t>;

class DeviceRootTest : public testing::DeviceRootTest {
 protected:
  // "a.dat" lies at "\a.dat" on the device.
  std::filesystem::path HostPath(std::string_view name) const {
    return std::filesystem::path(root_) / name;
  }
  static std::u16string DevicePath(std::string_view name) {
    return u"\\" + std::u16string(name.begin(), name.end());
  }
  void Put(std::string_view name, const Bytes& bytes) const {
    std::ofstream out(HostPath(name), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
  }
  Bytes Get(std::string_view name) const {
    std::ifstream in(HostPath(name), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in),
                 std::istreambuf_iterator<char>());
  }

  frame::CXError record;
};

// "##(IXStream)-Handle=<%p>##" for a handle.
inline std::u16string HandleTrace(plat::Handle handle) {
  char digits[32];
  std::snprintf(digits, sizeof digits, "%08llX",
                static_cast<unsigned long long>(handle));
  const std::string text =
      std::string("##(IXStream)-Handle=<") + digits + ">##";
  return std::u16string(text.begin(), text.end());
}

// A message of the catalogue as a report adds it.
inline std::u16string Message(std::uint32_t number, frame::ErrArgs args) {
  std::u16string text;
  int cls = 0;
  EXPECT_TRUE(frame::FindMessage(number, &text, &cls)) << number;
  return frame::FormatMessage(text, args);
}

inline std::u16string U16(std::string_view ascii) {
  return std::u16string(ascii.begin(), ascii.end());
}

}  // namespace files

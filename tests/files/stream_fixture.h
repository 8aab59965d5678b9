// tests/files/stream_fixture.h: what the stream, header and handle table
// tests share: a fresh device root per test (TESSEL_ROOT names a new
// temporary directory), files put and read there directly on disk, and the
// texts a report is expected to hold.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

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

namespace files {

using Bytes = std::vector<std::uint8_t>;

class DeviceRootTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (const char* previous = std::getenv("TESSEL_ROOT")) {
      previous_root_ = previous;
      had_root_ = true;
    }
    std::string pattern =
        (std::filesystem::temp_directory_path() / "std8_streams_XXXXXX")
            .string();
    ASSERT_NE(nullptr, mkdtemp(pattern.data()));
    root_ = pattern;
    setenv("TESSEL_ROOT", root_.c_str(), 1);
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
    if (had_root_) {
      setenv("TESSEL_ROOT", previous_root_.c_str(), 1);
    } else {
      unsetenv("TESSEL_ROOT");
    }
  }

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
  bool Exists(std::string_view name) const {
    return std::filesystem::exists(HostPath(name));
  }
  Bytes Get(std::string_view name) const {
    std::ifstream in(HostPath(name), std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in),
                 std::istreambuf_iterator<char>());
  }

  frame::CXError record;

 private:
  std::string root_;
  std::string previous_root_;
  bool had_root_ = false;
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

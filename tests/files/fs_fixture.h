// tests/files/fs_fixture.h: a fresh device root per test (TESSEL_ROOT) with
// the program at "\Prog\app.exe" (TESSEL_PROGRAM), and files put there
// directly on disk.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace files::testing {

class DeviceRootTest : public ::testing::Test {
 protected:
  DeviceRootTest() {
    std::string pattern =
        std::filesystem::temp_directory_path() / "std8_fslayer_XXXXXX";
    if (mkdtemp(pattern.data()) != nullptr) root_ = pattern;
    setenv("TESSEL_ROOT", root_.c_str(), 1);
    setenv("TESSEL_PROGRAM", "\\Prog\\app.exe", 1);
  }
  ~DeviceRootTest() override {
    unsetenv("TESSEL_PROGRAM");
    unsetenv("TESSEL_ROOT");
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  std::filesystem::path OnHost(std::string_view device) const {
    std::string relative(device);
    std::replace(relative.begin(), relative.end(), '\\', '/');
    return std::filesystem::path(root_) / relative.substr(1);
  }
  void Put(std::string_view device, std::string_view content = "x") const {
    std::filesystem::create_directories(OnHost(device).parent_path());
    std::ofstream(OnHost(device), std::ios::binary) << content;
  }
  void Dir(std::string_view device) const {
    std::filesystem::create_directories(OnHost(device));
  }
  std::string Get(std::string_view device) const {
    std::ifstream in(OnHost(device), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
  }
  bool Exists(std::string_view device) const {
    return std::filesystem::exists(OnHost(device));
  }

  std::string root_;
};

}  // namespace files::testing

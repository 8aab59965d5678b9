// tests/platform/device_root.h: a fresh device root per test (TESSEL_ROOT
// points at a temporary directory, removed afterwards), the two backends the
// typed suites run on, and small helpers over host files.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/xattr.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>

#include "platform/fake/fake_platform.h"
#include "platform/platform.h"

namespace plat::testing {

// Sets an environment variable for the scope, restoring the old value.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = getenv(name)) old_ = old;
    if (value != nullptr)
      setenv(name, value, 1);
    else
      unsetenv(name);
  }
  ~ScopedEnv() {
    if (old_)
      setenv(name_, old_->c_str(), 1);
    else
      unsetenv(name_);
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> old_;
};

class DeviceRootTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char templ[] = "/tmp/tessel_root_XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    root_ = templ;
    env_.emplace("TESSEL_ROOT", root_.c_str());
  }
  void TearDown() override {
    env_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }

  std::string Host(const std::string& relative) const {
    return relative.empty() ? root_ : root_ + "/" + relative;
  }
  void MakeHostDir(const std::string& relative) const {
    std::filesystem::create_directories(Host(relative));
  }
  void WriteHostFile(const std::string& relative,
                     const std::string& content) const {
    std::filesystem::create_directories(
        std::filesystem::path(Host(relative)).parent_path());
    std::ofstream(Host(relative), std::ios::binary) << content;
  }
  std::string ReadHostFile(const std::string& relative) const {
    std::ifstream in(Host(relative), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }
  bool HostExists(const std::string& relative) const {
    return std::filesystem::exists(Host(relative));
  }
  // Attribute persistence needs extended attributes on the test's disk.
  bool XattrsWork() const {
    return setxattr(root_.c_str(), "user.tessel.probe", "1", 1, 0) == 0;
  }

  std::string root_;
  std::optional<ScopedEnv> env_;
};

// The backends the typed suites run on: the real one, and the double over it.
struct PosixBackend {
  Platform& platform() { return Current(); }
};
struct FakeBackend {
  FakePlatform fake;
  Platform& platform() { return fake.platform(); }
};

template <class Backend>
class BackendTest : public DeviceRootTest {
 protected:
  Files& files() { return backend_.platform().files; }
  SystemInfo& system() { return backend_.platform().system; }

  // Opens or fails the test.
  Handle OpenOk(std::u16string_view path, std::uint32_t access,
                std::uint32_t share = kShareRead | kShareWrite,
                std::uint32_t disposition = kOpenAlways,
                std::uint32_t flags = 0) {
    Handle handle = kInvalidHandle;
    EXPECT_EQ(kOk,
              files().Open(path, access, share, disposition, flags, &handle));
    return handle;
  }
  SysErr OpenError(std::u16string_view path, std::uint32_t access,
                   std::uint32_t share, std::uint32_t disposition,
                   std::uint32_t flags = 0) {
    Handle handle = kInvalidHandle;
    const SysErr err =
        files().Open(path, access, share, disposition, flags, &handle);
    if (err == kOk) files().Close(handle);
    return err;
  }

  Backend backend_;
};

using Backends = ::testing::Types<PosixBackend, FakeBackend>;

}  // namespace plat::testing

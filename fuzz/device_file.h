// fuzz/device_file.h: the fuzz input as a file in a device root of the
// target's own (a temporary directory made on first use, removed at exit),
// for the readers that take their bytes from a file.
#pragma once

#include <stdlib.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace fuzz {

inline std::string& RootPath() {
  static std::string path;
  return path;
}

inline const std::filesystem::path& DeviceRoot() {
  static const std::filesystem::path root = [] {
    RootPath() =
        (std::filesystem::temp_directory_path() / "std8_fuzz_XXXXXX").string();
    if (mkdtemp(RootPath().data()) == nullptr) std::abort();
    setenv("TESSEL_ROOT", RootPath().c_str(), 1);
    std::atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(RootPath(), ignored);
    });
    return std::filesystem::path(RootPath());
  }();
  return root;
}

// Writes the input as "\<name>" of the device root.
inline void WriteDeviceFile(const char* name, const std::uint8_t* data,
                            std::size_t size) {
  std::ofstream out(DeviceRoot() / name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data),
            static_cast<std::streamsize>(size));
}

}  // namespace fuzz

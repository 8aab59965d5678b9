// host/refhost/library.h: a module loaded the way the VM loads one
// (dlopen with RTLD_NOW | RTLD_LOCAL), and where the host finds modules.
#pragma once

#include <string>

#include "frame/abi.h"

namespace refhost {

inline constexpr char kComponentFile[] = "libtm210std.so";
inline constexpr char kVmFile[] = "libtmvm.so";

class Library {
 public:
  Library() = default;
  ~Library() { Close(); }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // False with the loader's message in *error.
  bool Open(const std::string& path, std::string* error);
  void Close();

  bool is_open() const { return handle_ != nullptr; }
  const std::string& path() const { return path_; }
  // The module handle as the VM passes it: one word.
  frame::Word handle_word() const {
    return reinterpret_cast<frame::Word>(handle_);
  }

  // The export `name`, or null.
  void* Symbol(const char* name) const;
  template <class Fn>
  Fn Get(const char* name) const {
    return reinterpret_cast<Fn>(Symbol(name));
  }

 private:
  void* handle_ = nullptr;
  std::string path_;
};

// The directory of the running program (from /proc/self/exe), without a
// trailing "/"; "." when it cannot be read.
std::string ExecutableDirectory();
// The directory part of `path`; "." when it has none.
std::string DirectoryOf(const std::string& path);
bool FileExists(const std::string& path);

}  // namespace refhost

// host/refhost/library.cpp: loading modules with the dynamic loader.
#include "host/refhost/library.h"

#include <dlfcn.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

namespace refhost {

bool Library::Open(const std::string& path, std::string* error) {
  Close();
  dlerror();
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    const char* message = dlerror();
    *error = "cannot load " + path + ": " +
             (message != nullptr ? message : "unknown error");
    return false;
  }
  path_ = path;
  return true;
}

void Library::Close() {
  if (handle_ != nullptr) dlclose(handle_);
  handle_ = nullptr;
  path_.clear();
}

void* Library::Symbol(const char* name) const {
  return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

std::string ExecutableDirectory() {
  char buffer[PATH_MAX];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof(buffer) - 1);
  if (n <= 0) return ".";
  return DirectoryOf(std::string(buffer, static_cast<std::size_t>(n)));
}

std::string DirectoryOf(const std::string& path) {
  const auto slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  if (slash == 0) return "/";
  return path.substr(0, slash);
}

bool FileExists(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

}  // namespace refhost

// platform/posix/device_paths.cpp: device root, folding and the lookup of
// names without regard to case.
#include "platform/posix/device_paths.h"

#include <dirent.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "platform/posix/host_text.h"
#include "platform/posix/name_match.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

std::string ChosenRoot() {
  std::string root = EnvText("TESSEL_ROOT");
  if (root.empty()) root = TesselDataDir() + "/device";
  while (root.size() > 1 && root.back() == '/') root.pop_back();
  return root;
}

// mkdir -p; errno is left from the failing step.
bool MakeDirectories(const std::string& path) {
  struct stat st;
  if (stat(path.c_str(), &st) == 0) {
    if (S_ISDIR(st.st_mode)) return true;
    errno = ENOTDIR;
    return false;
  }
  for (std::size_t i = 1; i <= path.size(); ++i) {
    if (i != path.size() && path[i] != '/') continue;
    const std::string step = path.substr(0, i);
    if (mkdir(step.c_str(), 0777) != 0 && errno != EEXIST) return false;
  }
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool IsBadNameChar(char16_t c, bool wildcards) {
  if (c < 0x20) return true;
  switch (c) {
    case u'<':
    case u'>':
    case u':':
    case u'"':
    case u'|':
      return true;
    case u'*':
    case u'?':
      return !wildcards;
    default:
      return false;
  }
}

// The entry of `directory` equal to `name` without regard to case.
bool FindNoCase(const std::string& directory, const std::string& name,
                std::string* found) {
  DIR* dir = opendir(directory.c_str());
  if (dir == nullptr) return false;
  const std::u16string wanted = FromHostText(name);
  bool hit = false;
  while (const dirent* entry = readdir(dir)) {
    const std::string candidate = entry->d_name;
    if (candidate == "." || candidate == "..") continue;
    if (SameName(FromHostText(candidate), wanted)) {
      // Several spellings may exist on the host: take the smallest, so the
      // choice does not depend on the directory's order.
      if (!hit || candidate < *found) *found = candidate;
      hit = true;
    }
  }
  closedir(dir);
  return hit;
}

bool Exists(const std::string& path) {
  struct stat st;
  return lstat(path.c_str(), &st) == 0;
}

}  // namespace

std::string EnvText(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

std::string TesselDataDir() {
  std::string data = EnvText("XDG_DATA_HOME");
  if (data.empty()) {
    std::string home = EnvText("HOME");
    if (home.empty()) {
      if (const passwd* pw = getpwuid(getuid()); pw != nullptr)
        home = pw->pw_dir;
    }
    data = home + "/.local/share";
  }
  return data + "/tessel";
}

SysErr DeviceRoot(std::string* root) {
  static std::mutex mutex;
  static std::string made;
  *root = ChosenRoot();
  std::lock_guard<std::mutex> lock(mutex);
  if (*root == made) return kOk;
  if (!MakeDirectories(*root)) return FromErrno(errno);
  made = *root;
  return kOk;
}

SysErr MapDevicePath(std::u16string_view device, HostPath* out,
                     LeafKind leaf_kind) {
  if (device.empty()) return 161;
  if (device.size() > kMaxDevicePath) return kErrFilenameTooLong;
  if (device.back() == u':') return kErrFileNotFound;

  std::vector<std::u16string_view> parts;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= device.size(); ++i) {
    if (i != device.size() && !IsSeparator(device[i])) continue;
    const std::u16string_view part = device.substr(start, i - start);
    start = i + 1;
    if (part.empty() || part == u".") continue;
    if (part == u"..") {
      if (!parts.empty()) parts.pop_back();
      continue;
    }
    parts.push_back(part);
  }
  std::vector<std::string> names(parts.size());
  for (std::size_t i = 0; i < parts.size(); ++i) {
    const bool wildcards =
        leaf_kind == LeafKind::kPattern && i + 1 == parts.size();
    for (const char16_t c : parts[i])
      if (IsBadNameChar(c, wildcards)) return 123;
    if (!ToHostText(parts[i], &names[i])) return 123;
  }

  std::string root;
  if (const SysErr err = DeviceRoot(&root); err != kOk) return err;
  *out = HostPath{};
  if (names.empty()) {
    out->path = out->parent = root;
    out->is_root = true;
    return kOk;
  }
  out->given = std::u16string(parts.back());

  std::string exact = root;
  for (std::size_t i = 0; i + 1 < names.size(); ++i) exact += "/" + names[i];
  const bool as_pattern = leaf_kind == LeafKind::kPattern;
  if (Exists(as_pattern ? exact : exact + "/" + names.back())) {
    out->parent = exact;
    out->leaf = names.back();
    out->path = exact + "/" + names.back();
    return kOk;
  }

  // Some component differs in case, or is missing: walk from the root.
  std::string current = root;
  bool missing = false;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const bool last = i + 1 == names.size();
    std::string name = names[i];
    if (!missing && !(last && as_pattern) && !Exists(current + "/" + name)) {
      std::string found;
      if (FindNoCase(current, name, &found))
        name = found;
      else
        missing = true;
    }
    if (last) {
      out->parent = current;
      out->leaf = name;
    }
    current += "/" + name;
  }
  out->path = current;
  return kOk;
}

SysErr MissingError(const std::string& host) {
  const std::size_t slash = host.rfind('/');
  const std::string parent = slash == std::string::npos ? "."
                             : slash == 0               ? "/"
                                                        : host.substr(0, slash);
  struct stat st;
  return stat(parent.c_str(), &st) == 0 && S_ISDIR(st.st_mode)
             ? kErrFileNotFound
             : kErrPathNotFound;
}

std::u16string DevicePathOf(const std::string& root, const std::string& host) {
  char* real_root = realpath(root.c_str(), nullptr);
  if (real_root == nullptr) return {};
  std::string base = real_root;
  std::free(real_root);
  if (base != "/") base += "/";
  if (host.size() <= base.size() || host.compare(0, base.size(), base) != 0)
    return {};
  std::u16string device = u"\\" + FromHostText(host.substr(base.size()));
  for (char16_t& c : device)
    if (c == u'/') c = u'\\';
  return device;
}

}  // namespace plat::posix

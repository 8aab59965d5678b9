// platform/posix/proc_table.cpp: reading /proc.
#include "platform/posix/proc_table.h"

#include <dirent.h>
#include <fcntl.h>
#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <unordered_map>

#include "platform/posix/device_paths.h"
#include "platform/posix/host_text.h"

namespace plat::posix {
namespace {

constexpr std::uint32_t kKernelThread = 0x00200000;  // PF_KTHREAD
constexpr std::string_view kDeleted = " (deleted)";

std::string ProcPath(pid_t pid, const char* leaf) {
  return "/proc/" + std::to_string(pid) + "/" + leaf;
}

// The whole of a /proc file; false with errno set when it cannot be read.
bool ReadWholeFile(const std::string& path, std::string* out) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  out->clear();
  char buffer[4096];
  for (;;) {
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) {
      const int e = errno;
      close(fd);
      errno = e;
      return n == 0;
    }
    out->append(buffer, static_cast<std::size_t>(n));
  }
}

void DropDeletedMark(std::string* path) {
  if (path->size() > kDeleted.size() &&
      path->compare(path->size() - kDeleted.size(), kDeleted.size(),
                    kDeleted) == 0)
    path->resize(path->size() - kDeleted.size());
}

bool IsElf(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return false;
  char magic[4] = {};
  const bool elf = pread(fd, magic, 4, 0) == 4 &&
                   std::memcmp(magic, "\x7f" "ELF", 4) == 0;
  close(fd);
  return elf;
}

}  // namespace

bool ReadProcStat(pid_t pid, ProcStat* out) {
  std::string text;
  if (pid <= 0 || !ReadWholeFile(ProcPath(pid, "stat"), &text)) return false;
  // The name may hold spaces and parentheses: it ends at the last ")".
  const std::size_t open_paren = text.find('(');
  const std::size_t close_paren = text.rfind(')');
  if (open_paren == std::string::npos || close_paren == std::string::npos ||
      close_paren < open_paren)
    return false;
  out->comm = text.substr(open_paren + 1, close_paren - open_paren - 1);
  // Fields from the third on: state, ppid, ... flags (9th), ...
  // num_threads (20th), ..., starttime (22nd).
  std::vector<std::string> fields;
  std::size_t i = close_paren + 1;
  while (i < text.size() && fields.size() < 20) {
    while (i < text.size() && text[i] == ' ') ++i;
    const std::size_t end = text.find(' ', i);
    fields.push_back(text.substr(i, end - i));
    i = end == std::string::npos ? text.size() : end;
  }
  if (fields.size() < 20 || fields[0].empty()) return false;
  out->state = fields[0][0];
  out->parent = static_cast<pid_t>(std::strtol(fields[1].c_str(), nullptr, 10));
  out->flags =
      static_cast<std::uint32_t>(std::strtoul(fields[6].c_str(), nullptr, 10));
  out->threads =
      static_cast<std::uint32_t>(std::strtoul(fields[17].c_str(), nullptr, 10));
  out->start_time = std::strtoull(fields[19].c_str(), nullptr, 10);
  return true;
}

std::string ExecutablePath(pid_t pid) {
  char buffer[PATH_MAX];
  const ssize_t n =
      readlink(ProcPath(pid, "exe").c_str(), buffer, sizeof buffer - 1);
  if (n <= 0) return {};
  std::string path(buffer, static_cast<std::size_t>(n));
  DropDeletedMark(&path);
  return path;
}

std::string FileNameOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::u16string ProgramName(const std::string& file_name) {
  std::u16string name = FromHostText(file_name);
  const std::size_t dot = name.rfind(u'.');
  if (dot == std::u16string::npos || dot == 0) name += u".exe";
  return name;
}

std::vector<ProcessRow> ListProcesses() {
  std::vector<ProcessRow> rows;
  DIR* dir = opendir("/proc");
  if (dir == nullptr) return rows;
  while (const dirent* entry = readdir(dir)) {
    const char* name = entry->d_name;
    if (*name == '\0' || std::strspn(name, "0123456789") != std::strlen(name))
      continue;
    const pid_t pid = static_cast<pid_t>(std::strtol(name, nullptr, 10));
    ProcStat stat;
    if (!ReadProcStat(pid, &stat) || (stat.flags & kKernelThread) != 0 ||
        stat.state == 'Z' || stat.state == 'X')
      continue;
    const std::string exe = ExecutablePath(pid);
    rows.push_back({pid, stat.parent, stat.threads,
                    ProgramName(exe.empty() ? stat.comm : FileNameOf(exe))});
  }
  closedir(dir);
  std::sort(rows.begin(), rows.end(),
            [](const ProcessRow& a, const ProcessRow& b) {
              return a.pid < b.pid;
            });
  return rows;
}

SysErr ListModules(pid_t pid, std::vector<MappedModule>* out) {
  out->clear();
  std::string text;
  if (!ReadWholeFile(ProcPath(pid, "maps"), &text))
    return errno == EACCES || errno == EPERM ? kErrAccessDenied
                                             : kErrInvalidParameter;
  std::unordered_map<std::string, std::size_t> index;
  std::vector<MappedModule> files;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    std::uintptr_t start = 0;
    std::uintptr_t end = 0;
    int path_at = 0;
    // start-end perms offset device inode path
    if (std::sscanf(line.c_str(),
                    "%" SCNxPTR "-%" SCNxPTR " %*s %*s %*s %*s %n", &start,
                    &end, &path_at) != 2 ||
        path_at <= 0 || line[static_cast<std::size_t>(path_at)] != '/')
      continue;
    std::string path = line.substr(static_cast<std::size_t>(path_at));
    DropDeletedMark(&path);
    const auto [it, added] = index.emplace(path, files.size());
    if (added) {
      files.push_back({path, start, end - start});
      continue;
    }
    MappedModule& module = files[it->second];
    const std::uintptr_t top = std::max(module.base + module.size, end);
    module.base = std::min(module.base, start);
    module.size = top - module.base;
  }
  const std::string exe = ExecutablePath(pid);
  for (MappedModule& module : files) {
    if (module.path == exe) {
      out->insert(out->begin(), std::move(module));
    } else if (IsElf(module.path)) {
      out->push_back(std::move(module));
    }
  }
  return kOk;
}

std::u16string ModulePath(const std::string& host) {
  std::string root;
  if (DeviceRoot(&root) == kOk) {
    std::u16string device = DevicePathOf(root, host);
    if (!device.empty()) return device;
  }
  return FromHostText(host);
}

}  // namespace plat::posix

// platform/posix/posix_places.cpp: free space, the temporary directory and
// names, and the program's own file.
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "platform/posix/device_paths.h"
#include "platform/posix/host_text.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr char16_t kTempDirectory[] = u"\\Temp";

bool IsSeparator(char16_t c) { return c == u'\\' || c == u'/'; }

std::u16string Hex(std::uint32_t value) {
  static constexpr char16_t kDigits[] = u"0123456789ABCDEF";
  std::u16string out;
  do {
    out.insert(out.begin(), kDigits[value & 0xF]);
    value >>= 4;
  } while (value != 0);
  return out;
}

SysErr FreeSpaceAt(std::u16string_view path, std::uint64_t* free,
                   std::uint64_t* total) {
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  struct statvfs vfs;
  if (statvfs(host.path.c_str(), &vfs) != 0)
    return errno == ENOENT ? kErrPathNotFound : FromErrno(errno);
  if (free != nullptr)
    *free = static_cast<std::uint64_t>(vfs.f_bavail) * vfs.f_frsize;
  if (total != nullptr)
    *total = static_cast<std::uint64_t>(vfs.f_blocks) * vfs.f_frsize;
  return kOk;
}

SysErr MakeTempPath(std::u16string* path) {
  HostPath host;
  if (const SysErr err = MapDevicePath(kTempDirectory, &host); err != kOk)
    return err;
  if (mkdir(host.path.c_str(), 0777) != 0 && errno != EEXIST)
    return FromErrno(errno);
  struct stat st;
  if (stat(host.path.c_str(), &st) != 0) return FromErrno(errno);
  if (!S_ISDIR(st.st_mode)) return 267;
  *path = std::u16string(kTempDirectory) + u"\\";
  return kOk;
}

// "<directory>\<prefix, 3 characters at most><hex>.tmp", as the handheld
// builds it: only the low 16 bits of the number count.
std::u16string TempName(std::u16string_view directory,
                        std::u16string_view prefix, std::uint32_t unique) {
  std::u16string name(directory);
  if (!name.empty() && !IsSeparator(name.back())) name += u'\\';
  name += prefix.substr(0, 3);
  name += Hex(unique & 0xFFFF);
  name += u".tmp";
  return name;
}

SysErr MakeTempFileName(std::u16string_view directory,
                        std::u16string_view prefix, std::uint32_t unique,
                        std::u16string* name) {
  if (unique != 0) {
    *name = TempName(directory, prefix, unique);
    return name->size() > kMaxDevicePath ? kErrFilenameTooLong : kOk;
  }
  // A new name: start from the clock and take the first number whose file
  // can be created, as the handheld does.
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::uint32_t number =
      static_cast<std::uint32_t>(now.tv_nsec / 1000 ^ now.tv_sec ^ getpid());
  for (std::uint32_t tries = 0; tries < 0xFFFF; ++tries) {
    number = (number & 0xFFFF) == 0 ? 1 : number & 0xFFFF;
    const std::u16string candidate = TempName(directory, prefix, number);
    if (candidate.size() > kMaxDevicePath) return kErrFilenameTooLong;
    OpenFile file;
    const SysErr err = OpenDescriptor(candidate, kGenericWrite, 0, kCreateNew,
                                      kAttrNormal, &file);
    if (err == kOk) {
      close(file.fd);
      *name = candidate;
      return kOk;
    }
    if (err != kErrFileExists) return err;
    ++number;
  }
  return kErrFileExists;
}

SysErr ProgramPath(std::u16string* path) {
  if (const char* given = std::getenv("TESSEL_PROGRAM");
      given != nullptr && *given != '\0') {
    std::u16string device = FromHostText(given);
    for (char16_t& c : device)
      if (c == u'/') c = u'\\';
    if (device.front() != u'\\') device.insert(device.begin(), u'\\');
    *path = device;
    return kOk;
  }
  char buffer[4096];
  const ssize_t n = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
  if (n <= 0) return FromErrno(errno);
  const std::string exe(buffer, static_cast<std::size_t>(n));
  std::string root;
  if (const SysErr err = DeviceRoot(&root); err != kOk) return err;
  std::u16string device = DevicePathOf(root, exe);
  if (device.empty()) {
    device.assign(1, u'\\');
    device += FromHostText(exe.substr(exe.rfind('/') + 1));
  }
  *path = device;
  return kOk;
}

}  // namespace

SysErr PosixFiles::FreeSpace(std::u16string_view path, std::uint64_t* free,
                             std::uint64_t* total) {
  return Done(FreeSpaceAt(path, free, total));
}

SysErr PosixFiles::TempPath(std::u16string* path) {
  return Done(MakeTempPath(path));
}

SysErr PosixFiles::TempFileName(std::u16string_view directory,
                                std::u16string_view prefix,
                                std::uint32_t unique, std::u16string* name) {
  return Done(MakeTempFileName(directory, prefix, unique, name));
}

SysErr PosixFiles::ProgramFile(std::u16string* path) {
  return Done(ProgramPath(path));
}

}  // namespace plat::posix

// platform/posix/file_meta.cpp: extended attributes and the FILETIME forms
// of host times.
#include "platform/posix/file_meta.h"

#include <fcntl.h>
#include <sys/xattr.h>
#include <time.h>

#include <cerrno>

#include "platform/posix/device_paths.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

constexpr char kAttribName[] = "user.tessel.attrib";
constexpr char kCtimeName[] = "user.tessel.ctime";
// Seconds from 1601-01-01 to 1970-01-01.
constexpr std::int64_t kEpochDelta = 11644473600;
constexpr std::int64_t kTicksPerSecond = 10000000;

ssize_t GetX(MetaTarget t, const char* name, void* value, std::size_t size) {
  return t.fd >= 0 ? fgetxattr(t.fd, name, value, size)
                   : getxattr(t.path, name, value, size);
}

int SetX(MetaTarget t, const char* name, const void* value, std::size_t size) {
  return t.fd >= 0 ? fsetxattr(t.fd, name, value, size, 0)
                   : setxattr(t.path, name, value, size, 0);
}

bool NoXattrs(int e) { return e == ENOTSUP || e == ENOSYS; }

}  // namespace

FileTime FromTimespec(const timespec& time) {
  const std::int64_t ticks =
      (static_cast<std::int64_t>(time.tv_sec) + kEpochDelta) * kTicksPerSecond +
      time.tv_nsec / 100;
  return ticks < 0 ? 0 : static_cast<FileTime>(ticks);
}

timespec ToTimespec(FileTime time) {
  timespec out{};
  out.tv_sec = static_cast<time_t>(
      static_cast<std::int64_t>(time / kTicksPerSecond) - kEpochDelta);
  out.tv_nsec = static_cast<long>(time % kTicksPerSecond) * 100;
  return out;
}

FileTime FileTimeNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return FromTimespec(now);
}

bool ReadKeptBits(MetaTarget target, std::uint32_t* bits) {
  unsigned char raw[4] = {};
  const ssize_t got = GetX(target, kAttribName, raw, sizeof raw);
  *bits = 0;
  if (got < 0) return !NoXattrs(errno);
  if (got == sizeof raw)
    *bits = raw[0] | raw[1] << 8 | raw[2] << 16 |
            static_cast<std::uint32_t>(raw[3]) << 24;
  return true;
}

SysErr WriteKeptBits(MetaTarget target, std::uint32_t bits) {
  const unsigned char raw[4] = {static_cast<unsigned char>(bits),
                                static_cast<unsigned char>(bits >> 8),
                                static_cast<unsigned char>(bits >> 16),
                                static_cast<unsigned char>(bits >> 24)};
  if (SetX(target, kAttribName, raw, sizeof raw) == 0) return kOk;
  return NoXattrs(errno) ? 50 : FromErrno(errno);
}

std::uint32_t AttributesOf(MetaTarget target, const struct stat& st) {
  const bool directory = S_ISDIR(st.st_mode);
  std::uint32_t kept = 0;
  if (!ReadKeptBits(target, &kept)) kept = directory ? 0 : kAttrArchive;
  std::uint32_t bits = kept & (directory ? kKeptDirectoryBits : kKeptFileBits);
  if (directory) bits |= kAttrDirectory;
  if (!directory && (st.st_mode & S_IWUSR) == 0) bits |= kAttrReadOnly;
  return bits == 0 ? kAttrNormal : bits;
}

FileTime CreationTimeOf(MetaTarget target, const struct stat& st) {
  unsigned char raw[8] = {};
  if (GetX(target, kCtimeName, raw, sizeof raw) == sizeof raw) {
    FileTime time = 0;
    for (int i = 7; i >= 0; --i) time = time << 8 | raw[i];
    return time;
  }
  struct statx sx {};
  const int rc = target.fd >= 0
                     ? statx(target.fd, "", AT_EMPTY_PATH, STATX_BTIME, &sx)
                     : statx(AT_FDCWD, target.path, 0, STATX_BTIME, &sx);
  if (rc == 0 && (sx.stx_mask & STATX_BTIME) != 0) {
    const timespec birth{static_cast<time_t>(sx.stx_btime.tv_sec),
                         static_cast<long>(sx.stx_btime.tv_nsec)};
    return FromTimespec(birth);
  }
  return FromTimespec(st.st_mtim);
}

SysErr WriteCreationTime(MetaTarget target, FileTime time) {
  unsigned char raw[8];
  for (int i = 0; i < 8; ++i)
    raw[i] = static_cast<unsigned char>(time >> (8 * i));
  if (SetX(target, kCtimeName, raw, sizeof raw) == 0) return kOk;
  return NoXattrs(errno) ? 50 : FromErrno(errno);
}

SysErr DescribeEntry(const std::string& host, FileData* data) {
  struct stat st;
  if (stat(host.c_str(), &st) != 0)
    return errno == ENOENT ? MissingError(host) : FromErrno(errno);
  const MetaTarget target{-1, host.c_str()};
  data->attributes = AttributesOf(target, st);
  data->creation = CreationTimeOf(target, st);
  data->last_access = FromTimespec(st.st_atim);
  data->last_write = FromTimespec(st.st_mtim);
  data->size = S_ISDIR(st.st_mode) ? 0 : static_cast<std::uint64_t>(st.st_size);
  return kOk;
}

}  // namespace plat::posix

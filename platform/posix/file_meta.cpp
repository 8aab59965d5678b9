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

// One record per file, so that describing an entry costs one lookup:
// 4 bytes of kept bits, then 8 bytes of creation time (0: none kept).
constexpr char kMetaName[] = "user.tessel";
constexpr std::size_t kMetaSize = 12;
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

std::uint64_t LoadLe(const unsigned char* p, int bytes) {
  std::uint64_t v = 0;
  for (int i = bytes - 1; i >= 0; --i) v = v << 8 | p[i];
  return v;
}

void StoreLe(unsigned char* p, int bytes, std::uint64_t v) {
  for (int i = 0; i < bytes; ++i) p[i] = static_cast<unsigned char>(v >> (8 * i));
}

struct KeptMeta {
  std::uint32_t bits = 0;
  FileTime creation = 0;
};

// False when the file system has no extended attributes; a file without a
// record reads as zeros.
bool ReadMeta(MetaTarget target, KeptMeta* meta) {
  unsigned char raw[kMetaSize] = {};
  const ssize_t got = GetX(target, kMetaName, raw, sizeof raw);
  *meta = {};
  if (got < 0) return !NoXattrs(errno);
  if (got == static_cast<ssize_t>(kMetaSize)) {
    meta->bits = static_cast<std::uint32_t>(LoadLe(raw, 4));
    meta->creation = LoadLe(raw + 4, 8);
  }
  return true;
}

SysErr WriteMeta(MetaTarget target, const KeptMeta& meta) {
  unsigned char raw[kMetaSize];
  StoreLe(raw, 4, meta.bits);
  StoreLe(raw + 4, 8, meta.creation);
  if (SetX(target, kMetaName, raw, sizeof raw) == 0) return kOk;
  return NoXattrs(errno) ? 50 : FromErrno(errno);
}

// The stored creation time, else the birth time, else the write time.
FileTime CreationFrom(const KeptMeta& meta, const struct statx& sx) {
  if (meta.creation != 0) return meta.creation;
  if ((sx.stx_mask & STATX_BTIME) != 0)
    return FromTimespec({static_cast<time_t>(sx.stx_btime.tv_sec),
                         static_cast<long>(sx.stx_btime.tv_nsec)});
  return FromTimespec({static_cast<time_t>(sx.stx_mtime.tv_sec),
                       static_cast<long>(sx.stx_mtime.tv_nsec)});
}

std::uint32_t AttributesFrom(bool have_meta, const KeptMeta& meta,
                             bool directory, bool owner_writable) {
  const std::uint32_t kept =
      have_meta ? meta.bits : (directory ? 0 : kAttrArchive);
  std::uint32_t bits = kept & (directory ? kKeptDirectoryBits : kKeptFileBits);
  if (directory) bits |= kAttrDirectory;
  if (!directory && !owner_writable) bits |= kAttrReadOnly;
  return bits == 0 ? kAttrNormal : bits;
}

int StatX(MetaTarget target, struct statx* sx) {
  const unsigned mask = STATX_BASIC_STATS | STATX_BTIME;
  return target.fd >= 0 ? statx(target.fd, "", AT_EMPTY_PATH, mask, sx)
                        : statx(AT_FDCWD, target.path, 0, mask, sx);
}

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
  KeptMeta meta;
  const bool ok = ReadMeta(target, &meta);
  *bits = meta.bits;
  return ok;
}

SysErr WriteKeptBits(MetaTarget target, std::uint32_t bits) {
  KeptMeta meta;
  ReadMeta(target, &meta);
  meta.bits = bits;
  return WriteMeta(target, meta);
}

std::uint32_t AttributesOf(MetaTarget target, const struct stat& st) {
  KeptMeta meta;
  const bool have_meta = ReadMeta(target, &meta);
  return AttributesFrom(have_meta, meta, S_ISDIR(st.st_mode),
                        (st.st_mode & S_IWUSR) != 0);
}

FileTime CreationTimeOf(MetaTarget target, const struct stat& st) {
  KeptMeta meta;
  ReadMeta(target, &meta);
  struct statx sx {};
  if (meta.creation == 0 && StatX(target, &sx) == 0) return CreationFrom(meta, sx);
  return meta.creation != 0 ? meta.creation : FromTimespec(st.st_mtim);
}

SysErr WriteCreationTime(MetaTarget target, FileTime time) {
  KeptMeta meta;
  if (!ReadMeta(target, &meta)) return 50;
  meta.creation = time;
  return WriteMeta(target, meta);
}

// One statx and one attribute lookup per entry: searches over large trees
// spend their time here.
SysErr DescribeEntry(const std::string& host, FileData* data) {
  const MetaTarget target{-1, host.c_str()};
  struct statx sx {};
  if (StatX(target, &sx) != 0)
    return errno == ENOENT ? MissingError(host) : FromErrno(errno);
  KeptMeta meta;
  const bool have_meta = ReadMeta(target, &meta);
  const bool directory = S_ISDIR(sx.stx_mode);
  data->attributes =
      AttributesFrom(have_meta, meta, directory,
                     (sx.stx_mode & S_IWUSR) != 0);
  data->creation = CreationFrom(meta, sx);
  data->last_access = FromTimespec({static_cast<time_t>(sx.stx_atime.tv_sec),
                                    static_cast<long>(sx.stx_atime.tv_nsec)});
  data->last_write = FromTimespec({static_cast<time_t>(sx.stx_mtime.tv_sec),
                                   static_cast<long>(sx.stx_mtime.tv_nsec)});
  data->size = directory ? 0 : static_cast<std::uint64_t>(sx.stx_size);
  return kOk;
}

}  // namespace plat::posix

// platform/posix/posix_entries.cpp: calls on named entries: attributes,
// remove, move, copy, and directories.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "platform/posix/device_paths.h"
#include "platform/posix/file_meta.h"
#include "platform/posix/host_text.h"
#include "platform/posix/name_match.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/share_modes.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

// The error for a failed call on an existing-or-not host path.
SysErr PathError(int e, const std::string& host) {
  return e == ENOENT ? MissingError(host) : FromErrno(e);
}

// True when an open of the file at `host` withholds delete sharing.
bool OpenWithoutDeleteSharing(const std::string& host) {
  const int fd = open(
      host.c_str(), O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY);
  if (fd < 0) return false;
  const bool denied = DeleteDenied(fd);
  close(fd);
  return denied;
}

// Copies the bytes from `in` to `out`, both at their start: in-kernel where
// the host can, by plain reads and writes where it cannot.
SysErr CopyBytes(int in, int out) {
  constexpr std::size_t kChunk = 1 << 20;
  bool ranged = true;
  bool sent = true;
  for (;;) {
    ssize_t n = -1;
    if (ranged) {
      n = copy_file_range(in, nullptr, out, nullptr, kChunk, 0);
      if (n < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS ||
                    errno == EOPNOTSUPP)) {
        ranged = false;
        continue;
      }
    } else if (sent) {
      n = sendfile(out, in, nullptr, kChunk);
      if (n < 0 && (errno == EINVAL || errno == ENOSYS)) {
        sent = false;
        continue;
      }
    } else {
      char buffer[64 * 1024];
      n = read(in, buffer, sizeof buffer);
      for (ssize_t put = 0; n > 0 && put < n;) {
        const ssize_t w =
            write(out, buffer + put, static_cast<std::size_t>(n - put));
        if (w < 0 && errno == EINTR) continue;
        if (w <= 0) return w < 0 ? FromErrno(errno) : kErrDiskFull;
        put += w;
      }
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return FromErrno(errno);
    if (n == 0) return kOk;
  }
}

// Contents, kept bits, read-only and write time of `from` onto a new or
// emptied `to`; with `keep_creation` (a move) the creation time too.
SysErr CopyEntry(std::u16string_view from, std::u16string_view to,
                bool fail_if_exists, bool keep_creation) {
  OpenFile in;
  if (const SysErr err = OpenDescriptor(
          from, kGenericRead, kShareRead | kShareWrite, kOpenExisting, 0, &in);
      err != kOk)
    return err;
  struct stat st;
  std::uint32_t kept = 0;
  if (fstat(in.fd, &st) != 0) {
    const SysErr err = FromErrno(errno);
    close(in.fd);
    return err;
  }
  const bool have_kept = ReadKeptBits({in.fd, nullptr}, &kept);
  OpenFile out;
  SysErr err = OpenDescriptor(to, kGenericWrite, 0,
                              fail_if_exists ? kCreateNew : kCreateAlways,
                              kAttrNormal, &out);
  if (err != kOk) {
    close(in.fd);
    return err;
  }
  err = CopyBytes(in.fd, out.fd);
  if (err == kOk) {
    const timespec times[2] = {{0, UTIME_NOW}, st.st_mtim};
    futimens(out.fd, times);
    if (have_kept) WriteKeptBits({out.fd, nullptr}, kept & kKeptFileBits);
    if (keep_creation)
      WriteCreationTime({out.fd, nullptr},
                        CreationTimeOf({in.fd, nullptr}, st));
    if ((st.st_mode & S_IWUSR) == 0) fchmod(out.fd, st.st_mode & 07777);
  }
  close(in.fd);
  close(out.fd);
  if (err != kOk) {
    // A copy that stops half way leaves no target behind, as on the handheld.
    HostPath host;
    if (MapDevicePath(to, &host) == kOk) unlink(host.path.c_str());
  }
  return err;
}

SysErr GetAttributesOf(std::u16string_view path, std::uint32_t* attributes) {
  *attributes = kInvalidAttributes;
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  struct stat st;
  if (stat(host.path.c_str(), &st) != 0) return PathError(errno, host.path);
  *attributes = AttributesOf({-1, host.path.c_str()}, st);
  return kOk;
}

SysErr SetAttributesOf(std::u16string_view path, std::uint32_t attributes) {
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  struct stat st;
  if (stat(host.path.c_str(), &st) != 0) return PathError(errno, host.path);
  const MetaTarget target{-1, host.path.c_str()};
  if (S_ISDIR(st.st_mode)) {
    const std::uint32_t kept = attributes & kKeptDirectoryBits;
    const SysErr err = WriteKeptBits(target, kept);
    return err == 50 && (kept & ~kAttrArchive) == 0 ? kOk : err;
  }
  const std::uint32_t kept = attributes & kKeptFileBits;
  const bool read_only = (attributes & kAttrReadOnly) != 0;
  // Extended attributes need write permission for anyone but root: lift
  // read-only before, set it after.
  if (!read_only &&
      chmod(host.path.c_str(), (st.st_mode & 07777) | S_IWUSR) != 0)
    return FromErrno(errno);
  const SysErr err = WriteKeptBits(target, kept);
  if (err != kOk && !(err == 50 && (kept & ~kAttrArchive) == 0)) return err;
  if (read_only && chmod(host.path.c_str(), st.st_mode & 07777 & ~0222u) != 0)
    return FromErrno(errno);
  return kOk;
}

SysErr RemoveFile(std::u16string_view path) {
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  if (host.is_root) return kErrAccessDenied;
  struct stat st;
  if (lstat(host.path.c_str(), &st) != 0) return PathError(errno, host.path);
  if (S_ISDIR(st.st_mode)) return kErrAccessDenied;
  if (S_ISREG(st.st_mode)) {
    if ((st.st_mode & S_IWUSR) == 0) return kErrAccessDenied;
    if (OpenWithoutDeleteSharing(host.path)) return kErrSharingViolation;
  }
  if (unlink(host.path.c_str()) != 0) return PathError(errno, host.path);
  return kOk;
}

SysErr MoveEntry(std::u16string_view from, std::u16string_view to) {
  HostPath source;
  HostPath target;
  if (const SysErr err = MapDevicePath(from, &source); err != kOk) return err;
  if (const SysErr err = MapDevicePath(to, &target); err != kOk) return err;
  if (source.is_root || target.is_root) return kErrAccessDenied;
  struct stat st;
  if (lstat(source.path.c_str(), &st) != 0)
    return PathError(errno, source.path);
  if (S_ISREG(st.st_mode) && OpenWithoutDeleteSharing(source.path))
    return kErrSharingViolation;

  std::string destination = target.path;
  struct stat there;
  if (lstat(target.path.c_str(), &there) == 0) {
    // Only the same entry under another spelling (a change of case) may be
    // moved onto itself; another name, even of the same file, exists.
    const bool same = there.st_ino == st.st_ino && there.st_dev == st.st_dev &&
                      target.parent == source.parent &&
                      SameName(FromHostText(source.leaf), target.given);
    if (!same) return kErrAlreadyExists;
    std::string given;
    if (!ToHostText(target.given, &given)) return 123;
    destination = target.parent + "/" + given;
    if (destination == source.path) return kOk;
    if (rename(source.path.c_str(), destination.c_str()) != 0)
      return PathError(errno, destination);
    return kOk;
  }
  if (renameat2(AT_FDCWD, source.path.c_str(), AT_FDCWD, destination.c_str(),
                RENAME_NOREPLACE) == 0)
    return kOk;
  int e = errno;
  if (e == EINVAL || e == ENOSYS) {
    // A file system without the no-replace flag: the check above stands.
    if (rename(source.path.c_str(), destination.c_str()) == 0) return kOk;
    e = errno;
  }
  switch (e) {
    case EEXIST:
    case ENOTEMPTY:
      return kErrAlreadyExists;
    case ENOENT:
    case ENOTDIR:
      return kErrPathNotFound;
    case EXDEV: {
      if (!S_ISREG(st.st_mode)) return 17;
      // Another volume: a file moves as a copy followed by a removal.
      const SysErr err = CopyEntry(from, to, true, true);
      if (err != kOk) return err;
      unlink(source.path.c_str());
      return kOk;
    }
    default:
      return FromErrno(e);
  }
}

SysErr MakeDirectoryAt(std::u16string_view path) {
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  if (host.is_root) return kErrAlreadyExists;
  if (mkdir(host.path.c_str(), 0777) != 0) {
    switch (errno) {
      case EEXIST:
        return kErrAlreadyExists;
      case ENOENT:
      case ENOTDIR:
        return kErrPathNotFound;
      default:
        return FromErrno(errno);
    }
  }
  WriteCreationTime({-1, host.path.c_str()}, FileTimeNow());
  return kOk;
}

SysErr RemoveDirectoryAt(std::u16string_view path) {
  HostPath host;
  if (const SysErr err = MapDevicePath(path, &host); err != kOk) return err;
  if (host.is_root) return kErrAccessDenied;
  struct stat st;
  if (stat(host.path.c_str(), &st) != 0) return PathError(errno, host.path);
  if (!S_ISDIR(st.st_mode)) return 267;
  std::uint32_t kept = 0;
  if (ReadKeptBits({-1, host.path.c_str()}, &kept) &&
      (kept & kAttrReadOnly) != 0)
    return kErrAccessDenied;
  if (rmdir(host.path.c_str()) != 0) {
    switch (errno) {
      case ENOTEMPTY:
      case EEXIST:
        return 145;
      case ENOTDIR:
        return 267;
      default:
        return PathError(errno, host.path);
    }
  }
  return kOk;
}

}  // namespace

SysErr PosixFiles::GetAttributes(std::u16string_view path,
                                 std::uint32_t* attributes) {
  return Done(GetAttributesOf(path, attributes));
}

SysErr PosixFiles::SetAttributes(std::u16string_view path,
                                 std::uint32_t attributes) {
  return Done(SetAttributesOf(path, attributes));
}

SysErr PosixFiles::GetAttributeData(std::u16string_view path, FileData* data) {
  HostPath host;
  SysErr err = MapDevicePath(path, &host);
  if (err == kOk) err = DescribeEntry(host.path, data);
  if (err != kOk) data->attributes = kInvalidAttributes;
  data->name.clear();
  return Done(err);
}

SysErr PosixFiles::Remove(std::u16string_view path) {
  return Done(RemoveFile(path));
}

SysErr PosixFiles::Move(std::u16string_view from, std::u16string_view to) {
  return Done(MoveEntry(from, to));
}

SysErr PosixFiles::Copy(std::u16string_view from, std::u16string_view to,
                        bool fail_if_exists) {
  return Done(CopyEntry(from, to, fail_if_exists, false));
}

SysErr PosixFiles::MakeDirectory(std::u16string_view path) {
  return Done(MakeDirectoryAt(path));
}

SysErr PosixFiles::RemoveDir(std::u16string_view path) {
  return Done(RemoveDirectoryAt(path));
}

}  // namespace plat::posix

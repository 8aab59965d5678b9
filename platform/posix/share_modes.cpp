// platform/posix/share_modes.cpp: marker-byte locks for share modes.
#include "platform/posix/share_modes.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

namespace plat::posix {
namespace {

constexpr off_t kMarkerBase = 0x7FFFFFFF00000000LL;

enum Marker : off_t {
  kReads = 0,
  kWrites = 1,
  kDeniesRead = 2,
  kDeniesWrite = 3,
  kDeniesDelete = 4,
};

struct flock Range(short type, Marker marker) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = kMarkerBase + marker;
  lock.l_len = 1;
  lock.l_pid = 0;  // required by the open-file-description calls
  return lock;
}

// 1: another open holds the marker; 0: none; -1: no such locks here.
int Held(int fd, Marker marker) {
  struct flock lock = Range(F_WRLCK, marker);
  if (fcntl(fd, F_OFD_GETLK, &lock) != 0) return -1;
  return lock.l_type == F_UNLCK ? 0 : 1;
}

bool Take(int fd, Marker marker) {
  struct flock lock = Range(F_RDLCK, marker);
  return fcntl(fd, F_OFD_SETLK, &lock) == 0;
}

// Holds flock(LOCK_EX) on the file for its lifetime.
class Guard {
 public:
  explicit Guard(int fd) : fd_(fd) {
    while (flock(fd_, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~Guard() { flock(fd_, LOCK_UN); }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  int fd_;
};

}  // namespace

SysErr AcquireShare(int fd, std::uint32_t access, std::uint32_t share) {
  const bool reads = (access & kGenericRead) != 0;
  const bool writes = (access & kGenericWrite) != 0;
  const bool share_read = (share & kShareRead) != 0;
  const bool share_write = (share & kShareWrite) != 0;
  const bool share_delete = (share & kShareDelete) != 0;
  // An open for neither reading nor writing (attributes, times) takes no
  // part in sharing, as on the handheld.
  if (!reads && !writes) return kOk;

  Guard guard(fd);
  const struct {
    bool asks;
    Marker opposite;
  } checks[] = {
      {reads, kDeniesRead},
      {writes, kDeniesWrite},
      {!share_read, kReads},
      {!share_write, kWrites},
  };
  for (const auto& check : checks) {
    if (!check.asks) continue;
    const int held = Held(fd, check.opposite);
    if (held < 0) return kOk;
    if (held > 0) return kErrSharingViolation;
  }
  const struct {
    bool holds;
    Marker marker;
  } takes[] = {
      {reads, kReads},
      {writes, kWrites},
      {!share_read, kDeniesRead},
      {!share_write, kDeniesWrite},
      {!share_delete, kDeniesDelete},
  };
  // A lock that cannot be taken leaves the open unguarded, not refused.
  for (const auto& take : takes)
    if (take.holds) Take(fd, take.marker);
  return kOk;
}

bool DeleteDenied(int fd) { return Held(fd, kDeniesDelete) > 0; }

}  // namespace plat::posix

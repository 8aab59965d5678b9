// platform/posix/file_meta.h: what the handheld keeps per file and the host
// does not: attribute bits and the creation time.
//
// Both live in one extended attribute of the file, "user.tessel", so they
// follow it through renames and survive the process. 12 bytes,
// little-endian:
// - 4 bytes: the hidden (0x02), system (0x04) and archive (0x20) bits; on a
//   directory the read-only bit (0x01) too. A file's read-only bit is its
//   owner write permission instead, which is what other programs see.
// - 8 bytes: a FILETIME, set when the component creates the file or sets
//   its creation time; 0 when none is kept.
// Without the extended attribute the creation time is the file system's
// birth time (statx), else the last write time. On a file system without
// extended attributes every regular file reports archive, hidden and system
// cannot be set (error 50), and the creation time cannot be changed (50).
#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

#include "platform/platform.h"

namespace plat::posix {

// The bits the extended attribute holds.
inline constexpr std::uint32_t kKeptFileBits =
    kAttrHidden | kAttrSystem | kAttrArchive;
inline constexpr std::uint32_t kKeptDirectoryBits =
    kKeptFileBits | kAttrReadOnly;

FileTime FromTimespec(const timespec& time);
timespec ToTimespec(FileTime time);

// A file given by descriptor (fd >= 0) or by host path.
struct MetaTarget {
  int fd = -1;
  const char* path = nullptr;
};

// The kept bits; false when the file system has no extended attributes.
bool ReadKeptBits(MetaTarget target, std::uint32_t* bits);
SysErr WriteKeptBits(MetaTarget target, std::uint32_t bits);

// The component's attribute word for an entry.
std::uint32_t AttributesOf(MetaTarget target, const struct stat& st);
// Reads the stored creation time, else the birth time, else mtime.
FileTime CreationTimeOf(MetaTarget target, const struct stat& st);
SysErr WriteCreationTime(MetaTarget target, FileTime time);

// Attributes, times and size of a host path (name left empty).
SysErr DescribeEntry(const std::string& host, FileData* data);

// The current time as a FILETIME.
FileTime FileTimeNow();

}  // namespace plat::posix

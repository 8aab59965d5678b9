// platform/posix/posix_find.cpp: searches. The entries are read and
// described when the search starts, sorted by name without regard to case.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

#include "platform/posix/device_paths.h"
#include "platform/posix/file_meta.h"
#include "platform/posix/host_text.h"
#include "platform/posix/name_match.h"
#include "platform/posix/posix_files.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

bool NameBefore(const FileData& a, const FileData& b) {
  const std::size_t n = std::min(a.name.size(), b.name.size());
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t x = FoldCase(a.name[i]);
    const char16_t y = FoldCase(b.name[i]);
    if (x != y) return x < y;
  }
  return a.name.size() != b.name.size() ? a.name.size() < b.name.size()
                                        : a.name < b.name;
}

SysErr Collect(std::u16string_view pattern, std::vector<FileData>* found) {
  HostPath host;
  if (const SysErr err = MapDevicePath(pattern, &host, LeafKind::kPattern);
      err != kOk)
    return err;
  if (host.is_root) return kErrFileNotFound;
  struct stat st;
  if (stat(host.parent.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    return kErrPathNotFound;

  if (!HasWildcards(host.given)) {
    // One entry, found as any name is: without regard to case.
    HostPath entry;
    FileData data;
    if (MapDevicePath(pattern, &entry) != kOk ||
        DescribeEntry(entry.path, &data) != kOk)
      return kErrFileNotFound;
    data.name = FromHostText(entry.leaf);
    found->push_back(std::move(data));
    return kOk;
  }
  DIR* dir = opendir(host.parent.c_str());
  if (dir == nullptr) return FromErrno(errno);
  while (const dirent* entry = readdir(dir)) {
    const std::string name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::u16string name16 = FromHostText(name);
    if (!MatchesPattern(host.given, name16)) continue;
    FileData data;
    // An entry removed since the listing is left out.
    if (DescribeEntry(host.parent + "/" + name, &data) != kOk) continue;
    data.name = std::move(name16);
    found->push_back(std::move(data));
  }
  closedir(dir);
  if (found->empty()) return kErrFileNotFound;
  std::sort(found->begin(), found->end(), NameBefore);
  return kOk;
}

}  // namespace

SysErr PosixFiles::FindFirst(std::u16string_view pattern, FileData* data,
                             Handle* out) {
  *out = kInvalidHandle;
  Search search;
  if (const SysErr err = Collect(pattern, &search.entries); err != kOk)
    return Done(err);
  *data = search.entries.front();
  search.next = 1;
  *out = Handles().Add(std::move(search));
  return Done(kOk);
}

SysErr PosixFiles::FindNext(Handle search, FileData* data) {
  return Done(Handles().NextEntry(search, data));
}

SysErr PosixFiles::FindClose(Handle search) {
  return Done(Handles().RemoveSearch(search) ? kOk : kErrInvalidHandle);
}

}  // namespace plat::posix

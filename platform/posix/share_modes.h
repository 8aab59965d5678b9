// platform/posix/share_modes.h: the handheld's share modes between handles
// and processes, over Linux open-file-description locks.
//
// Each open holds shared (read) locks on marker bytes far past any real data
// (0x7FFFFFFF00000000 and up): one for "reads", one for "writes", and one
// for each right its share mode withholds ("denies read", "denies write",
// "denies delete"). An open conflicts when another open holds the opposite
// marker: its read access against "denies read", its missing share-read
// against "reads", and so on; a lock test (F_OFD_GETLK) finds those holders
// in any process. An exclusive flock() of the file around the test and the
// taking of the locks makes the two one step. The locks belong to the
// descriptor, so they go with it, even when its process is killed.
#pragma once

#include <cstdint>

#include "platform/platform.h"

namespace plat::posix {

// Checks the new open's access and share against the opens already there
// and, when they agree, records it on `fd`: kOk, or 32. `fd` must be open
// for reading. A file system without these locks shares everything.
SysErr AcquireShare(int fd, std::uint32_t access, std::uint32_t share);

// True when some open of the file withholds delete sharing: removing or
// renaming it then fails with 32.
bool DeleteDenied(int fd);

}  // namespace plat::posix

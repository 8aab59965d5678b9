// platform/posix/device_paths.h: where the handheld's device paths land on
// the host.
//
// The device root is the directory named by the environment variable
// TESSEL_ROOT; without it, $XDG_DATA_HOME/tessel/device, or
// $HOME/.local/share/tessel/device when XDG_DATA_HOME is not set. It is read
// at each mapping and created (with its parents) when missing.
//
// A device path maps below that root:
// - "\" and "/" both separate; "\Windows\win.ini" and "/Windows/win.ini" are
//   the same file. A path that does not begin with a separator is taken from
//   the root too, as the handheld has no current directory.
// - Empty components and "." are dropped, ".." removes the component before
//   it and never climbs above the root ("\..\x" is "\x").
// - Names keep their case. When a component does not exist as written, its
//   directory is searched for a name equal without regard to case, and that
//   entry is used; only a miss costs more than one system call. A name that
//   matches nothing is used as written, so a created file takes the case the
//   program gave.
// - Errors: an empty path is 161; more than 260 characters is 206; a path
//   ending in ":" names a device ("COM1:"), which is not a file: 2; a name
//   holding a control character or one of < > : " | * ? (outside a search
//   pattern), or text that is not UTF-16, is 123.
//
// The program's file (ProgramFile) is the device path in TESSEL_PROGRAM when
// set; else, when the executable lies below the device root, its device
// path; else "\" followed by the executable's name, so that the program's
// directory is the root.
#pragma once

#include <string>
#include <string_view>

#include "platform/platform.h"

namespace plat::posix {

inline constexpr std::size_t kMaxDevicePath = 260;

// The device root on the host, created when missing.
SysErr DeviceRoot(std::string* root);

// The environment variable's value, or empty.
std::string EnvText(const char* name);
// Where the component keeps its data when not told: "$XDG_DATA_HOME/tessel",
// else "~/.local/share/tessel" (not created here).
std::string TesselDataDir();

struct HostPath {
  std::string path;      // the host path
  std::string parent;    // the host directory holding it
  std::string leaf;      // its name there: as found on disk, or as given
  std::u16string given;  // the last component as the program wrote it
  bool is_root = false;  // the path names the device root itself
};

// kPattern lets "*" and "?" stand in the last component, which is kept as
// written (a search matches it against each entry).
enum class LeafKind { kName, kPattern };

SysErr MapDevicePath(std::u16string_view device, HostPath* out,
                     LeafKind leaf_kind = LeafKind::kName);

// The error for a host path that does not exist: 2 when its directory
// exists, 3 when it does not.
SysErr MissingError(const std::string& host);

// The device path of a host path below the root ("\dir\name"), or empty.
std::u16string DevicePathOf(const std::string& root, const std::string& host);

}  // namespace plat::posix

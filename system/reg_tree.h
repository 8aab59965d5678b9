// system/reg_tree.h: whole subtrees of plat::Registry: walked depth first,
// exported to .reg text, deleted, and changed as a parsed .reg file asks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"
#include "system/reg_file.h"

namespace sys {

// Called after each key (walks) or change (imports): how many are done and
// of how many, 0 when the total is unknown.
using RegProgress = std::function<void(std::size_t done, std::size_t total)>;

// A failure of the store: its error and the key (and value) it hit.
struct RegStoreError {
  plat::SysErr code = plat::kOk;
  std::u16string where;
};

class RegVisitor {
 public:
  virtual ~RegVisitor() = default;
  // `path` is the full path; the start key has depth 0.
  virtual void Key(std::u16string_view path, std::size_t depth) = 0;
  // The values of the last key, in enumeration order.
  virtual void Value(std::u16string_view name, std::uint32_t type,
                     std::span<const std::uint8_t> data) = 0;
};

// Visits `start`, its values, then each subkey in the same way, depth first
// in enumeration order. The start key's names take the case they are stored
// with. plat::kErrFileNotFound when `start` does not exist.
plat::SysErr WalkRegTree(const RegKeyPath& start, RegVisitor* visitor,
                         const RegProgress& progress, RegStoreError* error);

struct RegExport {
  std::string bytes;  // the whole file
  // Keys and values the format could not carry whole (see FormatRegValue).
  std::vector<std::u16string> lossy;
};

plat::SysErr ExportRegTree(const RegKeyPath& start, RegFormat format,
                           RegExport* out, const RegProgress& progress,
                           RegStoreError* error);

// Deletes a key and everything below it; a missing key is no error.
plat::SysErr DeleteRegTree(const RegKeyPath& key, RegStoreError* error);

// Makes the changes in file order. The first failure stops the import;
// what was done before it stays done.
plat::SysErr ApplyRegFile(const RegFile& file, const RegProgress& progress,
                          RegStoreError* error);

}  // namespace sys

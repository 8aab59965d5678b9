// platform/posix/posix_libraries.h: libraries by name, served from the table
// in library_exports.def; nothing is loaded from disk.
#pragma once

#include "platform/platform.h"

namespace plat::posix {

class PosixLibraries final : public Libraries {
 public:
  // The module of a library is the address of its row in the table.
  Module LoadLibrary(std::u16string_view name) override;
  // Null and 127 for an entry point the library lacks, 6 for a module that
  // is not one of these libraries.
  void* GetProcAddress(Module library, const char* name) override;
  bool FreeLibrary(Module library) override;
};

}  // namespace plat::posix

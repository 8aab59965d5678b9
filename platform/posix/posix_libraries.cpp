// platform/posix/posix_libraries.cpp: the library table and its lookups.
#include "platform/posix/posix_libraries.h"

#include <cstring>
#include <iterator>

#include "platform/posix/library_entries.h"
#include "platform/posix/name_match.h"
#include "platform/posix/sys_errors.h"

namespace plat::posix {
namespace {

// One row per library and per entry point, in the order of the .def file:
// a library's entry points follow its row.
struct LibraryRow {
  const char16_t* library;  // set on a library's row
  const char* entry;        // set on an entry point's row
  void* address;
};

const LibraryRow kRows[] = {
#define LIBRARY(name) {name, nullptr, nullptr},
#define EXPORT(entry, function) \
  {nullptr, entry, reinterpret_cast<void*>(&function)},
#include "platform/posix/library_exports.def"
#undef LIBRARY
#undef EXPORT
};

const LibraryRow* RowOf(Module module) {
  for (const LibraryRow& row : kRows)
    if (row.library != nullptr && reinterpret_cast<Module>(&row) == module)
      return &row;
  return nullptr;
}

}  // namespace

Module PosixLibraries::LoadLibrary(std::u16string_view name) {
  for (const LibraryRow& row : kRows) {
    if (row.library != nullptr && SameName(row.library, name)) {
      Done(kOk);
      return reinterpret_cast<Module>(&row);
    }
  }
  Done(kErrModNotFound);
  return 0;
}

void* PosixLibraries::GetProcAddress(Module library, const char* name) {
  const LibraryRow* row = RowOf(library);
  if (row == nullptr || name == nullptr) {
    Done(row == nullptr ? kErrInvalidHandle : kErrProcNotFound);
    return nullptr;
  }
  for (++row; row != std::end(kRows) && row->library == nullptr; ++row) {
    if (std::strcmp(row->entry, name) == 0) {
      Done(kOk);
      return row->address;
    }
  }
  Done(kErrProcNotFound);
  return nullptr;
}

bool PosixLibraries::FreeLibrary(Module library) {
  return Done(RowOf(library) != nullptr ? kOk : kErrInvalidHandle) == kOk;
}

}  // namespace plat::posix

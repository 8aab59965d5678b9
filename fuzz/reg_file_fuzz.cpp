// fuzz/reg_file_fuzz.cpp: the .reg parser over any bytes. It may refuse a
// file but never crash or over-read; a file it accepts is written back and
// parsed again, and every change must come back the same (what the writer
// could not carry faithfully is left out of the comparison).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "system/reg_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  sys::RegFile file;
  sys::RegFileError error;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (!sys::ParseRegFile(bytes, &file, &error)) return 0;

  sys::RegWriter writer(file.format);
  std::size_t written = 0;
  bool faithful = true;
  for (const sys::RegChange& change : file.changes) {
    if (change.kind == sys::RegChange::kKey) {
      faithful = writer.AddKey(sys::RegKeyText(change.key)) && faithful;
      ++written;
    } else if (change.kind == sys::RegChange::kSetValue) {
      faithful = writer.AddValue(change.name, change.type, change.data) &&
                 faithful;
      ++written;
    }
  }
  sys::RegFile again;
  if (!sys::ParseRegFile(writer.Finish(), &again, &error)) std::abort();
  if (!faithful) return 0;
  std::size_t i = 0;
  for (const sys::RegChange& change : again.changes) {
    while (i < file.changes.size() &&
           file.changes[i].kind != sys::RegChange::kKey &&
           file.changes[i].kind != sys::RegChange::kSetValue) {
      ++i;
    }
    if (i == file.changes.size()) std::abort();
    const sys::RegChange& before = file.changes[i++];
    if (change.kind != before.kind || change.name != before.name ||
        change.type != before.type || change.data != before.data ||
        sys::RegKeyText(change.key) != sys::RegKeyText(before.key)) {
      std::abort();
    }
  }
  if (again.changes.size() != written) std::abort();
  return 0;
}

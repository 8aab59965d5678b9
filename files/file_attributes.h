// files/file_attributes.h: the attribute letters of the language, the
// writability test behind "R" and the directory write test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/abi.h"

namespace files {

// Letters in the order A, D, H, R, S, C; `not_writable` adds "R" without
// the read-only bit.
std::u16string AttributeLetters(std::uint32_t attributes, bool not_writable);

// The attribute word of a new attributes text: A, H, R and S (capitals
// only) each add their bit; D and C are ignored. *recognised tells whether
// any capital of "ADHRSC" was there.
std::uint32_t AttributeWord(std::u16string_view letters, bool* recognised);

// The results of the directory write test.
enum WriteTest : int {
  kNotWritable = 0,
  kExistsNoFileCreated = 1,
  kWritable = 2,
};
// Creates and deletes "F_KSL_0X.TFW" in the directory, then writes back the
// directory's three times so that its modification time is kept. Null
// raises error 80059.
int DirectoryWriteTest(frame::Self* self, const char16_t* directory);

// The name the write test creates.
inline constexpr std::u16string_view kWriteTestName = u"F_KSL_0X.TFW";

// A file can be opened for reading and writing; a directory passes the
// write test with kWritable.
bool IsWritable(frame::Self* self, std::u16string_view path,
                std::uint32_t attributes);

}  // namespace files

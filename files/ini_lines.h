// files/ini_lines.h: the line reader of the INI functions. Lines end with
// CR LF and are read from an IXStream in 80-byte chunks, so that no file is
// ever loaded whole.
//
// Kept as is: a lone LF does not end a line, so a file written with LF
// alone reads as one long line; the files this reads are the handheld's.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "files/stream.h"

namespace files {

inline constexpr std::uint32_t kIniChunkBytes = 80;

class IniLineReader {
 public:
  explicit IniLineReader(IXStream* stream) : stream_(stream) {}

  // Reads the line at the stream's position and leaves the stream just
  // after its CR LF. False at end of file with nothing read; a failed read
  // or seek, or a line that no longer fits in memory, ends the file the same
  // way and sets failed().
  bool Next();
  // Whether the end came from a failure rather than from the file.
  bool failed() const { return failed_; }

  // The line without its CR LF, valid until the next call.
  std::string_view text() const { return {buffer_.get(), length_}; }
  // Where the line begins and where the next one does.
  std::uint64_t start() const { return start_; }
  std::uint64_t end() const { return start_ + consumed_; }

 private:
  bool Append(const char* bytes, std::size_t count);
  bool ReadChunk(char* chunk, std::uint32_t count, std::uint32_t* got);

  IXStream* stream_;
  std::unique_ptr<char[]> buffer_;
  std::size_t capacity_ = 0;
  std::size_t length_ = 0;
  std::uint64_t start_ = 0;
  std::uint64_t consumed_ = 0;
  bool failed_ = false;
};

}  // namespace files

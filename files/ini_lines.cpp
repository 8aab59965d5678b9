// files/ini_lines.cpp: reading CR LF lines in 80-byte chunks. Only the
// bytes of the line itself are kept; the stream is put back just after the
// line's CR LF when a chunk ran past it.
#include "files/ini_lines.h"

#include <cstring>
#include <new>
#include <utility>

namespace files {

bool IniLineReader::Append(const char* bytes, std::size_t count) {
  if (count == 0) return true;
  const std::size_t needed = length_ + count;
  if (needed > capacity_) {
    // The first chunk's size plus one, then at least doubled, so that a
    // very long line is not copied again for every chunk.
    std::size_t grown = capacity_ == 0 ? kIniChunkBytes + 1 : capacity_ * 2;
    if (grown < needed) grown = needed;
    std::unique_ptr<char[]> bigger(new (std::nothrow) char[grown]);
    if (bigger == nullptr) {
      failed_ = true;
      return false;
    }
    if (length_ != 0) std::memcpy(bigger.get(), buffer_.get(), length_);
    buffer_ = std::move(bigger);
    capacity_ = grown;
  }
  std::memcpy(buffer_.get() + length_, bytes, count);
  length_ = needed;
  return true;
}

bool IniLineReader::ReadChunk(char* chunk, std::uint32_t count,
                              std::uint32_t* got) {
  // A failed read ends the file; the bytes it delivered still count.
  *got = 0;
  if (!stream_->Read(chunk, count, got)) failed_ = true;
  return *got != 0;
}

bool IniLineReader::Next() {
  length_ = 0;
  consumed_ = 0;
  start_ = stream_->Tell();
  char chunk[kIniChunkBytes];
  for (;;) {
    std::uint32_t got = 0;
    if (!ReadChunk(chunk, kIniChunkBytes, &got)) return consumed_ != 0;
    const std::string_view view(chunk, got);
    if (const std::size_t crlf = view.find("\r\n");
        crlf != std::string_view::npos) {
      if (!Append(chunk, crlf)) return false;
      consumed_ += crlf + 2;
      if (crlf + 2 < got &&
          !stream_->Seek(static_cast<std::int64_t>(end()), plat::kSeekBegin)) {
        failed_ = true;
        return false;
      }
      return true;
    }
    if (!Append(chunk, got)) return false;
    consumed_ += got;
    if (got < kIniChunkBytes) return true;  // end of file: the line as it is
    // A full chunk ending in CR: one more byte tells whether its CR LF was
    // split between chunks. It repeats while the byte is CR again, so that
    // CR CR LF across the boundary still ends the line.
    char last = chunk[got - 1];
    while (last == '\r') {
      char extra = 0;
      if (!ReadChunk(&extra, 1, &got)) return true;
      ++consumed_;
      if (extra == '\n') {
        --length_;  // the CR of the pair
        return true;
      }
      if (!Append(&extra, 1)) return false;
      last = extra;
    }
  }
}

}  // namespace files

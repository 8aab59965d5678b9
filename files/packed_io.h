// files/packed_io.h: what packing and restoring share: streams as the
// codecs' byte channels, the progress of the operation, the plain copy and
// the time stamps.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "files/byte_channels.h"
#include "files/stream.h"
#include "frame/abi.h"

namespace files {

// Bytes to a stream through a buffer of `kStreamBufferSize` bytes, written
// out when the next bytes would overflow it. Any failed or short write
// stops it for good.
class StreamSink final : public ByteSink {
 public:
  static constexpr std::size_t kStreamBufferSize = 16000;
  explicit StreamSink(IXStream* stream) : stream_(stream) {}
  bool Put(const std::uint8_t* bytes, std::size_t count) override;
  bool Flush();
  bool failed() const { return failed_; }

 private:
  bool WriteAll(const std::uint8_t* bytes, std::size_t count);

  IXStream* stream_;
  std::uint8_t buffer_[kStreamBufferSize];
  std::size_t used_ = 0;
  bool failed_ = false;
};

// Bytes from a stream as they come.
class StreamSource final : public ByteSource {
 public:
  explicit StreamSource(IXStream* stream) : stream_(stream) {}
  bool Get(std::uint8_t* buffer, std::size_t capacity,
           std::size_t* got) override;

 private:
  IXStream* stream_;
};

// The progress of one operation over `total` bytes, told to the host at
// each new whole percent through the frame's progress step, for the window
// active when the operation started: 0 % at once, 100 % at the end, never
// a smaller percent than the last one told.
class Progress {
 public:
  Progress();
  void set_total(std::uint64_t total) { total_ = total; }
  // False once the host asked to stop.
  bool Advance(std::uint64_t done);
  void Finish();
  bool stopped() const { return stopped_; }

 private:
  bool Tell(int percent);

  std::uint64_t total_ = 0;
  frame::Word window_;
  int told_ = -1;
  bool stopped_ = false;
};

// The size of an open stream's file, or false.
bool StreamSize(const IXStream& stream, std::uint64_t* size);

// The two files of one operation, opened alike by packing and restoring:
// the source for reading, shared, and the destination created anew.
struct FilePair {
  FilePair(const char16_t* source, const char16_t* destination)
      : source_path(source == nullptr ? u"" : source),
        destination_path(destination == nullptr ? u"" : destination) {}
  // Opens the source and takes its size.
  bool OpenSource();
  bool CreateDestination();
  // Closes both and deletes the destination.
  void CloseAndDelete();

  std::u16string source_path;
  std::u16string destination_path;
  IXStream source;
  IXStream destination;
  std::uint64_t source_size = 0;
};

// Copies the rest of `from` to `to` in blocks of 8192 bytes. *copied
// counts the bytes written.
enum class CopyResult { kDone, kReadFailed, kWriteFailed, kStopped };
CopyResult CopyRest(IXStream* from, IXStream* to, Progress* progress,
                    std::uint64_t* copied);

// Gives `to` the creation, access and write times of `from`.
bool CopyTimes(IXStream* from, IXStream* to);

// The directory of a path once resolved, for the free-space query.
std::u16string DirectoryOf(std::u16string_view path);

}  // namespace files

// files/packed_file.cpp: the packed file's header and the packing itself
// (nfCompacte).
//
// Packing writes the header with zero sizes, then the lh5 stream through
// a 16000-byte buffer, then the header again with the sizes and two 0
// bytes. When the stream would not make the file smaller than the source,
// the destination is rewound and becomes a plain copy instead.
#include "files/packed_file.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include "files/fs_layer.h"
#include "files/lh5_encoder.h"
#include "files/packed_io.h"
#include "frame/code_page.h"
#include "platform/platform.h"

namespace files {
namespace {

constexpr std::uint8_t kSignature[] = {0x20, '-', 'l', 'h', '5', '-', 0};
constexpr std::size_t kSignatureSize = sizeof kSignature;
constexpr std::size_t kMethodAt = 4;  // the '5' of "-lh5-"
constexpr std::uint32_t kReadBlock = 32 * 1024;
constexpr std::uint32_t kCopyFirstBlock = 8192;
// Fewer free bytes than this after a failure tells a full disk.
constexpr std::uint64_t kNearlyFull = 5;
constexpr std::uint64_t kMaxOriginal = 0xFFFFFFFFu;

void PutLe32(std::uint8_t* at, std::uint32_t value) {
  for (int i = 0; i < 4; ++i)
    at[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

std::uint32_t GetLe32(const std::uint8_t* at) {
  return static_cast<std::uint32_t>(at[0]) |
         (static_cast<std::uint32_t>(at[1]) << 8) |
         (static_cast<std::uint32_t>(at[2]) << 16) |
         (static_cast<std::uint32_t>(at[3]) << 24);
}

bool IsLockedRead(plat::SysErr error) {
  return error == plat::kErrAccessDenied || error == plat::kErrLockViolation;
}

// One call of nfCompacte: the files, the buffers and the outcome.
class Packing {
 public:
  Packing(const char16_t* source, const char16_t* destination)
      : files_(source, destination) {}

  std::int16_t Run();

 private:
  enum class Step { kDone, kNoGain, kFailed, kStopped };

  Step Pack(Lh5Encoder* encoder, StreamSink* sink);
  Step Finish(Lh5Encoder* encoder, StreamSink* sink);
  Step PlainCopy();
  std::int16_t Fail();

  FilePair files_;
  IXStream& source_ = files_.source;
  IXStream& destination_ = files_.destination;
  Progress progress_;
  std::unique_ptr<std::uint8_t[]> block_;
  std::uint64_t noted_ = 0;  // where the destination's header starts
  std::uint64_t original_ = 0;
};

std::int16_t Packing::Run() {
  if (!files_.OpenSource()) return kPackSourceUnreadable;
  progress_.set_total(files_.source_size);
  if (!files_.CreateDestination()) return kPackDestinationNotCreated;
  auto sink =
      std::unique_ptr<StreamSink>(new (std::nothrow) StreamSink(&destination_));
  block_.reset(new (std::nothrow) std::uint8_t[kReadBlock]);
  if (sink == nullptr || block_ == nullptr) return kPackNoMemory;
  Lh5Encoder encoder(sink.get());
  if (!encoder.Init()) return kPackNoMemory;

  noted_ = destination_.Tell();
  std::uint8_t header[kPackedHeaderSize];
  BuildPackedHeader(files_.source_path, 0, 0, header);
  sink->Put(header, kPackedHeaderSize);

  // A source too big for the header's sizes is copied as it stands.
  Step step = files_.source_size > kMaxOriginal ? Step::kNoGain
                                                : Pack(&encoder, sink.get());
  if (step == Step::kDone) step = Finish(&encoder, sink.get());
  if (step == Step::kNoGain) step = PlainCopy();
  if (step == Step::kStopped) {
    files_.CloseAndDelete();
    return kPackAborted;
  }
  if (step == Step::kFailed || !CopyTimes(&source_, &destination_)) {
    return Fail();
  }
  source_.Close();
  if (!destination_.Close()) return Fail();
  progress_.Finish();
  return kPackDone;
}

Packing::Step Packing::Pack(Lh5Encoder* encoder, StreamSink* sink) {
  for (;;) {
    std::uint32_t got = 0;
    if (!source_.Read(block_.get(), kReadBlock, &got)) {
      // Locked bytes: the plain copy has its way around them.
      return IsLockedRead(plat::Current().system.LastError()) ? Step::kNoGain
                                                              : Step::kFailed;
    }
    if (got == 0) return Step::kDone;
    original_ += got;
    encoder->Put(block_.get(), got);
    if (sink->failed()) return Step::kFailed;
    // The stream already makes a file at least as long as the source.
    if (encoder->packed_size() + kPackedHeaderSize + kPackedTrailerSize >=
        files_.source_size) {
      return Step::kNoGain;
    }
    if (!progress_.Advance(original_)) return Step::kStopped;
  }
}

Packing::Step Packing::Finish(Lh5Encoder* encoder, StreamSink* sink) {
  encoder->Finish();
  const std::uint64_t packed = encoder->packed_size();
  if (!sink->Flush()) return Step::kFailed;
  if (original_ > kMaxOriginal ||
      packed + kPackedHeaderSize + kPackedTrailerSize >= original_) {
    return Step::kNoGain;
  }
  std::uint8_t header[kPackedHeaderSize];
  BuildPackedHeader(files_.source_path, static_cast<std::uint32_t>(packed),
                    static_cast<std::uint32_t>(original_), header);
  std::uint32_t written = 0;
  if (!destination_.Seek(static_cast<std::int64_t>(noted_ + 1),
                         plat::kSeekBegin) ||
      !destination_.Write(header + 1, kPackedHeaderSize - 1, &written) ||
      written != kPackedHeaderSize - 1 ||
      !destination_.Seek(0, plat::kSeekEnd)) {
    return Step::kFailed;
  }
  // Kept as is: two 0 bytes close the file, and only the first write is
  // checked.
  const std::uint8_t zero = 0;
  if (!destination_.Write(&zero, 1, &written) || written != 1) {
    return Step::kFailed;
  }
  destination_.Write(&zero, 1, &written);
  return Step::kDone;
}

Packing::Step Packing::PlainCopy() {
  if (!destination_.Seek(static_cast<std::int64_t>(noted_), plat::kSeekBegin) ||
      !source_.Seek(0, plat::kSeekBegin)) {
    return Step::kFailed;
  }
  std::uint64_t copied = 0;
  std::uint32_t got = 0;
  std::uint32_t written = 0;
  if (!source_.Read(block_.get(), kCopyFirstBlock, &got)) {
    // Kept as is: a source whose first bytes are locked (a running
    // program) is copied with "M" for its first byte, then from its second.
    if (got != 0 || !IsLockedRead(plat::Current().system.LastError())) {
      return Step::kFailed;
    }
    block_[0] = 'M';
    got = 1;
    if (!source_.Seek(1, plat::kSeekBegin)) return Step::kFailed;
  }
  if (got != 0 &&
      (!destination_.Write(block_.get(), got, &written) || written != got)) {
    return Step::kFailed;
  }
  copied += got;
  switch (CopyRest(&source_, &destination_, &progress_, &copied)) {
    case CopyResult::kDone:
      break;
    case CopyResult::kStopped:
      return Step::kStopped;
    default:
      return Step::kFailed;
  }
  return destination_.SetSize(destination_.Tell()) ? Step::kDone
                                                   : Step::kFailed;
}

// The destination stays as written.
std::int16_t Packing::Fail() {
  source_.Close();
  destination_.Close();
  std::uint32_t high = 0;
  std::uint32_t low = 0;
  if (FileSystemLayer::GetDiskFreeSpace(DirectoryOf(files_.destination_path),
                                        &high, &low) &&
      ((static_cast<std::uint64_t>(high) << 32) | low) < kNearlyFull) {
    return kPackDiskFull;
  }
  return kPackFailed;
}

}  // namespace

void BuildPackedHeader(const std::u16string& source_path,
                       std::uint32_t packed_size, std::uint32_t original_size,
                       std::uint8_t out[kPackedHeaderSize]) {
  std::memset(out, 0, kPackedHeaderSize);
  std::memcpy(out, kSignature, kSignatureSize);
  PutLe32(out + 7, packed_size);
  PutLe32(out + 11, original_size);
  const std::string path = frame::Utf16ToAnsi(source_path);
  std::memcpy(out + 15, path.data(), std::min(path.size(), kPackedPathChars));
}

PackedKind ReadPackedHeader(const std::uint8_t* bytes, std::size_t count,
                            PackedHeader* header) {
  if (count < kSignatureSize || bytes[0] != kSignature[0]) {
    return PackedKind::kPlain;
  }
  for (std::size_t i = 1; i < kSignatureSize; ++i) {
    if (i != kMethodAt && bytes[i] != kSignature[i]) return PackedKind::kPlain;
  }
  if (bytes[kMethodAt] != kSignature[kMethodAt])
    return PackedKind::kOtherMethod;
  if (count >= kPackedHeaderSize) {
    header->packed_size = GetLe32(bytes + 7);
    header->original_size = GetLe32(bytes + 11);
    const auto* path = reinterpret_cast<const char*>(bytes + 15);
    header->path.assign(path, strnlen(path, kPackedPathField));
  }
  return PackedKind::kPacked;
}

std::int16_t Compacte(const char16_t* source,
                      const char16_t* destination) noexcept {
  try {
    return Packing(source, destination).Run();
  } catch (const std::bad_alloc&) {
    return kPackNoMemory;
  }
}

}  // namespace files

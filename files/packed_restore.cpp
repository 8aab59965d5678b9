// files/packed_restore.cpp: the restore beside nfCompacte (nfDecompacte).
// A packed file is decoded; any other file is taken for the plain copy
// that packing leaves when it gains nothing, and copied as it stands.
//
// Nothing in the header is trusted: the stream is read within the file's
// real length and decoded in fixed buffers, and a restore that does not
// finish deletes what it wrote, so that no half file passes for a whole.
#include <memory>
#include <new>
#include <string>

#include "files/lh5_decoder.h"
#include "files/packed_file.h"
#include "files/packed_io.h"
#include "platform/platform.h"

namespace files {
namespace {

// The decoder's output on its way to the destination, with progress.
class RestoreSink final : public ByteSink {
 public:
  RestoreSink(IXStream* destination, Progress* progress)
      : destination_(destination), progress_(progress) {}
  bool Put(const std::uint8_t* bytes, std::size_t count) override {
    std::uint32_t written = 0;
    const auto want = static_cast<std::uint32_t>(count);
    if (!destination_->Write(bytes, want, &written) || written != want) {
      write_failed_ = true;
      return false;
    }
    done_ += count;
    return progress_->Advance(done_);
  }
  bool write_failed() const { return write_failed_; }

 private:
  IXStream* destination_;
  Progress* progress_;
  std::uint64_t done_ = 0;
  bool write_failed_ = false;
};

class Restore {
 public:
  Restore(const char16_t* source, const char16_t* destination)
      : files_(source, destination) {}
  std::int16_t Run();

 private:
  std::int16_t Decode(const PackedHeader& header);
  std::int16_t Copy();
  // Deletes what was written and passes `status` on.
  std::int16_t Undo(std::int16_t status) {
    files_.CloseAndDelete();
    return status;
  }

  FilePair files_;
  IXStream& source_ = files_.source;
  IXStream& destination_ = files_.destination;
  Progress progress_;
};

std::int16_t Restore::Run() {
  if (!files_.OpenSource()) return kRestoreSourceUnreadable;
  std::uint8_t head[kPackedHeaderSize];
  std::uint32_t got = 0;
  if (!source_.Read(head, kPackedHeaderSize, &got)) {
    return kRestoreSourceUnreadable;
  }
  PackedHeader header;
  const PackedKind kind = ReadPackedHeader(head, got, &header);
  const bool packed = kind == PackedKind::kPacked;
  if (kind == PackedKind::kOtherMethod ||
      (packed && (got < kPackedHeaderSize ||
                  files_.source_size <
                      kPackedHeaderSize + std::uint64_t{header.packed_size}))) {
    return kRestoreNotPacked;
  }
  progress_.set_total(packed ? header.original_size : files_.source_size);
  if (!files_.CreateDestination()) return kRestoreDestinationNotCreated;
  const std::int16_t status = packed ? Decode(header) : Copy();
  if (status != kRestoreDone) return Undo(status);
  if (!CopyTimes(&source_, &destination_)) return Undo(kRestoreWriteFailed);
  source_.Close();
  if (!destination_.Close()) return Undo(kRestoreWriteFailed);
  progress_.Finish();
  return kRestoreDone;
}

std::int16_t Restore::Decode(const PackedHeader& header) {
  StreamSource input(&source_);
  RestoreSink output(&destination_, &progress_);
  auto decoder = std::unique_ptr<Lh5Decoder>(new (std::nothrow)
                                                 Lh5Decoder(&input, &output));
  if (decoder == nullptr || !decoder->Init()) return kRestoreNoMemory;
  switch (decoder->Decode(header.packed_size, header.original_size)) {
    case Lh5Result::kDone:
      return kRestoreDone;
    case Lh5Result::kCorrupt:
      return kRestoreNotPacked;
    case Lh5Result::kSourceFailed:
      return kRestoreSourceUnreadable;
    case Lh5Result::kSinkStopped:
      break;
  }
  return output.write_failed() ? kRestoreWriteFailed : kRestoreAborted;
}

std::int16_t Restore::Copy() {
  if (!source_.Seek(0, plat::kSeekBegin)) return kRestoreSourceUnreadable;
  std::uint64_t copied = 0;
  switch (CopyRest(&source_, &destination_, &progress_, &copied)) {
    case CopyResult::kDone:
      return kRestoreDone;
    case CopyResult::kReadFailed:
      return kRestoreSourceUnreadable;
    case CopyResult::kWriteFailed:
      return kRestoreWriteFailed;
    case CopyResult::kStopped:
      break;
  }
  return kRestoreAborted;
}

}  // namespace

std::int16_t Decompacte(const char16_t* source,
                        const char16_t* destination) noexcept {
  try {
    return Restore(source, destination).Run();
  } catch (const std::bad_alloc&) {
    return kRestoreNoMemory;
  }
}

}  // namespace files

// files/packed_io.cpp: streams as byte channels, progress, the plain copy
// and the time stamps of packed files.
#include "files/packed_io.h"

#include <cstring>

#include "files/fs_layer.h"
#include "frame/progress.h"
#include "platform/platform.h"

namespace files {
namespace {

constexpr std::uint32_t kCopyBlock = 8192;

}  // namespace

bool StreamSink::WriteAll(const std::uint8_t* bytes, std::size_t count) {
  std::uint32_t written = 0;
  const auto want = static_cast<std::uint32_t>(count);
  if (!stream_->Write(bytes, want, &written) || written != want) {
    failed_ = true;
  }
  return !failed_;
}

bool StreamSink::Put(const std::uint8_t* bytes, std::size_t count) {
  if (failed_) return false;
  if (used_ + count > kStreamBufferSize && !Flush()) return false;
  if (count > kStreamBufferSize) return WriteAll(bytes, count);
  std::memcpy(buffer_ + used_, bytes, count);
  used_ += count;
  return true;
}

bool StreamSink::Flush() {
  if (failed_) return false;
  const std::size_t count = used_;
  used_ = 0;
  return count == 0 || WriteAll(buffer_, count);
}

bool StreamSource::Get(std::uint8_t* buffer, std::size_t capacity,
                       std::size_t* got) {
  std::uint32_t read = 0;
  const bool ok =
      stream_->Read(buffer, static_cast<std::uint32_t>(capacity), &read);
  *got = read;
  return ok;
}

Progress::Progress() : window_(frame::ActiveWindow()) { Tell(0); }

// Never back: a plain copy after packing gave up starts over from 0.
bool Progress::Tell(int percent) {
  if (percent > told_ && !stopped_) {
    told_ = percent;
    stopped_ = !frame::ProgressStep(window_, percent);
  }
  return !stopped_;
}

bool Progress::Advance(std::uint64_t done) {
  if (total_ == 0 || done >= total_) return Tell(100);
  // done < total: no overflow for any 64-bit size below 2^57.
  const auto percent = static_cast<int>(total_ < (std::uint64_t{1} << 57)
                                            ? done * 100 / total_
                                            : done / (total_ / 100 + 1));
  return Tell(percent);
}

void Progress::Finish() { Tell(100); }

bool StreamSize(const IXStream& stream, std::uint64_t* size) {
  return stream.is_open() &&
         plat::Current().files.Size(stream.handle(), size) == plat::kOk;
}

bool FilePair::OpenSource() {
  return source.Open(source_path, plat::kGenericRead,
                     plat::kShareRead | plat::kShareWrite, plat::kOpenExisting,
                     plat::kFlagRandomAccess) &&
         StreamSize(source, &source_size);
}

bool FilePair::CreateDestination() {
  return destination.Open(destination_path, plat::kGenericWrite, 0,
                          plat::kCreateAlways, plat::kFlagRandomAccess);
}

void FilePair::CloseAndDelete() {
  source.Close();
  destination.Close();
  FileSystemLayer::DeleteFile(destination_path);
}

CopyResult CopyRest(IXStream* from, IXStream* to, Progress* progress,
                    std::uint64_t* copied) {
  std::uint8_t block[kCopyBlock];
  for (;;) {
    std::uint32_t got = 0;
    if (!from->Read(block, kCopyBlock, &got)) return CopyResult::kReadFailed;
    if (got == 0) return CopyResult::kDone;
    std::uint32_t written = 0;
    if (!to->Write(block, got, &written) || written != got) {
      return CopyResult::kWriteFailed;
    }
    *copied += got;
    if (!progress->Advance(from->Tell())) return CopyResult::kStopped;
  }
}

bool CopyTimes(IXStream* from, IXStream* to) {
  plat::FileTime creation = 0;
  plat::FileTime access = 0;
  plat::FileTime write = 0;
  return from->GetTimes(&creation, &access, &write) &&
         to->SetTimes(&creation, &access, &write);
}

std::u16string DirectoryOf(std::u16string_view path) {
  std::u16string full = FileSystemLayer::FullPath(path);
  const std::size_t cut = full.find_last_of(u"\\/");
  full.resize(cut == std::u16string::npos ? 0 : cut + 1);
  return full;
}

}  // namespace files

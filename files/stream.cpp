// files/stream.cpp: IXStream over the platform's files. Every failure files
// one report into the sink, always in the same order: the system error, the
// stream's trace lines (the handle first), then the message naming the file.
#include "files/stream.h"

#include <initializer_list>

#include "files/fs_layer.h"
#include "frame/xerror.h"

namespace files {
namespace {

// Messages of the stream's reports.
constexpr std::uint32_t kMsgOpenOrCreate = 28002;
constexpr std::uint32_t kMsgRead = 28003;
constexpr std::uint32_t kMsgWrite = 28008;
constexpr std::uint32_t kMsgOpen = 28139;
constexpr std::uint32_t kMsgCreate = 28140;

constexpr char16_t kTraceHandle[] = u"##(IXStream)-Handle=<%p>##";
constexpr char16_t kTraceExact[] = u"##(IXStream)-bExact=<%d>##";
constexpr char16_t kTraceCounts[] = u"##(IXStream)-A lire=<%u>, lu=<%u>##";
constexpr char16_t kTraceAccess[] = u"##(IXStream)-Access=<%x>##";

// A read that keeps failing with 997 or 162 without delivering a byte gives
// up after this many tries, so that a device that never completes cannot
// hang the caller.
constexpr int kMaxIdleRetries = 64;

bool IsRetryable(plat::SysErr error) {
  return error == plat::kErrIoPending || error == plat::kErrLockFailed;
}

std::uint32_t OpenMessage(std::uint32_t disposition) {
  switch (disposition) {
    case plat::kCreateAlways:
    case plat::kCreateNew:
      return kMsgCreate;
    case plat::kOpenAlways:
      return kMsgOpenOrCreate;
    default:
      return kMsgOpen;
  }
}

struct Trace {
  std::u16string_view format;
  frame::ErrArgs args;
};

// The one place a stream report is built.
void File(frame::CXError* sink, plat::SysErr error, plat::Handle handle,
          std::initializer_list<Trace> traces, std::uint32_t message,
          std::u16string_view name) {
  if (sink == nullptr) return;
  frame::AttachSystemError(sink, error);
  frame::AddTrace(sink, kTraceHandle, {static_cast<long long>(handle)});
  for (const Trace& t : traces) frame::AddTrace(sink, t.format, t.args);
  frame::AddMessage(sink, message, {name});
}

plat::Files& Fs() { return plat::Current().files; }

}  // namespace

IXStream::~IXStream() {
  // The sink belongs to the call that opened the stream and may be gone.
  sink_ = nullptr;
  IXStream::Close();
}

std::u16string_view IXStream::report_name() const {
  return display_name_.empty() ? std::u16string_view(name_)
                               : std::u16string_view(display_name_);
}

void IXStream::Report(plat::SysErr error, std::uint32_t message) {
  File(sink_, error, handle_, {}, message, report_name());
}

bool IXStream::Open(std::u16string_view name, std::uint32_t access,
                    std::uint32_t share, std::uint32_t disposition,
                    std::uint32_t flags, bool* created) {
  if (created != nullptr) *created = false;
  if (is_open()) Close();
  if (!name.empty()) name_.assign(name);
  access_ = access;

  // A name too long to resolve goes to the system as given, which refuses
  // it with its own error rather than open a cut name.
  std::u16string resolved;
  const std::size_t length =
      FileSystemLayer::ResolvePath(name_, kMaxPath, &resolved);
  const std::u16string_view path =
      length != 0 && length < static_cast<std::size_t>(kMaxPath)
          ? std::u16string_view(resolved)
          : std::u16string_view(name_);

  plat::Handle handle = plat::kInvalidHandle;
  plat::SysErr error = plat::kOk;
  bool made = false;
  if (disposition == plat::kOpenAlways) {
    error = Fs().Open(path, access, share, plat::kOpenExisting, flags, &handle);
    if (error != plat::kOk) {
      error = Fs().Open(path, access, share, plat::kOpenAlways, flags, &handle);
      made = error == plat::kOk;
    }
  } else {
    error = Fs().Open(path, access, share, disposition, flags, &handle);
    // Kept as is: create-always tells `created` even when it replaced an
    // existing file.
    made = error == plat::kOk && disposition == plat::kCreateAlways;
  }
  if (error != plat::kOk || handle == plat::kInvalidHandle) {
    handle_ = plat::kInvalidHandle;
    Report(error, OpenMessage(disposition));
    return false;
  }
  handle_ = handle;
  position_ = 0;
  if (created != nullptr) *created = made;
  return true;
}

bool IXStream::Read(void* buffer, std::uint32_t count, std::uint32_t* read) {
  const bool exact = read == nullptr;
  auto* bytes = static_cast<unsigned char*>(buffer);
  std::uint32_t total = 0;
  plat::SysErr error = plat::kErrInvalidHandle;
  if (is_open()) {
    int idle = 0;
    do {
      std::uint32_t got = 0;
      error = Fs().Read(handle_, bytes + total, count - total, &got);
      if (got > count - total) got = count - total;  // never past the buffer
      total += got;
      idle = got == 0 ? idle + 1 : 0;
    } while (IsRetryable(error) && total < count && idle < kMaxIdleRetries);
    // The missing bytes came in the end: the pending state was transient.
    if (IsRetryable(error) && total == count) error = plat::kOk;
  }
  position_ += total;
  if (read != nullptr) *read = total;
  if (error != plat::kOk || (exact && total != count)) {
    File(sink_, error, handle_,
         {{kTraceExact, {exact ? 1 : 0}}, {kTraceCounts, {count, total}}},
         kMsgRead, report_name());
    return false;
  }
  return true;
}

bool IXStream::ReadAt(std::uint64_t position, void* buffer, std::uint32_t count,
                      std::uint32_t* read) {
  if (read != nullptr) *read = 0;
  return Seek(static_cast<std::int64_t>(position), plat::kSeekBegin) &&
         Read(buffer, count, read);
}

bool IXStream::Write(const void* buffer, std::uint32_t count,
                     std::uint32_t* written) {
  if (written != nullptr) *written = 0;
  if (count == 0) return true;
  std::uint32_t done = 0;
  plat::SysErr error = plat::kErrInvalidHandle;
  if (is_open()) {
    error = Fs().Write(handle_, buffer, count, &done);
    if (done > count) done = count;
  }
  position_ += done;
  if (written != nullptr) *written = done;
  if (error != plat::kOk) {
    File(sink_, error, handle_, {{kTraceAccess, {access_}}}, kMsgWrite,
         report_name());
    return false;
  }
  return true;
}

// Positioning and the times only look at the file: their failures report
// as reads. Changing the size, flushing and setting times report as writes.
bool IXStream::Seek(std::int64_t offset, std::uint32_t origin) {
  std::uint64_t position = 0;
  const plat::SysErr error = is_open()
                                 ? Fs().Seek(handle_, offset, origin, &position)
                                 : plat::kErrInvalidHandle;
  if (error != plat::kOk) {
    Report(error, kMsgRead);
    return false;
  }
  position_ = position;
  return true;
}

bool IXStream::SetSize(std::uint64_t position) {
  if (!Seek(static_cast<std::int64_t>(position), plat::kSeekBegin)) {
    return false;
  }
  if (const plat::SysErr error = Fs().SetEnd(handle_); error != plat::kOk) {
    Report(error, kMsgWrite);
    return false;
  }
  return true;
}

bool IXStream::Flush() {
  const plat::SysErr error =
      is_open() ? Fs().Flush(handle_) : plat::kErrInvalidHandle;
  if (error != plat::kOk) {
    Report(error, kMsgWrite);
    return false;
  }
  return true;
}

bool IXStream::GetTimes(plat::FileTime* creation, plat::FileTime* last_access,
                        plat::FileTime* last_write) {
  const plat::SysErr error =
      is_open() ? Fs().GetTimes(handle_, creation, last_access, last_write)
                : plat::kErrInvalidHandle;
  if (error != plat::kOk) {
    Report(error, kMsgRead);
    return false;
  }
  return true;
}

bool IXStream::SetTimes(const plat::FileTime* creation,
                        const plat::FileTime* last_access,
                        const plat::FileTime* last_write) {
  const plat::SysErr error =
      is_open() ? Fs().SetTimes(handle_, creation, last_access, last_write)
                : plat::kErrInvalidHandle;
  if (error != plat::kOk) {
    Report(error, kMsgWrite);
    return false;
  }
  return true;
}

// Closing a closed stream does nothing. The handle is given up even when
// the system refuses to close it: it cannot be used again either way.
bool IXStream::Close() {
  if (!is_open()) return true;
  const plat::SysErr error = Fs().Close(handle_);
  if (error != plat::kOk) Report(error, kMsgWrite);
  handle_ = plat::kInvalidHandle;
  return error == plat::kOk;
}

}  // namespace files

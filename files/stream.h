// files/stream.h: IXStream, the component's file stream: a system handle
// with its own 64-bit position, exact or partial reads, and failure reports
// with trace lines filed into an error record (the stream's sink).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/xerror_record.h"
#include "platform/platform.h"

namespace files {

inline constexpr int kMaxPath = 260;

class IXStream {
 public:
  // Reports go to `sink`; null files none.
  explicit IXStream(frame::CXError* sink = nullptr) : sink_(sink) {}
  virtual ~IXStream();
  IXStream(const IXStream&) = delete;
  IXStream& operator=(const IXStream&) = delete;

  void set_sink(frame::CXError* sink) { sink_ = sink; }
  frame::CXError* sink() const { return sink_; }
  // Reports name the display name, when set, instead of the file name.
  void set_display_name(std::u16string_view name) { display_name_ = name; }
  // The name the reports give.
  std::u16string_view report_name() const;
  const std::u16string& name() const { return name_; }

  // access, share, disposition and flags as the system takes them; the
  // dispositions used are create-always, open-existing and open-always.
  // *created (when given) tells that the file did not exist before.
  virtual bool Open(std::u16string_view name, std::uint32_t access,
                    std::uint32_t share, std::uint32_t disposition,
                    std::uint32_t flags, bool* created = nullptr);
  // With `read` a short read is no error (partial mode); without, exactly
  // `count` bytes must come (exact mode).
  virtual bool Read(void* buffer, std::uint32_t count,
                    std::uint32_t* read = nullptr);
  bool ReadAt(std::uint64_t position, void* buffer, std::uint32_t count,
              std::uint32_t* read = nullptr);
  // A short write is no error here: callers that need it all compare.
  virtual bool Write(const void* buffer, std::uint32_t count,
                     std::uint32_t* written = nullptr);
  virtual bool Seek(std::int64_t offset, std::uint32_t origin);
  std::uint64_t Tell() const { return position_; }
  // Cuts or extends the file at `position`; the stream stays there.
  virtual bool SetSize(std::uint64_t position);
  virtual bool Flush();
  virtual bool GetTimes(plat::FileTime* creation, plat::FileTime* last_access,
                        plat::FileTime* last_write);
  virtual bool SetTimes(const plat::FileTime* creation,
                        const plat::FileTime* last_access,
                        const plat::FileTime* last_write);
  virtual bool Close();

  bool is_open() const { return handle_ != plat::kInvalidHandle; }
  plat::Handle handle() const { return handle_; }
  std::uint32_t access() const { return access_; }

 protected:
  // Files the system error, the handle trace and `message` naming the file.
  void Report(plat::SysErr error, std::uint32_t message);

  frame::CXError* sink_ = nullptr;
  std::u16string name_;
  std::u16string display_name_;
  plat::Handle handle_ = plat::kInvalidHandle;
  std::uint64_t position_ = 0;
  std::uint32_t access_ = 0;
};

}  // namespace files

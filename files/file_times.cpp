// files/file_times.cpp: FileDate (function 195), FileTime (196) and
// FileDateTime (340): one routine reads or changes one of a file's three
// times in the form each function shows.
#include "files/file_times.h"

#include <cstdio>
#include <string>

#include "files/fs_layer.h"
#include "files/path_checks.h"
#include "frame/implementations.h"
#include "frame/text.h"

namespace files {

namespace {

constexpr std::int32_t kSelectModification = 0;
constexpr std::int32_t kSelectCreation = 1;
constexpr std::int32_t kSelectAccess = 2;

// Closes the handle on every path out.
class ScopedHandle {
 public:
  ScopedHandle() = default;
  ~ScopedHandle() {
    if (handle_ != plat::kInvalidHandle) plat::Current().files.Close(handle_);
  }
  ScopedHandle(const ScopedHandle&) = delete;
  ScopedHandle& operator=(const ScopedHandle&) = delete;
  plat::Handle* out() { return &handle_; }
  plat::Handle get() const { return handle_; }

 private:
  plat::Handle handle_ = plat::kInvalidHandle;
};

// A field read as "%hu" reads it: blanks, a sign, then digits, wrapping to
// 16 bits. A field without digits reads as 0.
std::uint16_t ReadShort(std::u16string_view field) {
  std::size_t i = 0;
  while (i < field.size() && (field[i] == u' ' || field[i] == u'\t')) ++i;
  bool negative = false;
  if (i < field.size() && (field[i] == u'+' || field[i] == u'-')) {
    negative = field[i] == u'-';
    ++i;
  }
  std::uint32_t value = 0;
  for (; i < field.size() && field[i] >= u'0' && field[i] <= u'9'; ++i) {
    value = value * 10 + static_cast<std::uint32_t>(field[i] - u'0');
  }
  if (negative) value = 0u - value;
  return static_cast<std::uint16_t>(value);
}

plat::SystemTime LocalCalendar(plat::FileTime utc) {
  plat::SystemTime calendar;
  plat::FileTimeToSystemTime(plat::FileTimeToLocal(utc), &calendar);
  return calendar;
}

const plat::SystemTime& Selected(const AttributeData& data,
                                 std::int32_t selector) {
  if (selector == kSelectCreation) return data.creation;
  if (selector == kSelectAccess) return data.last_access;
  return data.last_write;
}

void FailOn(frame::Self* self, std::u16string_view path, plat::SysErr err) {
  frame::Raise(self, frame::kErrFileTimeFailed, {path});
  frame::AttachSystemError(frame::ErrorRecord(self), err);
}

}  // namespace

bool ParseStampDate(std::u16string_view text, plat::SystemTime* time) {
  if (text.size() != 8) return false;
  const std::uint16_t year = ReadShort(text.substr(0, 4));
  const std::uint16_t month = ReadShort(text.substr(4, 2));
  const std::uint16_t day = ReadShort(text.substr(6, 2));
  // 31 February passes here and is left to the system's conversion.
  if (year <= 1979 || month < 1 || month > 12 || day < 1 || day > 31) {
    return false;
  }
  time->year = year;
  time->month = month;
  time->day = day;
  return true;
}

bool ParseStampTime(std::u16string_view text, plat::SystemTime* time) {
  if (text.size() != 6) return false;
  const std::uint16_t hour = ReadShort(text.substr(0, 2));
  const std::uint16_t minute = ReadShort(text.substr(2, 2));
  const std::uint16_t second = ReadShort(text.substr(4, 2));
  if (hour >= 24 || minute >= 60 || second >= 60) return false;
  time->hour = hour;
  time->minute = minute;
  time->second = second;
  time->milliseconds = 0;
  return true;
}

std::u16string FormatStamp(const plat::SystemTime& t, StampForm form) {
  char buffer[32];
  switch (form) {
    case StampForm::kDate:
      std::snprintf(buffer, sizeof buffer, "%04i%02i%02i", t.year, t.month,
                    t.day);
      break;
    case StampForm::kTime:
      std::snprintf(buffer, sizeof buffer, "%02i%02i%02i", t.hour, t.minute,
                    t.second);
      break;
    case StampForm::kDateTime:
      std::snprintf(buffer, sizeof buffer, "%04i%02i%02i%02i%02i%02i", t.year,
                    t.month, t.day, t.hour, t.minute, t.second);
      break;
  }
  return std::u16string(buffer,
                        buffer + std::char_traits<char>::length(buffer));
}

void FileStamp(frame::Self* self, char16_t** result, frame::Word path_word,
               const char16_t* new_value, std::int32_t selector,
               StampForm form) {
  if (selector < kSelectModification || selector > kSelectAccess) {
    frame::Raise(self, frame::kErrFileTimeSelector);
    return;
  }
  const std::u16string_view path = PathView(path_word);
  if (!CheckAbsolutePath(self, path)) return;
  if (!FitsPathBuffer(path)) {
    FailOn(self, path, plat::kErrFilenameTooLong);
    return;
  }
  const std::u16string_view value =
      new_value == nullptr ? std::u16string_view() : new_value;
  const bool writing = !value.empty();
  const std::u16string full = FileSystemLayer::FullPath(path);
  plat::Files& sys = plat::Current().files;
  const std::uint32_t access =
      writing ? plat::kGenericRead | plat::kGenericWrite : plat::kGenericRead;
  const std::uint32_t share = plat::kShareRead | plat::kShareWrite;

  ScopedHandle handle;
  plat::SysErr err = sys.Open(full, access, share, plat::kOpenExisting,
                              plat::kFlagRandomAccess, handle.out());
  std::uint32_t attributes = 0;
  if (err != plat::kOk && sys.GetAttributes(full, &attributes) == plat::kOk &&
      (attributes & plat::kAttrDirectory) != 0) {
    err = sys.Open(full, access, share, plat::kOpenExisting,
                   plat::kFlagRandomAccess | plat::kFlagBackupSemantics,
                   handle.out());
  }
  if (err != plat::kOk) {
    if (writing) {
      FailOn(self, path, err);
      return;
    }
    AttributeData data;
    frame::CXError scratch;
    if (!FileSystemLayer::GetFileAttributesEx(path, &data, &scratch)) {
      FailOn(self, path, scratch.system_code != 0 ? scratch.system_code : err);
      return;
    }
    frame::AssignText(result, FormatStamp(Selected(data, selector), form));
    return;
  }

  plat::FileTime creation = 0;
  plat::FileTime last_access = 0;
  plat::FileTime last_write = 0;
  if (err = sys.GetTimes(handle.get(), &creation, &last_access, &last_write);
      err != plat::kOk) {
    FailOn(self, path, err);
    return;
  }
  plat::FileTime& chosen = selector == kSelectCreation ? creation
                           : selector == kSelectAccess ? last_access
                                                       : last_write;
  if (writing) {
    plat::SystemTime local = LocalCalendar(chosen);
    bool valid = true;
    std::uint32_t refusal = frame::kErrInvalidDate;
    switch (form) {
      case StampForm::kDate:
        valid = ParseStampDate(value, &local);
        break;
      case StampForm::kTime:
        valid = ParseStampTime(value, &local);
        refusal = frame::kErrInvalidTime;
        break;
      case StampForm::kDateTime:
        // The combined text is the date text followed by the time text.
        valid =
            value.size() == 14 && ParseStampDate(value.substr(0, 8), &local);
        if (valid && !ParseStampTime(value.substr(8), &local)) {
          valid = false;
          refusal = frame::kErrInvalidTime;
        }
        break;
    }
    if (!valid) {
      frame::Raise(self, refusal);
      return;
    }
    plat::FileTime local_ticks = 0;
    if (!plat::SystemTimeToFileTime(local, &local_ticks)) {
      FailOn(self, path, plat::kErrInvalidParameter);
      return;
    }
    chosen = plat::LocalToFileTime(local_ticks);
    if (err = sys.SetTimes(handle.get(), &creation, &last_access, &last_write);
        err != plat::kOk) {
      FailOn(self, path, err);
      return;
    }
  }
  frame::AssignText(result, FormatStamp(LocalCalendar(chosen), form));
}

void FileDate(frame::Self* self, char16_t** result, frame::Word path,
              const char16_t* new_date, std::int32_t selector) {
  FileStamp(self, result, path, new_date, selector, StampForm::kDate);
}

void FileTime(frame::Self* self, char16_t** result, frame::Word path,
              const char16_t* new_time, std::int32_t selector) {
  FileStamp(self, result, path, new_time, selector, StampForm::kTime);
}

void FileDateTime(frame::Self* self, char16_t** result, frame::Word path,
                  const char16_t* new_value, std::int32_t selector) {
  FileStamp(self, result, path, new_value, selector, StampForm::kDateTime);
}

}  // namespace files

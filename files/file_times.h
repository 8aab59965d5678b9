// files/file_times.h: the shared routine of FileDate, FileTime and
// FileDateTime, and its parts: the new value's checks and the shown forms.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/abi.h"
#include "platform/platform.h"

namespace files {

enum class StampForm { kDate, kTime, kDateTime };

// "AAAAMMJJ": exactly 8 characters, year above 1979, month 1 to 12, day 1
// to 31. Sets year, month and day.
bool ParseStampDate(std::u16string_view text, plat::SystemTime* time);
// "HHMMSS": exactly 6 characters within a day. Sets hour, minute, second
// and clears the milliseconds.
bool ParseStampTime(std::u16string_view text, plat::SystemTime* time);
// "%04i%02i%02i", "%02i%02i%02i" or both joined.
std::u16string FormatStamp(const plat::SystemTime& time, StampForm form);

// Reads, or with a non-empty new value changes, the time chosen by
// `selector` (0 modification, 1 creation, 2 last access) and gives it in
// `form`; empty text after a report.
void FileStamp(frame::Self* self, char16_t** result, frame::Word path,
               const char16_t* new_value, std::int32_t selector,
               StampForm form);

}  // namespace files

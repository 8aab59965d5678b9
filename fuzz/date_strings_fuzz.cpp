// fuzz/date_strings_fuzz.cpp: the date, time and date-time checks and the
// short time parser over any UTF-16 text, and whatever they accept carried
// on through day numbers, weeks and back. Each may refuse; none may crash,
// read out of a table or overflow; an accepted date comes back as given.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "frame/xerror_record.h"
#include "text/dates.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  const std::u16string_view text(reinterpret_cast<const char16_t*>(data),
                                 size / 2);
  frame::CXError record;
  text::Date date;
  text::TimeOfDay time;
  text::CheckTime(text, &time, &record);
  text::ParseTimeShort(text, &time);
  text::CheckDateTime(text, &date, &time, &record);
  if (!text::CheckDate(text, &date, &record)) return 0;
  if (text::DateText(date) != text.substr(0, 8) && text.size() == 8 &&
      text.find_first_not_of(u"0123456789") == std::u16string_view::npos) {
    std::abort();  // an accepted date must read back as written
  }
  if (const auto day = text::DayNumber(date)) {
    text::DateOfDay(*day);
    text::PlainWeek(*day, date);
    text::WeekdayOfDay(*day);
  }
  text::IsoWeek(date);
  text::EasterSunday(date.year);
  text::WeekFirstDayNumber(date.month * 5, date.year, true);
  return 0;
}

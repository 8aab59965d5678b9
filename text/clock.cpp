// text/clock.cpp: the current date and time (functions 1, 2, 208, 222) and
// setting the system clock. The time of day is refined with the tick counter
// between clock ticks, so successive readings within a second differ.
#include <cstdio>
#include <cstdlib>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/vm_services.h"
#include "frame/xerror.h"
#include "platform/platform.h"
#include "text/dates.h"

namespace text {
namespace {

// Asked of the VM before the clock is read; a VM that answers 0 has filled
// the buffer itself and the clock is left unread.
constexpr std::uint32_t kRequestClock = 9;
constexpr std::int64_t kMillisecondsPerDay = 86400000;
// Beyond this gap between the estimate and the clock, the clock wins.
constexpr std::int64_t kMaxDrift = 2000;
// Members of the structure of function 222: the time string, then the
// VM's date-time, date and time values, each given the clock record.
constexpr std::uint32_t kStructureMembers = 4;
constexpr std::uint32_t kTextType = 16;
constexpr std::uint32_t kDateTimeTypes[] = {26, 24, 25};

// Process-wide and unguarded: concurrent first calls may both set them,
// which is harmless.
bool has_references = false;
std::uint32_t tick_reference = 0;
std::int64_t clock_reference = 0;

plat::SystemInfo& System() { return plat::Current().system; }

// The VM is asked first; the local clock is read only when it says so.
plat::SystemTime ReadClock() {
  plat::SystemTime now{};
  if (frame::VmRequest(kRequestClock, &now) != 0) now = System().LocalTime();
  return now;
}

TimeOfDay Refine(const plat::SystemTime& now);

// The clock with the refined time of day.
plat::SystemTime Now() {
  plat::SystemTime now = ReadClock();
  const TimeOfDay t = Refine(now);
  now.hour = static_cast<std::uint16_t>(t.hours);
  now.minute = static_cast<std::uint16_t>(t.minutes);
  now.second = static_cast<std::uint16_t>(t.seconds);
  now.milliseconds = static_cast<std::uint16_t>(t.milliseconds);
  return now;
}

std::string TimeText(const TimeOfDay& t) {
  char text[32];
  std::snprintf(text, sizeof text, "%02d%02d%02d%02d", t.hours, t.minutes,
                t.seconds, t.milliseconds / 10);
  return text;
}

// A refused SetLocalTime: the system's error and its text.
void ReportSystemError(frame::Self* self, plat::SysErr err) {
  frame::CXError* record = frame::ErrorRecord(self);
  if (record == nullptr) return;
  record->Reset();
  frame::AttachSystemError(record, err);
  frame::AddTrace(record, u"%s", {frame::SystemErrorText(err)});
}

void SetClock(frame::Self* self, const plat::SystemTime& time) {
  if (const plat::SysErr err = System().SetLocalTime(time); err != plat::kOk) {
    ReportSystemError(self, err);
  }
}

}  // namespace

Date Today() {
  const plat::SystemTime now = System().LocalTime();
  return {now.year, now.month, now.day};
}

namespace {

// The estimate runs on the tick counter from the references; it is pulled
// back to the clock when it passes midnight or drifts by over 2 seconds.
TimeOfDay Refine(const plat::SystemTime& now) {
  const std::uint32_t ticks = System().TickCount();
  const std::int64_t local =
      ((now.hour * 60 + now.minute) * 60 + now.second) * 1000 +
      std::int64_t{now.milliseconds};
  if (!has_references) {
    tick_reference = ticks;
    clock_reference = local;
    has_references = true;
  }
  // Unsigned difference: the tick counter wraps at 2^32.
  std::int64_t elapsed = static_cast<std::uint32_t>(ticks - tick_reference);
  std::int64_t estimate = clock_reference + elapsed;
  const auto take_references = [&] {
    tick_reference = ticks;
    clock_reference = local;
    elapsed = 0;
    estimate = local;
  };
  if (estimate > kMillisecondsPerDay) take_references();  // past midnight
  if (std::llabs(elapsed - (local - clock_reference)) > kMaxDrift) {
    take_references();
  }
  return {static_cast<int>(estimate / 3600000),
          static_cast<int>(estimate % 3600000 / 60000),
          static_cast<int>(estimate % 60000 / 1000),
          static_cast<int>(estimate % 1000)};
}

}  // namespace

TimeOfDay CurrentTimeOfDay() { return Refine(ReadClock()); }

void ResetClockReferences() { has_references = false; }

// ---- 1, 208: the current date, or set it ------------------------------------

void CurrentDate(frame::Self*, char16_t** result) {
  frame::AssignText(result, DateText(Today()));
}
void CurrentDateCompat(frame::Self* self, char16_t** result) {
  CurrentDate(self, result);
}

// Sets the date and keeps the time of day.
void SetCurrentDate(frame::Self* self, const char16_t* date) {
  Date d;
  if (!CheckDate(TextArg(date), &d, frame::ErrorRecord(self))) return;
  plat::SystemTime time = System().LocalTime();
  time.year = static_cast<std::uint16_t>(d.year);
  time.month = static_cast<std::uint16_t>(d.month);
  time.day = static_cast<std::uint16_t>(d.day);
  time.day_of_week = static_cast<std::uint16_t>(WeekdayOfDay(*DayNumber(d)));
  SetClock(self, time);
}
void SetCurrentDateCompat(frame::Self* self, const char16_t* date) {
  SetCurrentDate(self, date);
}

// ---- 2, 222: the current time, or set it ------------------------------------

void CurrentTime(frame::Self*, char16_t** result) {
  SetText(result, TimeText(CurrentTimeOfDay()));
}

// Sets the time of day (to the millisecond) and keeps the date.
void SetCurrentTime(frame::Self* self, const char16_t* text) {
  TimeOfDay t;
  if (!CheckTime(TextArg(text), &t, frame::ErrorRecord(self))) return;
  plat::SystemTime time = System().LocalTime();
  time.hour = static_cast<std::uint16_t>(t.hours);
  time.minute = static_cast<std::uint16_t>(t.minutes);
  time.second = static_cast<std::uint16_t>(t.seconds);
  time.milliseconds = static_cast<std::uint16_t>(t.milliseconds);
  SetClock(self, time);
}
void SetCurrentDateTime(frame::Self* self, const char16_t* text) {
  SetCurrentTime(self, text);
}

// A structure of the VM: the time string, then the clock record as the
// VM's date-time, date and time values.
std::int32_t CurrentDateTime(frame::Self*) {
  const plat::SystemTime now = Now();
  const frame::Word structure = frame::CreateStructure(kStructureMembers);
  if (structure == 0) return 0;
  char16_t* time_text = nullptr;
  SetText(&time_text,
          TimeText({now.hour, now.minute, now.second, now.milliseconds}));
  frame::SetStructureMember(structure, 0, &time_text, kTextType);
  frame::ReleaseText(&time_text);
  for (std::uint32_t i = 0; i < 3; ++i) {
    frame::SetStructureMember(structure, i + 1, &now, kDateTimeTypes[i]);
  }
  return static_cast<std::int32_t>(structure);
}

}  // namespace text

// text/byte_sizes.cpp: ByteSizeText (function 351).
#include "text/byte_sizes.h"

#include <charconv>
#include <cmath>
#include <vector>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/vm_services.h"
#include "frame/xerror.h"

namespace text {

namespace {

// The default unit names, held with the component's messages.
constexpr std::uint32_t kMsgUnitNames = 25202;
constexpr std::u16string_view kPluralMarker = u"(s)";
constexpr std::size_t kUnitNames = 6;
constexpr double kStep = 1024;

std::vector<std::u16string_view> SplitNames(std::u16string_view names) {
  std::vector<std::u16string_view> out;
  while (out.size() < kUnitNames) {
    const std::size_t end = names.find(u';');
    out.push_back(names.substr(0, end));
    if (end == std::u16string_view::npos) break;
    names.remove_prefix(end + 1);
  }
  return out;
}

std::u16string Ascii(const char *begin, const char *end) {
  return std::u16string(begin, end);
}

// "%d %s": the byte count itself, which is the double truncated back.
std::u16string WholeBytes(std::int64_t size, std::u16string_view name) {
  char digits[24];
  const auto r = std::to_chars(digits, digits + sizeof digits, size);
  std::u16string out = Ascii(digits, r.ptr);
  out += u' ';
  out += name;
  return out;
}

// "%#.2f %s", then every "." becomes the separator.
std::u16string TwoDecimals(double value, std::u16string_view name,
                           char16_t separator) {
  char digits[32];
  const auto r = std::to_chars(digits, digits + sizeof digits, value,
                               std::chars_format::fixed, 2);
  std::u16string out = Ascii(digits, r.ptr);
  out += u' ';
  out += name;
  // Kept as is: the replacement runs over the whole text, so a "." inside
  // a unit name changes too.
  if (separator != 0) {
    for (char16_t &c : out) {
      if (c == u'.') c = separator;
    }
  }
  return out;
}

}  // namespace

std::u16string FormatByteSize(std::int64_t size, std::int32_t unit,
                              std::u16string_view names, char16_t separator) {
  const std::vector<std::u16string_view> split = SplitNames(names);
  auto name = [&](std::size_t i) {
    return i < split.size() ? split[i] : std::u16string_view();
  };
  const double x = static_cast<double>(size);
  std::u16string bytes_name(name(0));
  if (bytes_name.ends_with(kPluralMarker)) {
    // Kept as is: the plural follows the signed value, so -5 is singular.
    bytes_name.resize(bytes_name.size() - kPluralMarker.size());
    if (x >= 2) bytes_name += u's';
  }
  // Each level is taken when the caller names it, or automatically when its
  // value is below one step; a unit choice beyond 4 (negative ones too)
  // falls through to the last level.
  const bool automatic = unit == 0;
  if (unit == 1 || (automatic && std::fabs(x) < kStep)) {
    return WholeBytes(size, bytes_name);
  }
  double value = x / kStep;
  for (std::int32_t level = 1; level <= 3; ++level) {
    if (unit == level + 1 || (automatic && std::fabs(value) < kStep)) {
      return TwoDecimals(value, name(level), separator);
    }
    value /= kStep;
  }
  // Kept as is: the last name needs a value of 1024 of the one before it,
  // even when the caller asked for it (unit 5), and a negative size never
  // reaches it.
  if (!name(5).empty() && value >= kStep) {
    return TwoDecimals(value / kStep, name(5), separator);
  }
  return TwoDecimals(value, name(4), separator);
}

void ByteSizeText(frame::Self *self, char16_t **result, std::int64_t size,
                  std::int32_t unit) {
  if (unit > kLargestUnitChoice) {
    frame::Raise(self, frame::kErrByteSizeUnit, {unit});
    return;
  }
  std::u16string names;
  char16_t separator = u'.';
  if (const auto *settings =
          static_cast<const DiskSizeRecord *>(frame::DiskSizeSettings())) {
    separator = settings->decimal_separator;
    if (settings->unit_names != nullptr && settings->unit_names[0] != 0) {
      names = settings->unit_names;
    }
  }
  if (names.empty()) {
    int cls = 0;
    frame::FindMessage(kMsgUnitNames, &names, &cls);
  }
  if (frame::AssignText(result, FormatByteSize(size, unit, names, separator)) !=
      0) {
    frame::Raise(self, frame::kErrOutOfMemory);
  }
}

}  // namespace text

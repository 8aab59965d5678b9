// system/os_info.cpp: language functions 151 and 236: short texts about the
// operating system, read from its version record. The generation label
// follows fixed rules instead of printing the kernel's numbers.
#include <cstdint>
#include <string>
#include <string_view>

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "platform/platform.h"

namespace sys {
namespace {

enum Selector : std::int32_t {
  kGeneration = 0,
  kVersion = 1,
  kBuild = 2,
  kPlatformType = 3,
  kServicePack = 4,
  kWordSize = 5,
};

// The suite bit of the personal edition in the extended version record.
constexpr std::uint16_t kSuitePersonal = 0x200;
// Kept as is: the out-of-range selector error carries this number as its
// argument, not the selector.
constexpr std::int32_t kSelectorErrorArgument = 79872;

// A device that refuses the platform-type query is a smartphone.
constexpr std::u16string_view kRefusedPlatformType = u"Smartphone";

std::u16string Decimal(std::uint32_t value) {
  const std::string digits = std::to_string(value);
  return std::u16string(digits.begin(), digits.end());
}

// The handheld generation. Kept as is: the labels are not the kernel's
// numbers (kernel 5.2 is "CE 6.5" from build 21043, else "CE 6").
std::u16string_view GenerationLabel(const plat::OsVersion& v) {
  if (v.platform_id != plat::kPlatformHandheld) return {};
  if (v.major >= 5 && v.minor == 2 && v.build >= 21043) return u"CE 6.5";
  if (v.major >= 5 && v.minor >= 2) return u"CE 6";
  if (v.major >= 6) return u"CE 6";
  if (v.major == 5) return u"CE 5";
  if (v.major == 4) return u"CE 4";
  return u"CE 3";
}

// The desktop class prints the whole build number, the others only its low
// 16 bits.
std::u16string BuildNumber(const plat::OsVersion& v) {
  if (v.platform_id == plat::kPlatformDesktop) return Decimal(v.build);
  return Decimal(v.build & 0xFFFFu);
}

// Kept as is: the 64-bit test answers false on every build, 64-bit Linux
// included, so "64" is never appended and function 236 stays "32". It
// stays a step of its own in the service-pack text.
bool RunsAs64Bit() { return false; }

// The service-pack text (up to 127 characters) comes back whole with its
// suffixes: cutting it to the 64 characters of the other texts would lose
// what the system says.
std::u16string ServicePack(const plat::OsVersion& v) {
  std::u16string text = v.service_pack;
  if (v.platform_id == plat::kPlatformDesktop && v.major >= 5 && v.minor != 0) {
    if (!text.empty()) text += u',';
    text += (v.suite_mask & kSuitePersonal) != 0 ? u"Home Edition" : u"Pro";
  }
  if (RunsAs64Bit()) {
    if (!text.empty()) text += u',';
    text += u"64";
  }
  return text;
}

// Only access denied has a meaning (a smartphone); any other refusal gives
// the empty text.
std::u16string PlatformType() {
  std::u16string text;
  const plat::SysErr err = plat::Current().system.PlatformType(&text);
  if (err == plat::kErrAccessDenied)
    return std::u16string(kRefusedPlatformType);
  if (err != plat::kOk) return {};
  return text;
}

}  // namespace

// A selector outside 0 to 5 raises and leaves the text empty; a rule that
// does not apply (a generation off the handheld) is the empty text without
// an error.
void OsInformation(frame::Self* self, char16_t** result,
                   std::int32_t selector) {
  if (selector < kGeneration || selector > kWordSize) {
    frame::Raise(self, frame::kErrOsInfoSelector, {kSelectorErrorArgument});
    return;
  }
  if (selector == kWordSize) {
    frame::AssignText(result, u"32");
    return;
  }
  if (selector == kPlatformType) {
    frame::AssignText(result, PlatformType());
    return;
  }
  const plat::OsVersion version = plat::Current().system.Version();
  switch (selector) {
    case kGeneration:
      frame::AssignText(result, GenerationLabel(version));
      break;
    case kVersion:
      frame::AssignText(result,
                        Decimal(version.major) + u'.' + Decimal(version.minor));
      break;
    case kBuild:
      frame::AssignText(result, BuildNumber(version));
      break;
    default:
      frame::AssignText(result, ServicePack(version));
      break;
  }
}

void OsWordSize(frame::Self* self, char16_t** result) {
  OsInformation(self, result, kWordSize);
}

}  // namespace sys

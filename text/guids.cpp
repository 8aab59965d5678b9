// text/guids.cpp: GuidCreate (function 408). The GUID comes from
// "CoCreateGuid" of "ole32.dll", loaded for the call and freed right after,
// so a device without the library only loses this function.
#include "text/guids.h"

#include "frame/implementations.h"
#include "frame/text.h"
#include "frame/xerror.h"
#include "platform/platform.h"

namespace text {

namespace {

constexpr char16_t kHexDigits[] = u"0123456789abcdef";

void PutHex(std::u16string *out, std::uint32_t value, int digits) {
  for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4) {
    *out += kHexDigits[(value >> shift) & 0xF];
  }
}

std::uint32_t Little(std::span<const std::uint8_t, 16> g, int at, int size) {
  std::uint32_t v = 0;
  for (int i = size - 1; i >= 0; --i) v = (v << 8) | g[at + i];
  return v;
}

// The new GUID's record, or false when the library, its entry point or the
// call fails.
bool NewGuid(std::uint8_t guid[16]) {
  plat::Libraries &libraries = plat::Current().libraries;
  const plat::Module ole = libraries.LoadLibrary(u"ole32.dll");
  if (ole == 0) return false;
  auto create = reinterpret_cast<plat::CoCreateGuidFn>(
      libraries.GetProcAddress(ole, "CoCreateGuid"));
  const bool ok = create != nullptr && create(guid) == 0;
  libraries.FreeLibrary(ole);
  return ok;
}

}  // namespace

std::u16string FormatGuid(std::span<const std::uint8_t, 16> guid, bool braced) {
  std::u16string out;
  out.reserve(38);
  if (braced) out += u'{';
  PutHex(&out, Little(guid, 0, 4), 8);
  if (braced) out += u'-';
  PutHex(&out, Little(guid, 4, 2), 4);
  if (braced) out += u'-';
  PutHex(&out, Little(guid, 6, 2), 4);
  if (braced) out += u'-';
  for (int i = 8; i < 16; ++i) {
    if (braced && i == 10) out += u'-';
    PutHex(&out, guid[i], 2);
  }
  if (braced) out += u'}';
  return out;
}

void GuidCreate(frame::Self *self, char16_t **result, std::int32_t braced) {
  std::uint8_t guid[16] = {};
  if (!NewGuid(guid)) return;  // no error: the empty text says it
  if (frame::AssignText(result, FormatGuid(guid, braced != 0)) != 0) {
    frame::Raise(self, frame::kErrOutOfMemory);
  }
}

}  // namespace text

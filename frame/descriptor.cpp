// frame/descriptor.cpp: the component descriptor and its message lookup.
#include "frame/descriptor.h"

#include <algorithm>
#include <string>

#include "frame/entry.h"
#include "frame/xerror.h"

namespace frame {
namespace {

template <class Fn>
Word W(Fn* fn) {
  return reinterpret_cast<Word>(fn);
}

// The eight identification words: code, number, version parts, language.
constexpr Word kIdentification[8] = {
    0x00445453,  // "STD"
    kComponentNumber, 21, 0, 108, 1, 0x0409, 0};

}  // namespace

std::int32_t LookupMessage(std::uint32_t number, char16_t* buffer,
                           std::uint32_t capacity, std::int32_t* cls) {
  std::u16string text;
  int message_class = 0;
  if (!FindMessage(number, &text, &message_class)) return 0;
  if (cls != nullptr) *cls = message_class;
  if (buffer == nullptr || capacity == 0) return 0;
  const bool cut = text.size() >= capacity;
  const std::size_t count = cut ? capacity - 1 : text.size();
  std::copy_n(text.data(), count, buffer);
  buffer[count] = u'\0';
  return static_cast<std::int32_t>(count);
}

const Word kDescriptor[kDescriptorWords] = {
    W(gstErrorDef),
    290,
    kComponentNumber,
    W(kFileName),
    W(kVersionText),
    W(&LookupMessage),
    W(&InitLibrary),
    W(&TermLibrary),
    1,
    W(&QueryProxy),
    0,
    W(&InfoComposante),
    W(&Execution),
    0,
    0,
    0,
    kIdentification[0], kIdentification[1], kIdentification[2],
    kIdentification[3], kIdentification[4], kIdentification[5],
    kIdentification[6], kIdentification[7]};

}  // namespace frame

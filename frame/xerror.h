// frame/xerror.h: raising numbered errors into the call's CXError record.
// An implementation that fails calls Raise with its error number and the
// message's arguments, then returns its neutral value.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "frame/abi.h"
#include "frame/xerror_record.h"

namespace frame {

// The error numbers: kErrName for each row of frame/errors.def.
enum ErrorNumber : std::uint32_t {
#define ERRDEF(number, message, subcode, severity, Name) kErr##Name = number,
#include "frame/errors.def"
#undef ERRDEF
};

inline constexpr int kErrorDefWords = 4;  // number, message, sub-code, severity
extern const Word gstErrorDef[][kErrorDefWords];
extern const int kErrorDefCount;

// One argument of a message: an integer or a text.
class ErrArg {
 public:
  ErrArg(int v) : number_(v) {}                                 // NOLINT
  ErrArg(long v) : number_(v) {}                                // NOLINT
  ErrArg(long long v) : number_(v) {}                           // NOLINT
  ErrArg(unsigned v) : number_(v) {}                            // NOLINT
  ErrArg(unsigned long v) : number_(static_cast<long long>(v)) {}      // NOLINT
  ErrArg(unsigned long long v) : number_(static_cast<long long>(v)) {} // NOLINT
  ErrArg(const char16_t* v)                                     // NOLINT
      : is_text_(true), text_(v == nullptr ? u"" : v) {}
  ErrArg(std::u16string_view v) : is_text_(true), text_(v) {}   // NOLINT
  ErrArg(const std::u16string& v) : is_text_(true), text_(v) {} // NOLINT

  bool is_text() const { return is_text_; }
  long long number() const { return number_; }
  std::u16string_view text() const { return text_; }

 private:
  bool is_text_ = false;
  long long number_ = 0;
  std::u16string_view text_;
};
using ErrArgs = std::initializer_list<ErrArg>;

// The record reached through self's third word; null when there is none.
CXError* ErrorRecord(Self* self);

// Resets the record, then sets the error `number` with its message.
void RaiseOn(CXError* record, std::uint32_t number, ErrArgs args = {});
inline void Raise(Self* self, std::uint32_t number, ErrArgs args = {}) {
  RaiseOn(ErrorRecord(self), number, args);
}
// Appends the text of message `message` to the current error.
void AddMessage(CXError* record, std::uint32_t message, ErrArgs args = {});
// Appends a diagnostic line of the component's own, not a catalogue
// message: "##(IXStream)-Handle=<%p>##".
void AddTrace(CXError* record, std::u16string_view format, ErrArgs args = {});
// Adds the system's text for `code`; 0 clears the system text.
void AttachSystemError(CXError* record, std::uint32_t code,
                       std::uint32_t flag = 0);

// The system's text for a code (at most kMaxSystemMessage characters), a
// blank and the code in parentheses: "%s (%d)". Empty text when the system
// has none.
inline constexpr std::size_t kMaxSystemMessage = 1512;
std::u16string SystemErrorText(std::uint32_t code);

// printf-style formatting of a UTF-16 template: %s, %d, %i, %u, %x, %X,
// %p, %c and %% with flags, width and precision. Missing arguments format as
// empty text or 0.
std::u16string FormatMessage(std::u16string_view format, ErrArgs args);

// The message block: the text and class of a message number (compared on
// its low 16 bits). False when the block has no such message.
bool FindMessage(std::uint32_t number, std::u16string* text, int* cls);

}  // namespace frame

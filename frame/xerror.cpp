// frame/xerror.cpp: filling CXError: the definition table lookup, message
// loading and formatting, and the system error text.
#include "frame/xerror.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "frame/descriptor.h"
#include "platform/platform.h"

namespace frame {

// clang-format off
const Word gstErrorDef[][kErrorDefWords] = {
#define ERRDEF(number, message, subcode, severity, Name) \
  {number, message, subcode, severity},
#include "frame/errors.def"
#undef ERRDEF
};
// clang-format on
const int kErrorDefCount = sizeof(gstErrorDef) / sizeof(gstErrorDef[0]);
static_assert(sizeof(gstErrorDef) / sizeof(gstErrorDef[0]) == 290,
              "the error definition table has 290 records");

namespace {

constexpr char16_t kNoDefinition[] =
    u"##(CXError)-Pas de definition d'erreur dans gstErrorDef pour "
    u"l'identifiant <%u>##";
constexpr char16_t kNotLoaded[] = u"##(CXError)-Ressource <%u> non charg\u00e9e##";
constexpr char16_t kEmpty[] =
    u"##(CXError)-Ressource <%u> vide. LastError = <%u>##";

std::u16string Ascii(const char* s) {
  return std::u16string(s, s + std::char_traits<char>::length(s));
}

// The message text, or one of the trace texts when it cannot be loaded.
std::u16string LoadMessage(std::uint32_t message, ErrArgs args) {
  std::u16string text;
  int cls = 0;
  if (!FindMessage(message, &text, &cls)) {
    return FormatMessage(kNotLoaded, {message});
  }
  if (text.empty()) {
    return FormatMessage(kEmpty,
                         {message, plat::Current().system.LastError()});
  }
  return FormatMessage(text, args);
}

std::u16string ArgText(const ErrArg& a) {
  return a.is_text() ? std::u16string(a.text())
                     : Ascii(std::to_string(a.number()).c_str());
}

}  // namespace

CXError* ErrorRecord(Self* self) {
  return self == nullptr ? nullptr : self->error;
}

void RaiseOn(CXError* record, std::uint32_t number, ErrArgs args) {
  if (record == nullptr) return;
  record->Reset();
  record->component = kDescriptor;
  for (const ErrArg& a : args) record->params.push_back(ArgText(a));
  for (int i = 0; i < kErrorDefCount; ++i) {
    if (gstErrorDef[i][0] != number) continue;
    record->number = number;
    record->texts.push_back(
        LoadMessage(static_cast<std::uint32_t>(gstErrorDef[i][1]), args));
    record->subcode = static_cast<std::uint32_t>(gstErrorDef[i][2]);
    record->severity = static_cast<std::uint32_t>(gstErrorDef[i][3]);
    return;
  }
  record->number = number;
  record->severity = 3;
  record->texts.push_back(FormatMessage(kNoDefinition, {number}));
}

void AddMessage(CXError* record, std::uint32_t message, ErrArgs args) {
  if (record == nullptr) return;
  if (record->component == nullptr) record->component = kDescriptor;
  record->texts.push_back(LoadMessage(message, args));
}

void AddTrace(CXError* record, std::u16string_view format, ErrArgs args) {
  if (record == nullptr) return;
  if (record->component == nullptr) record->component = kDescriptor;
  record->texts.push_back(FormatMessage(format, args));
}

void AttachSystemError(CXError* record, std::uint32_t code,
                       std::uint32_t /*flag*/) {
  if (record == nullptr) return;
  record->system_code = code;
  record->system_text =
      code == 0 ? std::u16string() : plat::Current().system.ErrorText(code);
}

std::u16string SystemErrorText(std::uint32_t code) {
  std::u16string text = plat::Current().system.ErrorText(code);
  if (text.empty()) return {};
  if (text.size() > kMaxSystemMessage) text.resize(kMaxSystemMessage);
  return FormatMessage(u"%s (%d)", {text, code});
}

std::u16string FormatMessage(std::u16string_view format, ErrArgs args) {
  std::u16string out;
  const ErrArg* next = args.begin();
  auto take = [&]() -> const ErrArg* {
    return next == args.end() ? nullptr : next++;
  };
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char16_t c = format[i];
    if (c != u'%' || i + 1 >= format.size()) {
      out += c;
      continue;
    }
    // %[flags][width][.precision][length]conversion
    std::string directive = "%";
    std::size_t j = i + 1;
    while (j < format.size() && std::u16string_view(u"-+ #0").find(format[j]) !=
                                    std::u16string_view::npos) {
      directive += static_cast<char>(format[j++]);
    }
    while (j < format.size() && format[j] >= u'0' && format[j] <= u'9') {
      directive += static_cast<char>(format[j++]);
    }
    if (j < format.size() && format[j] == u'.') {
      directive += '.';
      ++j;
      while (j < format.size() && format[j] >= u'0' && format[j] <= u'9') {
        directive += static_cast<char>(format[j++]);
      }
    }
    while (j < format.size() &&
           (format[j] == u'l' || format[j] == u'h' || format[j] == u'I')) {
      ++j;  // the length follows from the argument
    }
    if (j >= format.size()) {
      out.append(format.substr(i));
      break;
    }
    const char16_t conv = format[j];
    i = j;
    if (conv == u'%') {
      out += u'%';
      continue;
    }
    const ErrArg* a = take();
    char buffer[96];
    switch (conv) {
      case u's':
      case u'S': {
        std::u16string text = a == nullptr ? std::u16string() : ArgText(*a);
        // Width and precision on texts: pad or cut in characters.
        std::size_t width = 0, precision = std::u16string::npos;
        bool left = directive.find('-') != std::string::npos;
        std::sscanf(directive.c_str() + 1 + (left ? 1 : 0), "%zu", &width);
        if (auto dot = directive.find('.'); dot != std::string::npos) {
          precision = std::strtoul(directive.c_str() + dot + 1, nullptr, 10);
        }
        if (text.size() > precision) text.resize(precision);
        std::u16string pad(width > text.size() ? width - text.size() : 0,
                           u' ');
        out += left ? text + pad : pad + text;
        continue;
      }
      case u'c':
        if (a != nullptr) out += static_cast<char16_t>(a->number());
        continue;
      case u'd':
      case u'i':
        std::snprintf(buffer, sizeof buffer, (directive + "lld").c_str(),
                      a == nullptr || a->is_text() ? 0LL : a->number());
        break;
      case u'u':
      case u'x':
      case u'X':
      case u'o':
        std::snprintf(buffer, sizeof buffer,
                      (directive + "ll" + static_cast<char>(conv)).c_str(),
                      static_cast<unsigned long long>(
                          static_cast<std::uint32_t>(
                              a == nullptr || a->is_text() ? 0 : a->number())));
        break;
      case u'p':  // as the handheld prints pointers: eight hex digits at least
        std::snprintf(buffer, sizeof buffer, "%08llX",
                      static_cast<unsigned long long>(
                          a == nullptr || a->is_text() ? 0 : a->number()));
        break;
      default:  // not a conversion: keep it as written
        out += Ascii(directive.c_str());
        out += conv;
        continue;
    }
    out += Ascii(buffer);
  }
  return out;
}

}  // namespace frame

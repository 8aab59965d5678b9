// system/registry_find.cpp: language function 288 RegistryFind, the search
// of a text in key names, value names and text data, resumed from the
// record of its last match.
//
//   matching | the position record | the walk | 288
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "frame/implementations.h"
#include "frame/text.h"
#include "system/registry_keys.h"
#include "system/registry_path.h"
#include "system/registry_values.h"
#include "text/letter_case.h"

namespace sys {
namespace {

enum Option : std::int32_t {
  kMatchKeyNames = 1,
  kMatchValueNames = 2,
  kMatchData = 4,
  kDescend = 8,
  kWholeWord = 16,
};

constexpr char16_t kFieldSeparator = u'\t';

// ---- Matching ---------------------------------------------------------------

// Words are made of letters and digits; everything else separates them:
// blanks, punctuation and symbols, control characters, "\" and the
// terminator. Beyond Latin-1 only the punctuation blocks separate.
bool IsWordSeparator(char16_t c) {
  if ((c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') ||
      (c >= u'a' && c <= u'z')) {
    return false;
  }
  if (c < 0xC0) return c != 0xAA && c != 0xB5 && c != 0xBA;
  if (c <= 0xFF) return c == 0xD7 || c == 0xF7;
  return (c >= 0x2000 && c <= 0x206F) || (c >= 0x3000 && c <= 0x303F);
}

class Matcher {
 public:
  Matcher(std::u16string_view sought, bool whole_word)
      : sought_(text::UpperLatin(sought)), whole_word_(whole_word) {}

  // Only the first occurrence is looked at: with whole words, a first
  // occurrence inside a word is no match even if a later one stands alone.
  bool operator()(std::u16string_view candidate) const {
    const std::u16string text = text::UpperLatin(candidate);
    const std::size_t at = text.find(sought_);
    if (at == std::u16string::npos) return false;
    if (!whole_word_) return true;
    const std::size_t end = at + sought_.size();
    return (at == 0 || IsWordSeparator(text[at - 1])) &&
           (end == text.size() || IsWordSeparator(text[end]));
  }

 private:
  std::u16string sought_;
  bool whole_word_;
};

// ---- The position record ----------------------------------------------------

// Root, subkey path, value name, value data, separated by tabs; the data
// takes the rest. The last match's record resumes the search after it.
struct Position {
  RegistryPath start;
  std::optional<std::u16string> value_name;
  bool has_data = false;
};

Position ParsePosition(std::u16string_view record) {
  std::u16string_view fields[4];
  std::size_t count = 0;
  while (count < 3) {
    const std::size_t tab = record.find(kFieldSeparator);
    if (tab == std::u16string_view::npos) break;
    fields[count++] = record.substr(0, tab);
    record.remove_prefix(tab + 1);
  }
  fields[count++] = record;
  // Root and subkey path are read as one key path, so a plain key path
  // serves as a position too.
  std::u16string path(fields[0]);
  if (count > 1 && !fields[1].empty()) {
    path += u'\\';
    path += fields[1];
  }
  Position p{SplitRegistryPath(path), std::nullopt, count > 3};
  if (count > 2) p.value_name = std::u16string(fields[2]);
  return p;
}

// "%s\t%s%s%s%s%s": root, subkey path, then the value name and the data of
// a value match.
std::u16string Record(const RegistryPath& path,
                      std::initializer_list<std::u16string_view> value = {}) {
  std::u16string out = path.root + kFieldSeparator + path.sub;
  for (const std::u16string_view field : value)
    (out += kFieldSeparator) += field;
  return out;
}

// The text a value's data is searched as. Kept as is: in a REG_MULTI_SZ
// every terminator but the last becomes a space, so "a\0b\0\0" is searched
// (and reported) as "a b ".
std::u16string SearchText(const ValueRead& read) {
  if (read.type != plat::kRegMultiSz) {
    return TextUpToTerminator(read.buffer);
  }
  std::u16string chars =
      CharsOf(std::span<const std::uint8_t>(read.buffer.data(), read.size));
  const std::size_t last = chars.rfind(u'\0');
  if (last == std::u16string::npos) return chars;
  chars.resize(last);
  for (char16_t& c : chars) {
    if (c == u'\0') c = u' ';
  }
  return chars;
}

// ---- The walk ---------------------------------------------------------------

class Search {
 public:
  Search(std::u16string_view sought, std::int32_t options)
      : options_(options), matches_(sought, (options & kWholeWord) != 0) {}

  // The record of the first match after `position`, or empty.
  std::u16string Run(const Position& position) {
    RegistryPath path = position.start;
    Step step = Key(path, &position);
    while (step == Step::kGoOn) {
      // The subtree is done: on to the next sibling, or to the next one of
      // the nearest ancestor that has one.
      std::optional<std::u16string> next;
      while (!(next = NextSiblingSub(path))) {
        if (path.sub.find(u'\\') == std::u16string::npos) {
          return {};  // a top-level key without next sibling ends the walk
        }
        path.sub = ParentSub(path.sub);
      }
      path.sub = std::move(*next);
      if (Has(kMatchKeyNames) && matches_(LastName(path.sub))) {
        return Record(path);
      }
      step = Key(path, nullptr);
    }
    return step == Step::kFound ? found_ : std::u16string();
  }

 private:
  enum class Step { kGoOn, kFound, kStop };

  bool Has(Option option) const { return (options_ & option) != 0; }

  Step Found(std::u16string record) {
    found_ = std::move(record);
    return Step::kFound;
  }

  // The key's values, then its subkeys, depth first. `resume` skips the
  // values up to the last match's.
  Step Key(const RegistryPath& path, const Position* resume) {
    ScopedKey open;
    if (OpenRegistryKey(path, plat::kKeyRead, &open) != plat::kOk) {
      return Step::kGoOn;
    }
    if (const Step s = Values(open.get(), path, resume); s != Step::kGoOn) {
      return s;
    }
    if (!Has(kMatchKeyNames) && !Has(kDescend)) return Step::kGoOn;
    std::u16string name;
    for (std::uint32_t i = 0; EnumKeyName(open.get(), i, &name) == plat::kOk;
         ++i) {
      const RegistryPath child{path.root, ChildSub(path.sub, name)};
      if (Has(kMatchKeyNames) && matches_(name)) return Found(Record(child));
      if (Has(kDescend)) {
        if (const Step s = Key(child, nullptr); s != Step::kGoOn) return s;
      }
    }
    return Step::kGoOn;
  }

  Step Values(plat::Key key, const RegistryPath& path, const Position* resume) {
    const std::u16string* skip_to = resume != nullptr && resume->value_name
                                        ? &*resume->value_name
                                        : nullptr;
    std::u16string name;
    std::uint32_t type = 0;
    for (std::uint32_t i = 0;
         Registry().EnumValue(key, i, &name, &type, nullptr, nullptr) ==
         plat::kOk;
         ++i) {
      bool test_name = Has(kMatchValueNames);
      if (skip_to != nullptr) {
        if (name != *skip_to) continue;
        skip_to = nullptr;
        // The resumed value: its name matched last time, or its data did.
        if (resume->has_data) continue;
        test_name = false;
      }
      if (test_name && matches_(name)) return Found(Record(path, {name}));
      if (!Has(kMatchData) || !IsTextType(type)) continue;
      const ValueRead read = ReadRegistryValue(key, name);
      if (read.size_error != plat::kOk && read.reported != 0) {
        return Step::kStop;
      }
      if (!read.ok()) continue;
      const std::u16string data = SearchText(read);
      if (matches_(data)) return Found(Record(path, {name, data}));
    }
    return Step::kGoOn;
  }

  std::int32_t options_;
  Matcher matches_;
  std::u16string found_;
};

}  // namespace

// ---- 288 RegistryFind -------------------------------------------------------

void RegistryFind(frame::Self*, char16_t** result, const char16_t* position,
                  const char16_t* sought, std::int32_t options) {
  Search search(TextArg(sought), options);
  const std::u16string found = search.Run(ParsePosition(TextArg(position)));
  frame::AssignText(result, found);
}

}  // namespace sys

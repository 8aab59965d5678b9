// host/refhost/catalogue.cpp: reading the component's tables.
#include "host/refhost/catalogue.h"

#include <cstdio>
#include <cstring>
#include <map>

namespace refhost {
namespace {

constexpr std::uint32_t kInfoConstants = 23;
constexpr std::uint32_t kInfoConstantCount = 24;
constexpr std::uint32_t kInfoTyped = 25;
constexpr std::uint32_t kInfoTypedCount = 26;
constexpr std::uint32_t kInfoTypeNames = 31;
constexpr std::uint32_t kInfoTypeNameCount = 32;
constexpr std::uint32_t kInfoFunctions = 33;
constexpr std::uint32_t kInfoFunctionCount = 34;

// Limits against a damaged table: no more than this many records, and no
// signature longer than this.
constexpr Word kMaxRecords = 100000;
constexpr int kMaxSignature = 64;

template <std::size_t N>
std::array<Word, N> Copy(const Word* record) {
  std::array<Word, N> words;
  std::memcpy(words.data(), record, sizeof(Word) * N);
  return words;
}

bool ReadSyntax(const Word* record, SyntaxRecord* s, std::string* error) {
  s->words = Copy<frame::kSyntaxWords>(record);
  s->handler = s->words[0];
  s->param_word = s->words[5];
  const auto* sig = reinterpret_cast<const Word*>(s->words[4]);
  if (sig == nullptr) {
    *error = "a syntax record has no signature";
    return false;
  }
  s->signature.push_back(sig[0]);
  for (int i = 1; sig[i] != 0; ++i) {
    if (i > kMaxSignature) {
      *error = "a signature has no closing 0";
      return false;
    }
    s->signature.push_back(sig[i]);
  }
  return true;
}

std::u16string ReadText16(const char16_t* text) {
  return text == nullptr ? std::u16string() : std::u16string(text);
}

}  // namespace

const FunctionRecord* Catalogue::Function(std::uint32_t number) const {
  if (number == 0 || number > functions.size()) return nullptr;
  return &functions[number - 1];
}

const MemberRecord* Catalogue::Member(std::uint32_t number) const {
  for (const MemberRecord& m : members) {
    if (m.number == number) return &m;
  }
  return nullptr;
}

int Catalogue::SyntaxCount() const {
  int n = 0;
  for (const FunctionRecord& f : functions) {
    n += static_cast<int>(f.syntaxes.size());
  }
  return n;
}

bool ReadCatalogue(frame::InfoComposanteFn info, Catalogue* out,
                   std::string* error) {
  Catalogue c;
  const auto table = [&](std::uint32_t code, std::uint32_t count_code,
                         const char* what, Word* count) -> const Word* {
    const auto* t = reinterpret_cast<const Word*>(info(code, 0));
    *count = info(count_code, 0);
    if (t == nullptr || *count > kMaxRecords) {
      *error = std::string("InfoComposante gives no usable ") + what;
      return nullptr;
    }
    return t;
  };

  Word count = 0;
  const Word* functions =
      table(kInfoFunctions, kInfoFunctionCount, "function table", &count);
  if (functions == nullptr) return false;
  for (Word i = 0; i < count; ++i) {
    const Word* record = functions + i * frame::kFunctionWords;
    FunctionRecord f;
    f.words = Copy<frame::kFunctionWords>(record);
    f.number = f.words[0];
    f.flags = f.words[4];
    f.word6 = f.words[5];
    f.position = f.words[6];
    if (f.number != i + 1) {
      *error = "function record " + std::to_string(i + 1) + " has number " +
               std::to_string(f.number);
      return false;
    }
    const auto* syntaxes = reinterpret_cast<const Word*>(f.words[7]);
    const int n = static_cast<int>((f.position >> 24) & 0xFF);
    if (syntaxes == nullptr && n > 0) {
      *error = "function " + std::to_string(f.number) + " has no syntaxes";
      return false;
    }
    for (int k = 0; k < n; ++k) {
      SyntaxRecord s;
      if (!ReadSyntax(syntaxes + k * frame::kSyntaxWords, &s, error)) {
        *error += " (function " + std::to_string(f.number) + ")";
        return false;
      }
      f.syntaxes.push_back(std::move(s));
    }
    c.functions.push_back(std::move(f));
  }

  const Word* constants =
      table(kInfoConstants, kInfoConstantCount, "constant table", &count);
  if (constants == nullptr) return false;
  for (Word i = 0; i < count; ++i) {
    ConstantRecord k;
    k.words =
        Copy<frame::kConstantWords>(constants + i * frame::kConstantWords);
    k.number = k.words[0];
    k.id = k.words[1];
    k.flags = k.words[4];
    k.value = k.words[6];
    k.type = k.words[7];
    k.is_text = ((k.type >> 8) & 0xFF) == frame::kTypeTextParam;
    if (k.is_text) {
      k.text = ReadText16(reinterpret_cast<const char16_t*>(k.value));
    }
    c.constants.push_back(std::move(k));
  }

  const Word* typed = table(kInfoTyped, kInfoTypedCount, "typed table", &count);
  if (typed == nullptr) return false;
  for (Word i = 0; i < count; ++i) {
    TypedRecord t;
    t.words = Copy<frame::kTypedWords>(typed + i * frame::kTypedWords);
    t.number = t.words[0];
    t.flags = t.words[4];
    t.position = t.words[6];
    c.typed.push_back(t);
  }

  const auto* names = reinterpret_cast<const frame::TypeNameBlock*>(
      table(kInfoTypeNames, kInfoTypeNameCount, "type-name table", &count));
  if (names == nullptr) return false;
  if (count > frame::kTypeNameCount) {
    *error = "InfoComposante gives more type names than the block holds";
    return false;
  }
  for (Word i = 0; i < count; ++i) {
    const auto* name = reinterpret_cast<const char*>(names->names[i]);
    c.type_names.push_back(name == nullptr ? std::string() : name);
  }
  for (int i = 0; i < frame::kMemberCount; ++i) {
    MemberRecord m;
    m.words = Copy<frame::kMemberWords>(names->members[i]);
    m.lead = m.words[0];
    m.number = m.words[1];
    m.id = m.words[2];
    m.type = m.words[7];
    m.read = m.words[8];
    m.write = m.words[10];
    c.members.push_back(m);
  }
  *out = std::move(c);
  return true;
}

std::vector<std::vector<std::string>> HandlerNames(const Catalogue& c) {
  std::map<Word, std::string> names;
  std::vector<std::vector<std::string>> out;
  for (const FunctionRecord& f : c.functions) {
    std::vector<std::string> row;
    for (const SyntaxRecord& s : f.syntaxes) {
      if (s.handler == 0) {
        row.emplace_back();
        continue;
      }
      auto [it, added] = names.try_emplace(s.handler);
      if (added) {
        char name[16];
        std::snprintf(name, sizeof(name), "h%03zu", names.size());
        it->second = name;
      }
      row.push_back(it->second);
    }
    out.push_back(std::move(row));
  }
  return out;
}

}  // namespace refhost

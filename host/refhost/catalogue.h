// host/refhost/catalogue.h: the component's tables as the VM reads them
// through InfoComposante, copied into plain structures. Each record keeps
// its raw words beside the named fields.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "frame/abi.h"
#include "frame/exports.h"

namespace refhost {

using frame::Word;

struct SyntaxRecord {
  std::array<Word, frame::kSyntaxWords> words{};
  Word handler = 0;
  // The result code, then the parameter codes; without the closing 0.
  std::vector<Word> signature;
  Word param_word = 0;

  Word result() const { return signature.empty() ? 0 : signature[0]; }
  int param_count() const { return static_cast<int>(param_word & 0x7F); }
  bool takes_more() const { return (param_word & 0x80) != 0; }
  Word param(int i) const { return signature[1 + i]; }
};

struct FunctionRecord {
  std::array<Word, frame::kFunctionWords> words{};
  Word number = 0;
  Word flags = 0;
  Word word6 = 0;
  Word position = 0;
  std::vector<SyntaxRecord> syntaxes;
};

struct ConstantRecord {
  std::array<Word, frame::kConstantWords> words{};
  Word number = 0;
  Word id = 0;
  Word flags = 0;
  Word value = 0;
  Word type = 0;
  bool is_text = false;  // the type's second byte is 0x7A
  std::u16string text;   // a text constant's value

  std::int32_t integer() const { return static_cast<std::int32_t>(value); }
};

struct TypedRecord {
  std::array<Word, frame::kTypedWords> words{};
  Word number = 0;
  Word flags = 0;
  Word position = 0;
};

struct MemberRecord {
  std::array<Word, frame::kMemberWords> words{};
  Word lead = 0;
  Word number = 0;
  Word id = 0;
  Word type = 0;
  Word read = 0;   // accessors
  Word write = 0;  // 0 for a read-only member
};

struct Catalogue {
  std::vector<FunctionRecord> functions;  // functions[i].number == i + 1
  std::vector<ConstantRecord> constants;
  std::vector<TypedRecord> typed;
  std::vector<std::string> type_names;  // the raw code page 1252 bytes
  std::vector<MemberRecord> members;

  // The function record for `number`, or null.
  const FunctionRecord* Function(std::uint32_t number) const;
  const MemberRecord* Member(std::uint32_t number) const;
  int SyntaxCount() const;
};

// Reads the tables through `info` (InfoComposante). False with a reason
// when a table address is null or a count is out of reason.
bool ReadCatalogue(frame::InfoComposanteFn info, Catalogue* out,
                   std::string* error);

// Handler names for display: "h001", "h002", ... in order of first
// appearance over all syntaxes, equal for one handler; "" for none.
std::vector<std::vector<std::string>> HandlerNames(const Catalogue& c);

}  // namespace refhost

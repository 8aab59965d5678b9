// frame/catalogue.h: the constant tables the VM reads through
// InfoComposante. They are generated from frame/catalogue.def and
// frame/constants.def; the component never walks them itself.
#pragma once

#include "frame/abi.h"
#include "frame/exports.h"

namespace frame {

inline constexpr int kFunctionCount = 508;
inline constexpr int kSyntaxCount = 1102;
inline constexpr int kConstantCount = 650;
inline constexpr int kTypedCount = 53;
inline constexpr int kFirstConstant = 509;
inline constexpr int kFirstTyped = 1159;
inline constexpr int kFirstMember = 1212;

extern const Word kFunctionTable[kFunctionCount][kFunctionWords];
extern const Word kConstantTable[kConstantCount][kConstantWords];
extern const Word kTypedTable[kTypedCount][kTypedWords];
extern const TypeNameBlock kTypeNameBlock;

// Word 7 of a function record.
inline constexpr int SyntaxCountOf(Word position) {
  return static_cast<int>((position >> 24) & 0xFF);
}

}  // namespace frame

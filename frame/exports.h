// frame/exports.h: the ten entry points the component exports, as the VM
// (and the reference host) call them, and the layout of the tables that
// InfoComposante hands out.
#pragma once

#include <cstdint>

#include "frame/abi.h"

#if defined(_WIN32)
#define STD8_EXPORT extern "C" __declspec(dllexport)
#define STD8_CALL __stdcall
#else
#define STD8_EXPORT extern "C" __attribute__((visibility("default")))
#define STD8_CALL
#endif

namespace frame {

// Record sizes in words.
inline constexpr int kFunctionWords = 8;   // number, 0, 0, 0, flags, word6,
                                           // position, syntaxes
inline constexpr int kSyntaxWords = 6;     // handler, 0, reserved, 0,
                                           // signature, parameter count
inline constexpr int kConstantWords = 8;   // number, id, 0, 0, flags, 0x81,
                                           // value, type
inline constexpr int kTypedWords = 8;      // number, 0, 0, 0, flags, 0,
                                           // position, 0
inline constexpr int kMemberWords = 12;    // lead, number, id, 0, 0,
                                           // 0xEB204690, 0x81, type, read,
                                           // 0, write, 0
inline constexpr int kTypeNameCount = 4;
inline constexpr int kMemberCount = 11;

// The type-name table (InfoComposante 31): four pointers to 8-bit texts in
// code page 1252, immediately followed by the eleven member records.
struct TypeNameBlock {
  Word names[kTypeNameCount];
  Word members[kMemberCount][kMemberWords];
};

// CommandeComposante command 3 record.
struct MessageFetch {
  Word reserved;
  Word number;
  Word buffer;    // char16_t*
  Word capacity;  // characters
  Word result;
};

// Execution 3985 attach record; the fifth word is read only when the size
// word is 12 or more.
struct AttachRecord {
  Word size;
  Word peer_module;
  Word notice_p;
  Word notice_q;
  Word preset;
};

using BInitLibraryFn = std::int32_t(STD8_CALL*)(Word host_module);
using TermLibraryFn = void(STD8_CALL*)(Word);
using InfoComposanteFn = Word(STD8_CALL*)(std::uint32_t code,
                                          std::uint32_t index);
using PQueryProxyFn = void*(STD8_CALL*)(std::uint32_t number);
using DeclareProxyFn = void(STD8_CALL*)(Word*, std::uint16_t*, Word*,
                                        std::uint16_t*);
using ExecutionExportFn = Word(STD8_CALL*)(std::uint32_t event, Word p,
                                           Word q);
using CommandeComposanteFn = Word(STD8_CALL*)(std::uint32_t command,
                                              Word record, Word, Word);
using BInitTLConvFromVMFn = std::int32_t(STD8_CALL*)(Word vm_module,
                                                     std::uint32_t major,
                                                     std::uint32_t minor,
                                                     Word reserved);
using NfCompacteFn = std::int16_t(STD8_CALL*)(const char16_t* source,
                                              const char16_t* target);
using NfDecompacteFn = std::int16_t(STD8_CALL*)(const char16_t* source,
                                                const char16_t* target);

// pQueryProxy(6): the random-number service object. Operations in slot
// order: add a reference, release, draw an integer between two bounds.
struct RandomService {
  const Word* ops;
};
using RandomAddRefFn = std::uint32_t (*)(RandomService*);
using RandomReleaseFn = std::uint32_t (*)(RandomService*);
using RandomDrawFn = std::int32_t (*)(RandomService*, std::int32_t,
                                      std::int32_t);

// pQueryProxy(60): operations 0..2 answer 7, 2 and 8; operation 6 releases.
struct Service60 {
  const Word* ops;
};
using Service60Fn = Word (*)(Service60*);

}  // namespace frame

// host/refhost/result.h: what a call through the reference host gives back:
// the value the component set through the VM services (copied out of the
// VM's own reference), a copy of the error record, and the forward target.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "frame/abi.h"
#include "host/common/encoding.h"

namespace refhost {

using common::Bytes;
struct Structure;

// Integers of every width (and handles, words) are int64; texts are
// UTF-16; byte blocks are bytes; a structure is one the VM created for the
// component during the call (services 273, 274).
using Value =
    std::variant<std::monostate, std::int64_t, double, bool, frame::Decimal,
                 std::u16string, Bytes, std::shared_ptr<const Structure>>;

struct TypedValue {
  std::uint32_t type = 0;  // the type code the component gave
  Value value;
};

struct Structure {
  std::uint32_t member_count = 0;
  std::map<std::uint32_t, TypedValue> members;  // by member index
};

// A copy of the call's CXError after the call.
struct ErrorInfo {
  std::uint32_t state = 0;
  std::uint32_t number = 0;
  std::uint32_t severity = 0;
  std::uint32_t subcode = 0;
  std::vector<std::u16string> texts;
  std::vector<std::u16string> params;
  std::uint32_t system_code = 0;
  std::u16string system_text;
  const frame::Word* component = nullptr;

  bool raised() const { return number != 0 || !texts.empty(); }
  std::u16string Message() const;  // the texts, one per line
};

struct CallResult {
  // Why the host did not call: unknown function, no syntax fits, a
  // syntax without handler, a host failure. Empty when it called.
  std::string refused;
  std::uint32_t function = 0;
  int syntax = 0;                 // 1-based
  std::uint32_t status = 0;       // the handler's answer: 0 done, 1 forward
  std::uint32_t result_type = 0;  // the signature's result code
  // What services slot 149 received: the number of calls and the type
  // code of the last; a composite value (31) also gives the type it held.
  int set_calls = 0;
  std::uint32_t set_type = 0;
  std::uint32_t held_type = 0;
  Value value;
  ErrorInfo error;
  frame::Word forward_component = 0;  // frame words 2 and 3, as left
  frame::Word forward_index = 0;
  // Per argument: what a by-reference argument holds after the call, or
  // what a composite argument holds; none for the others.
  std::vector<Value> outputs;
  // Text blocks alive after the call less those before it, once the host
  // has released its own references.
  std::int64_t block_delta = 0;

  bool called() const { return refused.empty(); }
  bool forwarded() const { return called() && status == 1; }
};

}  // namespace refhost

// host/refhost/values.h: values crossing the VM boundary. Copying a value
// the component hands to a services slot (by its type code), and the VM's
// composite values (type 0x1F) that the host builds for arguments.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/abi.h"
#include "host/refhost/args.h"
#include "host/refhost/blocks.h"
#include "host/refhost/result.h"

namespace refhost {

// Copies the value at `value` of type `type` as services slot 149 receives
// it (codes 1, 8, 9, 10, 12, 14, 15, 16, 27, 28, 31, 121, 126, 130, 140).
// A text object is referenced (its count incremented) and the object is
// appended to *taken, for the caller to release once it is done; a
// composite value (31) gives the type it holds in *held_type. False for a
// type code outside the list.
bool CopyValue(const void* value, std::uint32_t type, Value* out,
               std::uint32_t* held_type, std::vector<char16_t*>* taken);

// Byte blocks among the text-object result codes: 27, 28 and 126.
bool IsByteBlockType(std::uint32_t type);

// What a host composite value needs: the memory manager and the VM's
// conversion routine.
struct ValueContext {
  Blocks blocks;
  frame::ConversionFn convert;
};

// A composite value holding `arg` (text as a text object of type 16,
// bytes as a block of type 28, an empty arg as type 0). Its operations:
// release (1), store (9), text (16), direct pointer (44); any other slot
// stops the process.
frame::AnyValue* NewHostValue(const Arg& arg, const ValueContext* context);
// What it holds now.
Value HostValueContents(const frame::AnyValue* value);
// Releases what it holds and frees it.
void DeleteHostValue(frame::AnyValue* value);

}  // namespace refhost

// host/unset_slots.h: operation tables whose every slot stops the process
// with the object's name and the slot number. The reference host fills in
// the slots it provides; a call into any other slot is a fault of the
// caller that a test must see at once, not a silent answer.
#pragma once

#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "frame/abi.h"

namespace vm {

// `Tag::kName` names the object in the message.
template <class Tag, std::size_t kSlot>
frame::Word UnsetSlot() {
  std::fprintf(stderr,
               "reference host: slot %zu of the %s was called, but the "
               "reference host does not provide it\n",
               kSlot, Tag::kName);
  std::fflush(stderr);
  std::abort();
}

template <class Tag, std::size_t... kSlots>
std::array<frame::Word, sizeof...(kSlots)> MakeUnsetTable(
    std::index_sequence<kSlots...>) {
  return {reinterpret_cast<frame::Word>(&UnsetSlot<Tag, kSlots>)...};
}

// A table of `kCount` slots, all unset.
template <class Tag, std::size_t kCount>
std::array<frame::Word, kCount> UnsetTable() {
  return MakeUnsetTable<Tag>(std::make_index_sequence<kCount>());
}

template <class Fn>
frame::Word SlotWord(Fn fn) {
  return reinterpret_cast<frame::Word>(fn);
}

}  // namespace vm

// frame/pending_support.h: what routines this build lacks do instead: they
// raise the "not available" error, so a call never succeeds silently.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

void NotAvailable(Self* self);
// A member whose accessor this build lacks answers an empty value.
std::uint32_t MemberNotAvailable(AccessorRecord* record, std::uint32_t type);

}  // namespace frame

namespace pending {
using frame::MemberNotAvailable;
using frame::NotAvailable;
}  // namespace pending

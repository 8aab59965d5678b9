// host/refhost/prepared_call.h: one call of a handler as the VM makes it:
// the argument array, the self object with its error record, the call
// frame whose result slot leads to a capture. Built once, it may run many
// times (the benchmarks do).
#pragma once

#include <cstdint>
#include <span>

#include "frame/abi.h"
#include "frame/xerror_record.h"
#include "host/refhost/argument_array.h"
#include "host/refhost/catalogue.h"
#include "host/refhost/result.h"
#include "host/refhost/services.h"
#include "host/refhost/values.h"

namespace refhost {

// What the frame's forward words hold until a handler writes them.
inline constexpr frame::Word kUnsetFrameWord = ~frame::Word{0};

class PreparedCall {
 public:
  // `syntax` must have a handler. ok() is false when the memory manager
  // refused a block for an argument.
  PreparedCall(Services* services, const ValueContext* values,
               const SyntaxRecord& syntax, std::span<const Arg> args);
  ~PreparedCall();
  PreparedCall(const PreparedCall&) = delete;
  PreparedCall& operator=(const PreparedCall&) = delete;

  bool ok() const { return args_.ok(); }

  // Calls the handler with a fresh error record and an empty capture;
  // returns its answer.
  std::uint32_t Run();

  // Copies what the last run left into *r: the value (the VM's references
  // then dropped), the error record, the frame's forward words and the
  // arguments' outputs.
  void Collect(CallResult* r);

 private:
  void Clear();

  Services* services_;
  ArgumentArray args_;
  frame::Handler handler_;
  frame::CXError error_;
  Capture capture_;
  frame::Self self_;
  frame::CallFrame frame_;
};

}  // namespace refhost

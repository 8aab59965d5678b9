// host/refhost/prepared_call.cpp: running a handler and collecting what it
// left.
#include "host/refhost/prepared_call.h"

#include "host/unset_slots.h"

namespace refhost {
namespace {

struct SelfTag {
  static constexpr const char* kName = "self object";
};
constexpr std::size_t kSelfSlots = 32;

frame::CXError* SelfError(frame::Self* self) { return self->error; }

const frame::Word* SelfOps() {
  static const auto ops = [] {
    auto table = vm::UnsetTable<SelfTag, kSelfSlots>();
    table[frame::kSelfErrorSlot] = vm::SlotWord(&SelfError);
    return table;
  }();
  return ops.data();
}

ErrorInfo CopyError(const frame::CXError& e) {
  ErrorInfo out;
  out.state = e.state;
  out.number = e.number;
  out.severity = e.severity;
  out.subcode = e.subcode;
  out.texts = e.texts;
  out.params = e.params;
  out.system_code = e.system_code;
  out.system_text = e.system_text;
  out.component = e.component;
  return out;
}

}  // namespace

PreparedCall::PreparedCall(Services* services, const ValueContext* values,
                           const SyntaxRecord& syntax,
                           std::span<const Arg> args)
    : services_(services),
      args_(syntax, args, values),
      handler_(reinterpret_cast<frame::Handler>(syntax.handler)),
      self_{SelfOps(), 0, &error_},
      frame_{services->interface(), kUnsetFrameWord, kUnsetFrameWord, 0,
             reinterpret_cast<frame::Word>(&capture_)} {}

PreparedCall::~PreparedCall() { Clear(); }

void PreparedCall::Clear() {
  services_->ReleaseTaken(&capture_);
  capture_ = Capture();
}

std::uint32_t PreparedCall::Run() {
  Clear();
  error_.Reset();
  error_.state = 0;
  frame_.forward_component = kUnsetFrameWord;
  frame_.forward_index = kUnsetFrameWord;
  return handler_(&frame_, &self_, args_.entries());
}

void PreparedCall::Collect(CallResult* r) {
  r->set_calls = capture_.calls;
  r->set_type = capture_.type;
  r->held_type = capture_.held_type;
  r->value = std::move(capture_.value);
  r->error = CopyError(error_);
  r->forward_component = frame_.forward_component;
  r->forward_index = frame_.forward_index;
  r->outputs = args_.Outputs();
  Clear();
}

}  // namespace refhost

// host/vm/vm.cpp: the reference VM module's answers and records.
#include "host/vm/vm.h"

#include "frame/progress.h"
#include "host/unset_slots.h"
#include "host/vm/conversion.h"

namespace vm {
namespace {

struct SessionTag {
  static constexpr const char* kName = "VM's peer session object";
};
struct ConversionTag {
  static constexpr const char* kName = "VM's conversion interface";
};
constexpr std::size_t kSessionSlots = 8;
constexpr std::size_t kConversionSlots = 8;

constexpr std::uint32_t kEventQuery = 3053;
constexpr std::uint32_t kEventShutdown = 3052;
constexpr frame::Word kShutdownQ = 2816;
constexpr std::uint32_t kQuerySession = 9;
constexpr std::uint32_t kQueryEventValue = 12;
constexpr std::uint32_t kQueryMemory = 13;
constexpr std::uint32_t kConversionProxy = 102;

}  // namespace

Vm& Vm::Instance() {
  static Vm vm;
  return vm;
}

Vm::Vm() {
  static const auto session_ops = [] {
    auto table = UnsetTable<SessionTag, kSessionSlots>();
    table[0] = SlotWord(&Vm::SessionQuery);
    return table;
  }();
  static const auto conversion_ops =
      UnsetTable<ConversionTag, kConversionSlots>();
  session_ = {session_ops.data(), this};
  conversion_ = {conversion_ops.data()};
}

frame::Word Vm::Execution(std::uint32_t event, frame::Word p, frame::Word q) {
  if (event == frame::kEventProgress) {
    return Progress(static_cast<int>(p), q);
  }
  std::lock_guard lock(mutex_);
  if (event == kEventQuery) {
    const auto n = static_cast<std::uint32_t>(p);
    peer_queries_.push_back(n);
    return AnswerLocked(n);
  }
  if (event == kEventShutdown && p == 0 && q == kShutdownQ) {
    ++shutdown_calls_;
    return 1;
  }
  other_events_.push_back(event);
  return 0;
}

std::uint32_t Vm::Convert(const void* storage, std::uint32_t type, void* dest,
                          std::uint32_t target) {
  {
    std::lock_guard lock(mutex_);
    ++conversion_calls_;
  }
  return vm::Convert(memory_, storage, type, dest, target);
}

void Vm::EndConversion() {
  std::lock_guard lock(mutex_);
  ++end_conversion_calls_;
}

void* Vm::QueryProxy(std::uint32_t number) {
  return number == kConversionProxy ? &conversion_ : nullptr;
}

frame::Word Vm::SessionQuery(Session* session, frame::Word p, frame::Word q) {
  Vm* vm = session->owner;
  std::lock_guard lock(vm->mutex_);
  vm->session_calls_.push_back({p, q});
  return vm->session_answer_;
}

void Vm::SetLanguage(std::int32_t code) {
  std::lock_guard lock(mutex_);
  language_ = code;
}

std::int32_t Vm::Language() const {
  std::lock_guard lock(mutex_);
  return language_;
}

void Vm::SetPeerAnswer(std::uint32_t n, frame::Word answer) {
  std::lock_guard lock(mutex_);
  answers_[n] = answer;
}

frame::Word Vm::PeerAnswer(std::uint32_t n) const {
  std::lock_guard lock(mutex_);
  return AnswerLocked(n);
}

frame::Word Vm::AnswerLocked(std::uint32_t n) const {
  if (n == kQueryMemory) {
    return reinterpret_cast<frame::Word>(memory_.manager());
  }
  if (n == kQuerySession) return reinterpret_cast<frame::Word>(&session_);
  if (const auto it = answers_.find(n); it != answers_.end()) {
    return it->second;
  }
  return n == kQueryEventValue ? kInitialEventValue : DefaultPeerAnswer(n);
}

void Vm::SetSessionAnswer(frame::Word answer) {
  std::lock_guard lock(mutex_);
  session_answer_ = answer;
}

std::vector<std::uint32_t> Vm::PeerQueries() const {
  std::lock_guard lock(mutex_);
  return peer_queries_;
}

int Vm::ShutdownCalls() const {
  std::lock_guard lock(mutex_);
  return shutdown_calls_;
}

std::vector<std::uint32_t> Vm::OtherEvents() const {
  std::lock_guard lock(mutex_);
  return other_events_;
}

std::vector<SessionCall> Vm::SessionCalls() const {
  std::lock_guard lock(mutex_);
  return session_calls_;
}

int Vm::ConversionCalls() const {
  std::lock_guard lock(mutex_);
  return conversion_calls_;
}

int Vm::EndConversionCalls() const {
  std::lock_guard lock(mutex_);
  return end_conversion_calls_;
}

// The listener runs outside the lock, so that it may use the control too.
frame::Word Vm::Progress(int percent, frame::Word window) {
  ProgressListener listener = nullptr;
  void* context = nullptr;
  bool cancel = false;
  {
    std::lock_guard lock(mutex_);
    progress_steps_.push_back({percent, window});
    listener = progress_listener_;
    context = progress_context_;
    cancel = cancel_at_ >= 0 && percent >= cancel_at_;
  }
  if (listener != nullptr) listener(context, percent);
  return cancel ? frame::kProgressStop : 0;
}

void Vm::SetProgressListener(ProgressListener listener, void* context) {
  std::lock_guard lock(mutex_);
  progress_listener_ = listener;
  progress_context_ = context;
}

void Vm::CancelAtPercent(int percent) {
  std::lock_guard lock(mutex_);
  cancel_at_ = percent;
}

std::vector<ProgressStep> Vm::ProgressSteps() const {
  std::lock_guard lock(mutex_);
  return progress_steps_;
}

void Vm::ClearRecords() {
  std::lock_guard lock(mutex_);
  progress_steps_.clear();
  peer_queries_.clear();
  shutdown_calls_ = 0;
  other_events_.clear();
  session_calls_.clear();
  conversion_calls_ = 0;
  end_conversion_calls_ = 0;
}

}  // namespace vm

// host/vm/vm.h: the reference VM module's state: its memory manager, the
// answers of its Execution export to a component's attach queries, its
// peer session object, its conversion interface, and the records the
// control interface reads back.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <vector>

#include "frame/abi.h"
#include "host/vm/control.h"
#include "host/vm/memory.h"

namespace vm {

class Vm final : public Control {
 public:
  static Vm& Instance();

  // The module's exports.
  frame::Word Execution(std::uint32_t event, frame::Word p, frame::Word q);
  std::uint32_t Convert(const void* storage, std::uint32_t type, void* dest,
                        std::uint32_t target);
  void EndConversion();
  void* QueryProxy(std::uint32_t number);

  // Control.
  frame::MemoryManager* Memory() override { return memory_.manager(); }
  MemoryStats Stats() const override { return memory_.Stats(); }
  void FailAllocation(int successes) override {
    memory_.FailAllocation(successes);
  }
  void SetLanguage(std::int32_t code) override;
  std::int32_t Language() const override;
  void SetPeerAnswer(std::uint32_t n, frame::Word answer) override;
  frame::Word PeerAnswer(std::uint32_t n) const override;
  void SetSessionAnswer(frame::Word answer) override;
  std::vector<std::uint32_t> PeerQueries() const override;
  int ShutdownCalls() const override;
  std::vector<std::uint32_t> OtherEvents() const override;
  std::vector<SessionCall> SessionCalls() const override;
  int ConversionCalls() const override;
  int EndConversionCalls() const override;
  void SetProgressListener(ProgressListener listener, void* context) override;
  void CancelAtPercent(int percent) override;
  std::vector<ProgressStep> ProgressSteps() const override;
  void ClearRecords() override;

 private:
  // Objects whose first word is an operation table; `owner` leads back.
  struct Session {
    const frame::Word* ops;
    Vm* owner;
  };
  struct ConversionInterface {
    const frame::Word* ops;
  };

  Vm();
  frame::Word Progress(int percent, frame::Word window);
  // The answer to (3053, n); the caller holds the lock.
  frame::Word AnswerLocked(std::uint32_t n) const;
  static frame::Word SessionQuery(Session* session, frame::Word p,
                                  frame::Word q);

  vm::Memory memory_;
  Session session_;
  ConversionInterface conversion_;

  mutable std::mutex mutex_;
  std::int32_t language_ = 2;
  std::map<std::uint32_t, frame::Word> answers_;
  frame::Word session_answer_ = kDefaultSessionAnswer;
  std::vector<std::uint32_t> peer_queries_;
  int shutdown_calls_ = 0;
  std::vector<std::uint32_t> other_events_;
  std::vector<SessionCall> session_calls_;
  int conversion_calls_ = 0;
  int end_conversion_calls_ = 0;
  ProgressListener progress_listener_ = nullptr;
  void* progress_context_ = nullptr;
  int cancel_at_ = -1;
  std::vector<ProgressStep> progress_steps_;
};

}  // namespace vm

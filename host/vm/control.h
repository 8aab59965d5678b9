// host/vm/control.h: the reference VM module's control interface. The VM
// module (libtmvm.so) exports `tmvm_control`, which returns its one Control
// object; the reference host and the tests use it to set the VM's state
// and to read what the component asked of the VM.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/abi.h"

namespace vm {

// Text blocks of the memory manager, counted since the module was loaded.
struct MemoryStats {
  std::int64_t allocations = 0;  // blocks created
  std::int64_t frees = 0;        // blocks freed (slot 3, or left by a grow)
  std::int64_t grows = 0;        // blocks moved to a larger one (slot 5)
  std::int64_t failures = 0;     // allocations refused
  std::int64_t live = 0;         // blocks not yet freed
};

// One call of the peer session object's slot 0.
struct SessionCall {
  frame::Word p;
  frame::Word q;
};

// Answers of the memory manager's slot 5 when a block cannot be had.
inline constexpr std::uint32_t kOutOfMemory = 8;

// Status codes of nConversionDepassementExt; 0 is success.
inline constexpr std::uint32_t kConvImpossible = 100;  // no such conversion
inline constexpr std::uint32_t kConvOverflow = 101;    // out of range
inline constexpr std::uint32_t kConvSyntax = 102;      // text not a number
inline constexpr std::uint32_t kConvNoMemory = 103;    // no block for text

// A progress step of a long operation of the component (event 3054 to
// the peer Execution): how far it has come, for which window.
struct ProgressStep {
  int percent;
  frame::Word window;
};
using ProgressListener = void (*)(void* context, int percent);

// The peer Execution's answer to (3053, n) unless set otherwise.
inline constexpr frame::Word DefaultPeerAnswer(std::uint32_t n) {
  return 0x30530000u + n;
}
inline constexpr frame::Word kInitialEventValue = 0x48780012u;  // query 12
inline constexpr frame::Word kDefaultSessionAnswer = 2;

class Control {
 public:
  // The memory manager the VM hands out at attach (query 13).
  virtual frame::MemoryManager* Memory() = 0;
  virtual MemoryStats Stats() const = 0;
  // The allocation after `successes` more successful ones fails once with
  // kOutOfMemory; a negative count cancels.
  virtual void FailAllocation(int successes) = 0;

  // The application's current language code (1 and 6 are French).
  virtual void SetLanguage(std::int32_t code) = 0;
  virtual std::int32_t Language() const = 0;

  // The answer of the peer Execution to (3053, n); for n = 13 the memory
  // manager and for n = 9 the session object, whatever is set.
  virtual void SetPeerAnswer(std::uint32_t n, frame::Word answer) = 0;
  virtual frame::Word PeerAnswer(std::uint32_t n) const = 0;
  // What the session object's slot 0 answers.
  virtual void SetSessionAnswer(frame::Word answer) = 0;

  // Records: the n of every (3053, n) in order, the (3052, 0, 2816)
  // shutdown calls, every other event, the session object's calls and the
  // conversion calls.
  virtual std::vector<std::uint32_t> PeerQueries() const = 0;
  virtual int ShutdownCalls() const = 0;
  virtual std::vector<std::uint32_t> OtherEvents() const = 0;
  virtual std::vector<SessionCall> SessionCalls() const = 0;
  virtual int ConversionCalls() const = 0;
  virtual int EndConversionCalls() const = 0;
  // Progress steps: every one is recorded and handed to `listener` (null
  // for none); from `percent` on the VM answers that the user cancelled
  // (a negative percent: never).
  virtual void SetProgressListener(ProgressListener listener,
                                   void* context) = 0;
  virtual void CancelAtPercent(int percent) = 0;
  virtual std::vector<ProgressStep> ProgressSteps() const = 0;

  // Clears the records, not the settings nor the memory statistics.
  virtual void ClearRecords() = 0;

 protected:
  ~Control() = default;
};

using ControlFn = Control* (*)();
inline constexpr char kControlSymbol[] = "tmvm_control";

}  // namespace vm

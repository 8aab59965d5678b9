// tests/support/fake_vm.h: the VM as the frame's unit tests see it: a
// memory manager that counts its blocks and fails on demand, modules whose
// exports a test defines, the VM's conversion routine, and a host value.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "frame/abi.h"
#include "platform/platform.h"

namespace support {

// --- Memory manager ----------------------------------------------------------

// Installs itself as the component's memory manager for its lifetime.
// Blocks get exactly the capacity asked for and move on every growth, so
// that a stale pointer or a missing terminator shows up under the
// sanitizers. Blocks still live at destruction are a test failure.
class FakeMemoryManager {
 public:
  FakeMemoryManager();
  ~FakeMemoryManager();
  FakeMemoryManager(const FakeMemoryManager&) = delete;
  FakeMemoryManager& operator=(const FakeMemoryManager&) = delete;

  frame::MemoryManager* get() { return &shell_.base; }

  // The next resize fails with `code` and changes nothing.
  void FailNextResize(std::uint32_t code);

  int live_blocks() const;
  int resize_calls() const;
  int free_calls() const;

 private:
  struct Shell {
    frame::MemoryManager base;  // first: slots get &base back
    FakeMemoryManager* owner;
  };
  static void Free(frame::MemoryManager* mm, void* characters);
  static std::uint32_t Resize(frame::MemoryManager* mm, char16_t** text,
                              std::uint32_t bytes, std::uint32_t);

  Shell shell_;
  frame::MemoryManager* previous_;
  mutable std::mutex mutex_;
  std::set<void*> blocks_;
  std::uint32_t fail_next_ = 0;
  int resize_calls_ = 0;
  int free_calls_ = 0;
};

// --- Modules -----------------------------------------------------------------

// Module words mapped to tables of exports; every lookup is recorded.
class FakeModules final : public plat::Modules {
 public:
  void Define(plat::Module module, const std::string& name, void* address);
  void Remove(plat::Module module, const std::string& name);
  void* FindExport(plat::Module module, const char* name) override;

  // The names asked for, in order.
  const std::vector<std::string>& lookups() const { return lookups_; }

 private:
  std::map<std::pair<plat::Module, std::string>, void*> exports_;
  std::vector<std::string> lookups_;
};

// --- The VM module -----------------------------------------------------------

// What the VM module's exports saw; reset by each FakeVm.
struct ConversionLog {
  int calls = 0;
  const void* storage = nullptr;
  std::uint32_t type = 0;
  std::uint32_t target = 0;
  std::uint32_t flags1 = 0;
  std::uint32_t flags2 = 0;
  std::uint32_t fail_next = 0;    // the next conversion answers this
  std::uint32_t proxy_asked = 0;  // the number pQueryProxy was called with
  int proxy_calls = 0;
};
ConversionLog& Conversions();

// Statuses of the fake conversion routine.
inline constexpr std::uint32_t kFakeOverflow = 1;  // success, value cut
inline constexpr std::uint32_t kFakeNotANumber = 120;
inline constexpr std::uint32_t kFakeUnsupported = 121;

// The object the fake pQueryProxy answers for 102.
void* FakeConversionProxy();

// Puts the fake modules in place of the platform's for its lifetime and
// defines the VM module's three exports. The conversion routine knows
// types 1, 8, 9, 12 and 16 (148 reads like 16), converts between any two
// of them, and also yields 13, 18 and 110 (the value as one word) and 28
// (the bytes of a text).
class FakeVm {
 public:
  static constexpr plat::Module kModule = 0x7E5E0;

  FakeVm();
  FakeVm(const FakeVm&) = delete;
  FakeVm& operator=(const FakeVm&) = delete;

  FakeModules& modules() { return modules_; }

 private:
  FakeModules modules_;
  plat::Platform platform_;
  plat::ScopedPlatform scope_;
};

// --- Host value --------------------------------------------------------------

// A host value with its own interface that records what is asked of it.
// Store keeps the word for types 13, 18 and 110, takes its own reference
// on a text object (types 16, 28, 148, 149) and reads eight bytes at the
// address otherwise; release drops the text object; get text shares it;
// direct answers `direct`.
struct FakeHostValue {
  explicit FakeHostValue(std::uint32_t type);
  ~FakeHostValue();
  FakeHostValue(const FakeHostValue&) = delete;
  FakeHostValue& operator=(const FakeHostValue&) = delete;

  frame::AnyValue value;  // first: the slots get its address
  const char16_t* direct = nullptr;
  int release_calls = 0;
  std::uint32_t release_flag = 0;
  int store_calls = 0;
  std::uint32_t type_at_store = 0;
  frame::Word stored_word = 0;
  int text_calls = 0;
  int direct_calls = 0;
};

}  // namespace support

// tests/support/fake_vm.cpp: the fake VM's memory manager, modules,
// conversion routine and host value.
#include "tests/support/fake_vm.h"

#include <gtest/gtest.h>

#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "frame/text.h"

namespace support {
namespace {

using frame::BlockHeader;
using frame::kBlockHeaderBytes;
using frame::Word;

// Fresh characters hold this pattern, so that reading past what was
// written shows.
constexpr unsigned char kFreshByte = 0xCD;

}  // namespace

// --- Memory manager ----------------------------------------------------------

FakeMemoryManager::FakeMemoryManager()
    : previous_(frame::CurrentMemoryManager()) {
  static const std::array<Word, frame::kMemResize + 1> ops = [] {
    std::array<Word, frame::kMemResize + 1> table{};
    table[frame::kMemFree] = reinterpret_cast<Word>(&FakeMemoryManager::Free);
    table[frame::kMemResize] =
        reinterpret_cast<Word>(&FakeMemoryManager::Resize);
    return table;
  }();
  shell_ = Shell{{ops.data()}, this};
  frame::SetMemoryManager(get());
}

FakeMemoryManager::~FakeMemoryManager() {
  frame::SetMemoryManager(previous_);
  EXPECT_EQ(0u, blocks_.size()) << "text blocks still live";
  for (void* block : blocks_) std::free(block);
}

void FakeMemoryManager::FailNextResize(std::uint32_t code) {
  std::lock_guard lock(mutex_);
  fail_next_ = code;
}

int FakeMemoryManager::live_blocks() const {
  std::lock_guard lock(mutex_);
  return static_cast<int>(blocks_.size());
}

int FakeMemoryManager::resize_calls() const {
  std::lock_guard lock(mutex_);
  return resize_calls_;
}

int FakeMemoryManager::free_calls() const {
  std::lock_guard lock(mutex_);
  return free_calls_;
}

void FakeMemoryManager::Free(frame::MemoryManager* mm, void* characters) {
  FakeMemoryManager* self = reinterpret_cast<Shell*>(mm)->owner;
  std::lock_guard lock(self->mutex_);
  ++self->free_calls_;
  void* block = static_cast<std::byte*>(characters) - kBlockHeaderBytes;
  if (self->blocks_.erase(block) == 0) {
    ADD_FAILURE() << "free of a block this manager does not hold";
    return;
  }
  std::free(block);
}

std::uint32_t FakeMemoryManager::Resize(frame::MemoryManager* mm,
                                        char16_t** text, std::uint32_t bytes,
                                        std::uint32_t) {
  FakeMemoryManager* self = reinterpret_cast<Shell*>(mm)->owner;
  std::lock_guard lock(self->mutex_);
  ++self->resize_calls_;
  if (self->fail_next_ != 0) {
    return std::exchange(self->fail_next_, 0);
  }
  BlockHeader header{0, 1, bytes, 0};
  void* old_block = nullptr;
  if (*text != nullptr) {
    old_block = reinterpret_cast<std::byte*>(*text) - kBlockHeaderBytes;
    if (self->blocks_.count(old_block) == 0) {
      ADD_FAILURE() << "resize of a block this manager does not hold";
      return 87;
    }
    std::memcpy(&header, old_block, sizeof header);
    if (header.count >= 2) ADD_FAILURE() << "resize of a shared block";
    if (header.capacity >= bytes) return 0;
    header.capacity = bytes;
  }
  // Two spare bytes beyond the capacity, as the VM's manager keeps.
  auto* block = static_cast<std::byte*>(
      std::malloc(kBlockHeaderBytes + std::size_t{bytes} + 2));
  std::memset(block + kBlockHeaderBytes, kFreshByte, std::size_t{bytes} + 2);
  std::memcpy(block, &header, sizeof header);
  if (old_block != nullptr) {
    std::memcpy(block + kBlockHeaderBytes, *text,
                static_cast<const BlockHeader*>(old_block)->length + 2);
    self->blocks_.erase(old_block);
    std::free(old_block);
  } else {
    std::memset(block + kBlockHeaderBytes, 0, 2);
  }
  self->blocks_.insert(block);
  *text = reinterpret_cast<char16_t*>(block + kBlockHeaderBytes);
  return 0;
}

// --- Modules -----------------------------------------------------------------

void FakeModules::Define(plat::Module module, const std::string& name,
                         void* address) {
  exports_[{module, name}] = address;
}

void FakeModules::Remove(plat::Module module, const std::string& name) {
  exports_.erase({module, name});
}

void* FakeModules::FindExport(plat::Module module, const char* name) {
  lookups_.emplace_back(name);
  const auto found = exports_.find({module, name});
  return found == exports_.end() ? nullptr : found->second;
}

// --- The VM module -----------------------------------------------------------

namespace {

// A scalar or text read from the source storage.
struct Number {
  bool is_real = false;
  std::int64_t integer = 0;
  double real = 0;
};

std::uint32_t ReadNumber(const void* storage, std::uint32_t type, Number* out) {
  switch (type) {
    case 1:
    case 8: {
      std::int32_t n;
      std::memcpy(&n, storage, sizeof n);
      out->integer = n;
      return 0;
    }
    case 9:
      std::memcpy(&out->integer, storage, sizeof out->integer);
      return 0;
    case 12:
      out->is_real = true;
      std::memcpy(&out->real, storage, sizeof out->real);
      return 0;
    case 16:
    case 148: {
      std::string ascii;
      for (char16_t c : frame::TextView(frame::LoadText(storage))) {
        if (c > 0x7F) return kFakeNotANumber;
        ascii += static_cast<char>(c);
      }
      const char* first = ascii.data();
      const char* last = first + ascii.size();
      if (auto [end, error] = std::from_chars(first, last, out->integer);
          error == std::errc() && end == last && !ascii.empty()) {
        return 0;
      }
      out->is_real = true;
      if (auto [end, error] = std::from_chars(first, last, out->real);
          error == std::errc() && end == last && !ascii.empty()) {
        return 0;
      }
      return kFakeNotANumber;
    }
    default:
      return kFakeUnsupported;
  }
}

std::uint32_t WriteText(const Number& n, void* destination) {
  char digits[64];
  const auto [end, error] =
      n.is_real ? std::to_chars(digits, digits + sizeof digits, n.real)
                : std::to_chars(digits, digits + sizeof digits, n.integer);
  std::u16string text(digits, end);
  char16_t* object = nullptr;
  if (const std::uint32_t status = frame::AssignText(&object, text)) {
    return status;
  }
  frame::StoreText(destination, object);
  return 0;
}

std::uint32_t FakeConvert(const void* storage, std::uint32_t type,
                          void* destination, std::uint32_t target,
                          std::uint32_t flags1, std::uint32_t flags2) {
  ConversionLog& log = Conversions();
  ++log.calls;
  log.storage = storage;
  log.type = type;
  log.target = target;
  log.flags1 = flags1;
  log.flags2 = flags2;
  if (log.fail_next != 0) return std::exchange(log.fail_next, 0);

  if (target == 28) {
    if (type != 16 && type != 148) return kFakeUnsupported;
    char16_t* object = nullptr;
    const char16_t* source = frame::LoadText(storage);
    if (const std::uint32_t status =
            frame::AssignBytes(&object, frame::TextBytes(source))) {
      return status;
    }
    frame::StoreText(destination, object);
    return 0;
  }
  Number n;
  if (const std::uint32_t status = ReadNumber(storage, type, &n)) {
    return status;
  }
  const std::int64_t whole =
      n.is_real ? static_cast<std::int64_t>(n.real) : n.integer;
  switch (target) {
    case 1: {
      const std::int32_t b = (n.is_real ? n.real != 0 : n.integer != 0);
      std::memcpy(destination, &b, sizeof b);
      return 0;
    }
    case 8: {
      const auto cut = static_cast<std::int32_t>(whole);
      std::memcpy(destination, &cut, sizeof cut);
      return cut == whole ? 0 : kFakeOverflow;
    }
    case 9:
      std::memcpy(destination, &whole, sizeof whole);
      return 0;
    case 12: {
      const double x = n.is_real ? n.real : static_cast<double>(n.integer);
      std::memcpy(destination, &x, sizeof x);
      return 0;
    }
    case 13:
    case 18:
    case 110: {
      const auto word = static_cast<Word>(whole);
      std::memcpy(destination, &word, sizeof word);
      return 0;
    }
    case 16:
      return WriteText(n, destination);
    default:
      return kFakeUnsupported;
  }
}

void FakeEndConversion(void*) {}

void* FakeQueryProxy(std::uint32_t number) {
  ConversionLog& log = Conversions();
  ++log.proxy_calls;
  log.proxy_asked = number;
  return number == 102 ? FakeConversionProxy() : nullptr;
}

}  // namespace

ConversionLog& Conversions() {
  static ConversionLog log;
  return log;
}

void* FakeConversionProxy() {
  static int proxy;
  return &proxy;
}

FakeVm::FakeVm()
    : platform_{modules_, plat::Current().system, plat::Current().files,
                plat::Current().libraries, plat::Current().registry,
                plat::Current().processes},
      scope_(platform_) {
  Conversions() = ConversionLog{};
  modules_.Define(kModule, "nConversionDepassementExt",
                  reinterpret_cast<void*>(&FakeConvert));
  modules_.Define(kModule, "FinConversion",
                  reinterpret_cast<void*>(&FakeEndConversion));
  modules_.Define(kModule, "pQueryProxy",
                  reinterpret_cast<void*>(&FakeQueryProxy));
}

// --- Host value --------------------------------------------------------------

namespace {

FakeHostValue* Host(frame::AnyValue* value) {
  return reinterpret_cast<FakeHostValue*>(value);
}

bool HostHoldsText(const frame::AnyValue* value) {
  const std::uint32_t type = frame::BaseType(value->type);
  return type == 16 || type == 148 || type == 149 || type == 28;
}

void HostRelease(frame::AnyValue* value, std::uint32_t flag) {
  ++Host(value)->release_calls;
  Host(value)->release_flag = flag;
  if (HostHoldsText(value)) frame::ReleaseText(&value->storage.text);
}

void HostStore(frame::AnyValue* value, Word word) {
  FakeHostValue* host = Host(value);
  ++host->store_calls;
  host->type_at_store = value->type;
  host->stored_word = word;
  const std::uint32_t type = frame::BaseType(value->type);
  if (type == 13 || type == 18 || type == 110) {
    std::memcpy(&value->storage, &word, sizeof word);
  } else if (HostHoldsText(value)) {
    frame::CopyText(&value->storage.text,
                    frame::LoadText(reinterpret_cast<const void*>(word)));
  } else {
    std::memcpy(&value->storage, reinterpret_cast<const void*>(word), 8);
  }
}

std::uint32_t HostText(frame::AnyValue* value, char16_t** destination) {
  ++Host(value)->text_calls;
  frame::CopyText(destination, value->storage.text);
  return 0;
}

const char16_t* HostDirect(frame::AnyValue* value) {
  ++Host(value)->direct_calls;
  return Host(value)->direct;
}

}  // namespace

FakeHostValue::FakeHostValue(std::uint32_t type) : value{} {
  static_assert(std::is_standard_layout_v<FakeHostValue>);
  static const std::array<Word, frame::kValueSlotCount> ops = [] {
    std::array<Word, frame::kValueSlotCount> table{};
    table[frame::kValueRelease] = reinterpret_cast<Word>(&HostRelease);
    table[frame::kValueStore] = reinterpret_cast<Word>(&HostStore);
    table[frame::kValueText] = reinterpret_cast<Word>(&HostText);
    table[frame::kValueDirect] = reinterpret_cast<Word>(&HostDirect);
    return table;
  }();
  value.ops = ops.data();
  value.type = type;
}

FakeHostValue::~FakeHostValue() {
  if (HostHoldsText(&value)) frame::ReleaseText(&value.storage.text);
}

}  // namespace support

// host/refhost/argument_array.h: the argument array of one call, as the VM
// builds it: one entry per argument, pointing at the argument's value in
// the form its parameter code asks for. The array owns what it built (text
// objects, composite values) and releases it when destroyed.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "host/refhost/args.h"
#include "host/refhost/catalogue.h"
#include "host/refhost/result.h"
#include "host/refhost/values.h"

namespace refhost {

class ArgumentArray {
 public:
  // False from ok() when the memory manager refused a block.
  ArgumentArray(const SyntaxRecord& syntax, std::span<const Arg> args,
                const ValueContext* context);
  ~ArgumentArray();
  ArgumentArray(const ArgumentArray&) = delete;
  ArgumentArray& operator=(const ArgumentArray&) = delete;

  bool ok() const { return ok_; }
  void** entries() { return entries_.data(); }
  // After the call: what each by-reference or composite argument holds.
  std::vector<Value> Outputs() const;

 private:
  enum class Form { kWord, kInt64, kReal, kDecimal, kPointer, kObject, kAny };
  // Room for every form; the entry points at its start.
  struct alignas(16) Slot {
    unsigned char bytes[16];
  };
  struct Held {
    Form form;
    std::uint32_t code;
    bool bytes;  // a text object of bytes, not of characters
  };

  const ValueContext* context_;
  bool ok_ = true;
  std::vector<Slot> slots_;
  std::vector<Held> held_;
  std::vector<std::u16string> texts_;  // what kPointer slots point into
  std::vector<void*> entries_;
};

}  // namespace refhost

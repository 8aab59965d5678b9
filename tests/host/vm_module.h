// tests/host/vm_module.h: a fixture that loads the reference VM module by
// itself, for the tests of its parts. Every test must leave as many text
// blocks alive as it found.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "frame/abi.h"
#include "host/refhost/blocks.h"
#include "host/refhost/library.h"
#include "host/vm/control.h"

namespace refhost {

class VmModuleTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(module_.Open(STD8_VM_PATH, &error)) << error;
    control_ = module_.Get<vm::ControlFn>(vm::kControlSymbol)();
    convert_ = module_.Get<frame::ConversionFn>("nConversionDepassementExt");
    ASSERT_NE(nullptr, convert_);
    control_->FailAllocation(-1);
    live_before_ = control_->Stats().live;
  }

  void TearDown() override {
    if (control_ != nullptr) {
      EXPECT_EQ(live_before_, control_->Stats().live) << "text blocks left";
    }
  }

  vm::Control& vm() { return *control_; }
  frame::MemoryManager* memory() { return control_->Memory(); }
  Blocks blocks() { return Blocks(control_->Memory()); }
  frame::ConversionFn convert() const { return convert_; }
  const Library& module() const { return module_; }

  std::uint32_t Resize(char16_t** text, std::uint32_t bytes) {
    auto fn =
        reinterpret_cast<frame::MemResizeFn>(memory()->ops[frame::kMemResize]);
    return fn(memory(), text, bytes, 0);
  }
  void Free(void* characters) {
    auto fn =
        reinterpret_cast<frame::MemFreeFn>(memory()->ops[frame::kMemFree]);
    fn(memory(), characters);
  }

 private:
  Library module_;
  vm::Control* control_ = nullptr;
  frame::ConversionFn convert_ = nullptr;
  std::int64_t live_before_ = 0;
};

}  // namespace refhost

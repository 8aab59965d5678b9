// host/vm/exports.cpp: the exports of the reference VM module. The module
// plays the VM's side of a component's attach (its Execution answers the
// component's queries) and of text conversion; tmvm_control gives the
// reference host its control interface.
#include <cstdint>
#include <type_traits>

#include "frame/abi.h"
#include "host/vm/control.h"
#include "host/vm/vm.h"

#define STD8_VM_EXPORT extern "C" __attribute__((visibility("default")))

STD8_VM_EXPORT frame::Word Execution(std::uint32_t event, frame::Word p,
                                     frame::Word q) {
  return vm::Vm::Instance().Execution(event, p, q);
}

STD8_VM_EXPORT std::uint32_t nConversionDepassementExt(
    const void* storage, std::uint32_t type, void* dest, std::uint32_t target,
    std::uint32_t, std::uint32_t) {
  return vm::Vm::Instance().Convert(storage, type, dest, target);
}

STD8_VM_EXPORT void FinConversion(void*) { vm::Vm::Instance().EndConversion(); }

STD8_VM_EXPORT void* pQueryProxy(std::uint32_t number) {
  return vm::Vm::Instance().QueryProxy(number);
}

STD8_VM_EXPORT vm::Control* tmvm_control() { return &vm::Vm::Instance(); }

static_assert(std::is_same_v<decltype(&Execution), frame::ExecutionFn>);
static_assert(
    std::is_same_v<decltype(&nConversionDepassementExt), frame::ConversionFn>);
static_assert(std::is_same_v<decltype(&FinConversion), frame::EndConversionFn>);
static_assert(std::is_same_v<decltype(&pQueryProxy), frame::QueryProxyFn>);
static_assert(std::is_same_v<decltype(&tmvm_control), vm::ControlFn>);

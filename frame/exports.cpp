// frame/exports.cpp: the ten names the host looks up in the library.
#include "files/packed_file.h"
#include "frame/conversion.h"
#include "frame/entry.h"
#include "frame/exports.h"

using frame::Word;

STD8_EXPORT std::int32_t STD8_CALL bInitLibrary(Word host_module) {
  return frame::InitLibrary(host_module);
}

STD8_EXPORT void STD8_CALL TermLibrary(Word unused) {
  frame::TermLibrary(unused);
}

STD8_EXPORT Word STD8_CALL InfoComposante(std::uint32_t code,
                                          std::uint32_t index) {
  return frame::InfoComposante(code, index);
}

STD8_EXPORT void* STD8_CALL pQueryProxy(std::uint32_t number) {
  return frame::QueryProxy(number);
}

STD8_EXPORT void STD8_CALL DeclareProxy(Word* a, std::uint16_t* b, Word* c,
                                        std::uint16_t* d) {
  frame::DeclareProxy(a, b, c, d);
}

STD8_EXPORT Word STD8_CALL Execution(std::uint32_t event, Word p, Word q) {
  return frame::Execution(event, p, q);
}

STD8_EXPORT Word STD8_CALL CommandeComposante(std::uint32_t command,
                                              Word record, Word a, Word b) {
  return frame::CommandeComposante(command, record, a, b);
}

STD8_EXPORT std::int32_t STD8_CALL bInitTLConvFromVM(Word vm_module,
                                                     std::uint32_t major,
                                                     std::uint32_t minor,
                                                     Word reserved) {
  return frame::BindConversion(vm_module, major, minor, reserved);
}

STD8_EXPORT std::int16_t STD8_CALL nfCompacte(const char16_t* source,
                                              const char16_t* target) {
  return files::Compacte(source, target);
}

STD8_EXPORT std::int16_t STD8_CALL nfDecompacte(const char16_t* source,
                                                const char16_t* target) {
  return files::Decompacte(source, target);
}

// frame/entry.h: the component's entry points. frame/exports.cpp exports
// them under the names the VM looks up; the descriptor names them too.
#pragma once

#include <cstdint>

#include "frame/abi.h"

namespace frame {

std::int32_t InitLibrary(Word host_module);
void TermLibrary(Word unused);
Word InfoComposante(std::uint32_t code, std::uint32_t index);
void* QueryProxy(std::uint32_t number);
void DeclareProxy(Word* a, std::uint16_t* b, Word* c, std::uint16_t* d);
Word Execution(std::uint32_t event, Word p, Word q);
Word CommandeComposante(std::uint32_t command, Word record, Word, Word);

// Lifecycle state, for the frame's own use and its tests.
bool IsInitialised();
Word HostModule();
// Runs at library end, after the session shutdown: components that start
// threads or keep handles register here (at most a few).
void AtLibraryEnd(void (*stop)());

}  // namespace frame

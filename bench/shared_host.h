// bench/shared_host.h: one reference host per benchmark program, loaded and
// started on first use and kept to the end (a call's cost, not the start).
#pragma once

#include <benchmark/benchmark.h>

#include "host/refhost/host.h"

// The started host, or null after marking the benchmark skipped.
inline refhost::Host* SharedHost(benchmark::State& state) {
  static auto* host = [] {
    auto* h = new refhost::Host;
    if (!h->Load(STD8_COMPONENT_PATH, STD8_VM_PATH) || !h->Start()) {
      return static_cast<refhost::Host*>(nullptr);
    }
    return h;
  }();
  if (host == nullptr) state.SkipWithError("the component does not start");
  return host;
}

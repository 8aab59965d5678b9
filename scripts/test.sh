#!/usr/bin/env bash
# Builds the component and the whole test suite with AddressSanitizer and
# UndefinedBehaviorSanitizer, then runs every test.
# Usage: scripts/test.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset debug >/dev/null
cmake --build --preset debug -j"$(nproc)"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
ctest --preset debug -j"$(nproc)" --timeout 300

#!/usr/bin/env bash
# Installs what is missing, builds everything (release), and runs a short
# demonstration of the component through tmhost.
# Usage: scripts/setup.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
cmake --preset release >/dev/null
cmake --build --preset release -j"$(nproc)"
scripts/demo.sh build/release

#!/usr/bin/env bash
# A short tour of the component through the command-line host.
# Usage: scripts/demo.sh BUILD_DIR
set -uo pipefail
build=${1:-build/release}
tmhost="$build/tmhost"
run() {
  echo "\$ tmhost $*"
  "$tmhost" "$@"
  echo "  (exit status $?)"
}
run info
run catalogue 1
run message 80003
run call --json 127 s:x
run call 3 i:1

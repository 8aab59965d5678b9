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

# Files live below a device root; the demo uses a scratch one.
TESSEL_ROOT=$(mktemp -d)
export TESSEL_ROOT
trap 'rm -rf "$TESSEL_ROOT"' EXIT
mkdir -p "$TESSEL_ROOT/Windows"
run ini set '\Windows\win.ini' Demo Greeting "hello"
run ini get '\Windows\win.ini' Demo Greeting
run call 195 's:\Windows\win.ini' s:20240102
run call 340 's:\Windows\win.ini'
run call 175 's:\Windows\win.ini' s:RH
run call 350 's:\Windows'
run call 195 's:data\x.txt'

# The registry store is one database file; the demo uses a scratch one.
TESSEL_REGISTRY="$TESSEL_ROOT/registry.db"
export TESSEL_REGISTRY
printf '%s\r\n' 'REGEDIT4' '' '[HKEY_CURRENT_USER\Software\Demo]' \
  '"Greeting"="hello"' '"Count"=dword:0000002a' '' >"$TESSEL_ROOT/demo.reg"
run reg import "$TESSEL_ROOT/demo.reg"
run reg dump 'HKEY_CURRENT_USER\Software\Demo'
run call 71 's:HKEY_CURRENT_USER\Software\Demo' s:Greeting

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
run --lang 1 call 473 d:1234.56 's:euro(s)' 's:centime(s)'   # an amount in words
run call 151 i:1                                               # the system's version

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

# Packing a file and restoring it.
seq 1 20000 >"$TESSEL_ROOT/numbers.txt"
run compress '\numbers.txt' '\numbers.lzp'
run expand '\numbers.lzp' '\numbers.out'
ls -l "$TESSEL_ROOT/numbers.txt" "$TESSEL_ROOT/numbers.lzp" | awk '{print "  " $5 "\t" $NF}'
cmp -s "$TESSEL_ROOT/numbers.txt" "$TESSEL_ROOT/numbers.out" && echo "  restored byte for byte"

# Programs are device paths too: run one and wait for its exit code.
mkdir -p "$TESSEL_ROOT/bin"
cp /bin/true "$TESSEL_ROOT/bin/true"
run call 169 's:\bin\true' i:1 i:2

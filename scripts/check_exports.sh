#!/usr/bin/env bash
# Checks that the built library exports the entry points and nothing else.
# Usage: scripts/check_exports.sh LIBRARY
set -euo pipefail
lib=$1
expected="CommandeComposante DeclareProxy Execution InfoComposante TermLibrary bInitLibrary bInitTLConvFromVM nfCompacte nfDecompacte pQueryProxy"
actual=$(nm -D --defined-only "$lib" | awk '$2 ~ /^[TDWBRV]$/ {print $3}' \
  | sed 's/@.*//' | sort | tr '\n' ' ' | sed 's/ $//')
if [ "$actual" != "$expected" ]; then
  echo "exported: $actual"
  echo "expected: $expected"
  exit 1
fi
echo "exports: $actual"

#!/usr/bin/env bash
# Installs the packages the build and the tests need, when they are missing.
# Usage: scripts/deps.sh   (uses sudo when not run as root)
set -euo pipefail
# The LHA tools and bsdtar prove that packed files interoperate.
packages=(build-essential cmake python3 libgtest-dev libgmock-dev
          libbenchmark-dev libsqlite3-dev sqlite3 lhasa jlha-utils
          libarchive-tools)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" \
    || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
echo "deps: installing ${missing[*]}"
sudo=""
[ "$(id -u)" -ne 0 ] && sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q "${missing[@]}"

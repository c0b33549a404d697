#!/usr/bin/env bash
# Installs what building and testing ecckey needs on a fresh Debian 12 machine: the compiler
# and CMake, libcrypto and libargon2 for the key-file layer, GoogleTest, the peers the tests
# check against (GMP, OpenSSL, OpenSSH's ssh-keygen, PuTTY's puttygen, Node.js), man to check the
# tool's manual page, and clang with libFuzzer for the fuzz targets.
# Packages already present are left alone, so this is quick (and offline) on a prepared machine.
set -euo pipefail

packages=(g++ cmake make pkg-config libgtest-dev libgmock-dev libgmp-dev libssl-dev libargon2-dev openssl valgrind
          openssh-client putty-tools
          man-db                    # the manual page's test reads it with man -l
          clang libclang-rt-14-dev  # the fuzz targets: clang and its libFuzzer runtime
          doxygen)                  # the reference documentation (the docs target)
# The interop tests run node; any Node.js 18 or later will do, so one installed from outside
# Debian is kept.
command -v node > /dev/null 2>&1 || packages+=(nodejs)
if [ "${1:-}" = "--bench" ]; then
  packages+=(libbenchmark-dev libsecp256k1-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -eq 0 ]; then
  exit 0
fi

echo "installing: ${missing[*]}"
SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
$SUDO apt-get update -qq
DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${missing[@]}"

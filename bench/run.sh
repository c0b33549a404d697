#!/bin/sh
# Builds and runs the benchmark program with every peer it can find. Peers that apt can
# install are installed first when we may (root or sudo); a peer that is still missing is
# skipped by the build with a note. Extra arguments go to the benchmark program.
set -e
here=$(cd "$(dirname "$0")/.." && pwd)
build=${BUILD_DIR:-$here/build-bench}
peers="libbenchmark-dev libssl-dev libgmp-dev libsecp256k1-dev libtomcrypt-dev libtommath-dev"
if command -v apt-get >/dev/null 2>&1; then
  if [ "$(id -u)" = 0 ]; then
    apt-get install -y --no-install-recommends $peers || echo "note: some peers could not be installed"
  elif command -v sudo >/dev/null 2>&1 && sudo -n true 2>/dev/null; then
    sudo apt-get install -y --no-install-recommends $peers || echo "note: some peers could not be installed"
  else
    echo "note: not root; peers that are not installed will be skipped"
  fi
fi
cmake -S "$here" -B "$build" -DCMAKE_BUILD_TYPE=Release -DECCKEY_BUILD_BENCH=ON \
  -DECCKEY_BUILD_TESTS=OFF -DECCKEY_BUILD_TOOLS=OFF
cmake --build "$build" -j2 --target ecckey_bench
exec "$build/bench/ecckey_bench" "$@"

#!/usr/bin/env bash
# Another project using ecckey: installed (found with find_package and with pkg-config) or
# vendored with add_subdirectory. Usage: consumer_test.sh installed|subdirectory SOURCE BUILD
set -euo pipefail
mode=$1 src=$2 build=$3
work=$(mktemp -d /tmp/ecckey-consumer-XXXXXX)
trap 'rm -rf "$work"' EXIT

case "$mode" in
  installed)
    cmake --install "$build" --prefix "$work/prefix" > /dev/null
    test -f "$work/prefix/include/ecckey/ecc/EccKey.h"
    test -x "$work/prefix/bin/ecckey"
    cmake -S "$src/tests/consumer" -B "$work/cmake" -DECCKEY_CONSUMER_INSTALLED=ON \
      -DCMAKE_PREFIX_PATH="$work/prefix" > /dev/null
    cmake --build "$work/cmake" > /dev/null
    "$work/cmake/consumer"
    # The same program through pkg-config alone.
    pcdir=$(dirname "$(find "$work/prefix" -name ecckey.pc)")
    flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs ecckey)
    # shellcheck disable=SC2086
    c++ "$src/tests/consumer/main.cpp" $flags -o "$work/consumer-pc"
    "$work/consumer-pc"
    ;;
  subdirectory)
    cmake -S "$src/tests/consumer" -B "$work/cmake" > /dev/null
    cmake --build "$work/cmake" -j2 > /dev/null
    "$work/cmake/consumer"
    ;;
  *)
    echo "usage: $0 installed|subdirectory SOURCE BUILD" >&2
    exit 2
    ;;
esac

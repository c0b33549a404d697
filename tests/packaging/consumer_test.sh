#!/usr/bin/env bash
# Another project using ecckey: installed (found with find_package and with pkg-config) or
# vendored with add_subdirectory; installed, the example programs too.
# Usage: consumer_test.sh installed|subdirectory SOURCE BUILD ["PUBLIC HEADERS"]
set -euo pipefail
mode=$1 src=$2 build=$3
work=$(mktemp -d /tmp/ecckey-consumer-XXXXXX)
trap 'rm -rf "$work"' EXIT

case "$mode" in
  installed)
    cmake --install "$build" --prefix "$work/prefix" > /dev/null
    test -x "$work/prefix/bin/ecckey"
    # The tool's manual page as installed shows every command its help lists.
    page=$(MANWIDTH=80 MANPAGER=cat man -l "$work/prefix/share/man/man1/ecckey.1")
    for c in $("$work/prefix/bin/ecckey" --help | awk '/^Commands:/ { on = 1; next } on && NF == 0 { exit } on { print $1 }'); do
      grep -q "^   $c\$" <<< "$page" || { echo "the installed page has no section for $c"; exit 1; }
    done
    test -f "$work/prefix/share/bash-completion/completions/ecckey"
    # Only the public headers are installed, and each compiles alone against that tree.
    inc=$work/prefix/include/ecckey
    public=$(xargs -n1 <<< "$4" | sort)
    installed=$(cd "$inc" && find . -type f | sed 's|^\./||' | sort)
    [ "$installed" = "$public" ] || { diff <(echo "$public") <(echo "$installed"); exit 1; }
    for h in $installed; do c++ -std=c++17 -Wall -Wextra -Werror -fsyntax-only -I "$inc" -include "$inc/$h" -x c++ /dev/null; done
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
    if [ -f "$inc/keyfile/KeyReader.h" ]; then
      # The examples, in one configure against the same tree, then run once on throw-away keys.
      ex=$work/examples k=$work/keys tool=$work/prefix/bin/ecckey
      cmake -S "$src/examples" -B "$ex" -DCMAKE_PREFIX_PATH="$work/prefix" -DCMAKE_BUILD_TYPE=Debug > /dev/null
      cmake --build "$ex" -j2 > /dev/null
      flags=$(PKG_CONFIG_PATH="$pcdir" pkg-config --cflags --libs ecckey-keyfile)
      # shellcheck disable=SC2086
      c++ "$src/examples/load_key.cpp" $flags -o "$work/load_key-pc"
      mkdir -m 700 "$k"
      export ECCKEY_PASSPHRASE=example-passphrase
      "$ex/generate_and_save" P-256 "$k/key" > /dev/null
      [ "$(stat -c %a "$k/key.p8.pem" "$k/key")" = $'600\n600' ]
      "$work/load_key-pc" "$k/key" | grep '^ecdsa-sha2-nistp256 ' > /dev/null
      "$tool" pub --passin env:ECCKEY_PASSPHRASE "$k/key.p8.pem" > "$k/pub.pem"
      "$ex/sign_verify" "$k/key.p8.pem" "$k/pub.pem" "$src/README.md" > /dev/null
      "$tool" gen P-256 > "$k/peer.pem"
      ours=$("$ex/ecdh" "$k/key" "$k/peer.pem")
      theirs=$("$ex/ecdh" "$k/peer.pem" "$k/key.p8.pem")
      [ "$ours" = "$theirs" ]
    fi
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

#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# in build-fuzz and runs each for SECONDS, two at a time, starting from its seeds in
# fuzz/corpus/<target>/. New inputs go to build-fuzz/work/<target>/, never to the repository.
# Exits non-zero when any target finds a crash, a leak, undefined behaviour or a broken
# property; the input is in build-fuzz/findings/ and its log beside it.
#   fuzz/run.sh [SECONDS] [TARGET...]     (default: 20 seconds, every target; 0 only builds)
# FUZZ_BUILD=DIR uses a tree already configured with clang, -DECCKEY_SANITIZE=ON and
# -DECCKEY_FUZZ=ON (CI's sanitizer tree) instead of build-fuzz.
set -euo pipefail
cd "$(dirname "$0")/.."
SECS="${1:-20}"
shift || true
ALL=(der pem point raw verify wrap putty jwk xml keyfile points)
TARGETS=("$@")
[ ${#TARGETS[@]} -gt 0 ] || TARGETS=("${ALL[@]}")
B="${FUZZ_BUILD:-build-fuzz}"

if [ -z "${FUZZ_BUILD:-}" ]; then
  # The main build's CXXFLAGS (-Werror under CI) are for g++; the fuzz build sets its own.
  CXXFLAGS= cmake -S . -B "$B" -DCMAKE_CXX_COMPILER=clang++ -DECCKEY_SANITIZE=ON -DECCKEY_FUZZ=ON \
    -DECCKEY_BUILD_TESTS=OFF > /dev/null
fi
# The tool too, for fuzz/make_corpus.sh.
cmake --build "$B" -j2 --target "${TARGETS[@]/%/_fuzz}" ecckey_tool > "$B/fuzz-build.log" 2>&1 ||
  { tail -40 "$B/fuzz-build.log"; exit 1; }
[ "$SECS" -gt 0 ] || exit 0

mkdir -p "$B/findings"
run_one() {
  local t=$1
  mkdir -p "$B/work/$t"
  if "$B/${t}_fuzz" -max_total_time="$SECS" -timeout=10 -print_final_stats=1 \
       -artifact_prefix="$B/findings/$t-" "$B/work/$t" "fuzz/corpus/$t" > "$B/findings/$t.log" 2>&1; then
    echo "$t: $(grep -o 'average_exec_per_sec: *[0-9]*' "$B/findings/$t.log" | grep -o '[0-9]*$') exec/s, no finding"
  else
    echo "$t: FINDING (log: $B/findings/$t.log)"
    grep -E 'PROPERTY|returned false|round trip|ERROR:|SUMMARY|Test unit written' "$B/findings/$t.log" | head -8 | sed 's/^/    /'
    return 1
  fi
}

failed=0
pids=()
names=()
for t in "${TARGETS[@]}"; do
  # Two at a time: one per core.
  if [ ${#pids[@]} -ge 2 ]; then
    wait "${pids[0]}" || failed=1
    pids=("${pids[@]:1}")
  fi
  run_one "$t" &
  pids+=($!)
done
for p in "${pids[@]}"; do wait "$p" || failed=1; done
[ $failed -eq 0 ] && echo "fuzzing: no findings" || echo "fuzzing: FINDINGS above"
exit $failed

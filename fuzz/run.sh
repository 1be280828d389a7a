#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each for the given number of seconds (default 60) on one core, starting from the
# corpus committed under fuzz/corpus/TARGET. New inputs go to build-fuzz/corpus/TARGET, and a
# finding stops the run and is written to build-fuzz/findings/.
#   fuzz/run.sh [SECONDS] [TARGET...]
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(parse_value)

scripts/ensure-packages.sh clang-14 libclang-rt-14-dev cmake make libxerces-c-dev libxalan-c-dev
CXX=clang++-14 cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELMAR_FUZZ=ON \
  -DBUILD_TESTING=OFF > /dev/null
cmake --build build-fuzz -j "$(nproc)" --target "${targets[@]/%/_fuzzer}" > /dev/null

mkdir -p build-fuzz/findings
for target in "${targets[@]}"; do
  mkdir -p "build-fuzz/corpus/$target"
  echo "== $target: ${seconds}s"
  ASAN_OPTIONS=detect_leaks=1 "build-fuzz/fuzz/${target}_fuzzer" -max_total_time="$seconds" -print_final_stats=1 \
    -artifact_prefix=build-fuzz/findings/ "build-fuzz/corpus/$target" "fuzz/corpus/$target" 2>&1 |
    grep -E '^(#[0-9]+[[:space:]]+(DONE|INITED)|stat::|==[0-9]+==|SUMMARY|artifact_prefix|Test unit written)' || true
  [ "${PIPESTATUS[0]}" -eq 0 ] || { echo "$target: finding in build-fuzz/findings/"; exit 1; }
done

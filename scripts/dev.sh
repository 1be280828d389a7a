#!/usr/bin/env bash
# Sets up a Debian 12 machine for this project (installing only the packages it lacks), builds,
# and then runs what was asked:
#   demo      the inspector reading a bundled MXF file with the built-in register dictionary
#             (the default)
#   test      the whole test suite
#   sanitize  the whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer
#   bench     load cost against the bare parse, at register size and larger; MXF files read
#             against mediainfo, one file and an archive; the compiled dictionary's load; the
#             walk of a file of more than 1 GiB against cat
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/ensure-packages.sh g++ cmake make pkg-config binutils valgrind libxerces-c-dev libxalan-c-dev libxxhash-dev libgtest-dev

jobs=$(nproc)
# Warnings fail the build in CI.
strict=()
[ -n "${CI:-}" ] && strict=(-DVELMAR_WERROR=ON)
build() {
  local dir=$1
  shift
  cmake -S . -B "$dir" "${strict[@]}" "$@" > /dev/null
  cmake --build "$dir" -j "$jobs"
}

case "${1:-demo}" in
  demo)
    build build
    ./build/tools/xsddict mxf tests/MXF/fixtures/op1a-mpeg2-pcm.mxf
    ;;
  test)
    build build
    ctest --test-dir build --output-on-failure -j "$jobs"
    ;;
  sanitize)
    build build-sanitize -DCMAKE_BUILD_TYPE=Debug -DVELMAR_SANITIZE=address,undefined
    ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      ctest --test-dir build-sanitize --output-on-failure -j "$jobs"
    ;;
  bench)
    scripts/ensure-packages.sh libbenchmark-dev ffmpeg mediainfo
    build build-bench -DCMAKE_BUILD_TYPE=Release -DVELMAR_BENCH=ON -DBUILD_TESTING=OFF
    ./build-bench/bench/load_benchmark
    ./build-bench/bench/mxf_benchmark
    ;;
  *)
    echo "usage: $0 [demo|test|sanitize|bench]" >&2
    exit 2
    ;;
esac

#!/usr/bin/env bash
# Builds the fuzz targets with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each for the given number of seconds (default 60) on one core, one after the other.
# parse_value starts from fuzz/corpus/parse_value; load from the sample dictionary and every
# dictionary of the tests. New inputs go to build-fuzz/corpus/TARGET; a finding stops the run
# and is written to build-fuzz/findings/.
# mxf starts from the MXF fixtures of the tests (and the files of other writers in
# ../shared/mxf-corpus, where it is) and reads them with the register dictionary of
# the ordinary build (made first); compiled from the compiled forms of every
# dictionary of the tests that loads.
# edit starts from fuzz/corpus/edit, scripts of edits to the MXF fixtures, with the same
# dictionary as mxf.
#   fuzz/run.sh [SECONDS] [TARGET...]   targets: parse_value, load, compiled, mxf, edit
#                                       (default: all)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(parse_value load compiled mxf edit)

scripts/ensure-packages.sh clang-14 libclang-rt-14-dev cmake make libxerces-c-dev libxalan-c-dev libxxhash-dev
CXX=clang++-14 cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELMAR_FUZZ=ON \
  -DBUILD_TESTING=OFF > /dev/null
cmake --build build-fuzz -j "$(nproc)" --target "${targets[@]/%/_fuzzer}" > /dev/null

mkdir -p build-fuzz/findings
for target in "${targets[@]}"; do
  mkdir -p "build-fuzz/corpus/$target"
  inputs=("fuzz/corpus/$target")
  maxLength=65536
  extra=()
  if [ "$target" = load ]; then
    inputs=(samples tests/XMLUtils/fixtures tests/MetaMetadata/Loading/fixtures tests/MetaMetadata/Loading/broken
            tests/tools/fixtures)
  elif [ "$target" = compiled ]; then
    cmake --build build-fuzz -j "$(nproc)" --target make_compiled_corpus > /dev/null
    inputs=(build-fuzz/starting/compiled)  # apart from the corpus it grows
    mkdir -p "${inputs[0]}"
    # shellcheck disable=SC2046
    build-fuzz/fuzz/make_compiled_corpus "${inputs[0]}" samples/*.xsd $(find tests -name '*.xsd' | sort)
  elif [ "$target" = edit ]; then
    maxLength=4096
    extra=(-len_control=0)  # scripts grow as long as they like: each step is a few bytes
    cmake -S . -B build > /dev/null
    cmake --build build -j "$(nproc)" --target builtin_dictionary > /dev/null
    export VELMAR_FUZZ_DICTIONARY=build/share/velmar-xsddictionary/registers.xsdc
  elif [ "$target" = mxf ]; then
    inputs=(tests/MXF/fixtures)
    # Files of other writers, where the corpus lies beside the project (their licences keep
    # them there): the reader's starting inputs, each cut to the length fuzzed.
    if [ -d ../shared/mxf-corpus ]; then
      mkdir -p build-fuzz/starting/mxf
      find ../shared/mxf-corpus -name '*.mxf' -exec cp -f {} build-fuzz/starting/mxf/ \;
      inputs+=(build-fuzz/starting/mxf)
    fi
    maxLength=262144
    # The register dictionary, with its registered types, from the ordinary build: the
    # sanitized shared library that the importer needs cannot be linked here.
    cmake -S . -B build > /dev/null
    cmake --build build -j "$(nproc)" --target builtin_dictionary > /dev/null
    export VELMAR_FUZZ_DICTIONARY=build/share/velmar-xsddictionary/registers.xsdc
  fi
  echo "== $target: ${seconds}s"
  # A load that takes seconds is a hang for a dictionary of a few kilobytes.
  status=0
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 "build-fuzz/fuzz/${target}_fuzzer" -max_total_time="$seconds" -print_final_stats=1 \
    -timeout=10 -rss_limit_mb=2048 -max_len="$maxLength" -artifact_prefix=build-fuzz/findings/ "${extra[@]}" \
    "build-fuzz/corpus/$target" "${inputs[@]}" > "build-fuzz/$target.log" 2>&1 || status=$?
  grep -E '^(#[0-9]+[[:space:]]+(DONE|INITED)|stat::|==[0-9]+==|SUMMARY|artifact_prefix|Test unit written)|runtime error' \
    "build-fuzz/$target.log" || true
  if [ "$status" -ne 0 ]; then
    echo "$target: finding (exit $status), see build-fuzz/$target.log and build-fuzz/findings/"
    exit 1
  fi
done

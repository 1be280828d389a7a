#!/usr/bin/env bash
# Sets up a Debian 12 machine for this project (installing only the packages it lacks), builds,
# and then runs what was asked:
#   demo      the inspector reading a bundled MXF file with the built-in register dictionary
#             (the default)
#   test      the whole test suite
#   sanitize  the whole test suite built with AddressSanitizer and UndefinedBehaviorSanitizer
#   python    the Python package alone, built and its tests run with pytest
#   bench     load cost against the bare parse, at register size and larger; MXF files read
#             against mediainfo, one file and an archive; the compiled dictionary's load; the
#             walk of a file of more than 1 GiB against cat; RegXML against the JSON reading;
#             files read from Python against the command and pymediainfo; report pages'
#             sizes and the time Chromium takes to open them
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/ensure-packages.sh g++ cmake make pkg-config binutils valgrind libxerces-c-dev libxalan-c-dev libxxhash-dev libgtest-dev libcli11-dev \
  pybind11-dev python3-dev python3-pytest python3-dask python3-distributed

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
    # The report pages are tested in a real browser; edited files are read back by ffprobe
    # and mediainfo; faults are injected into edits by strace.
    scripts/ensure-packages.sh chromium chromium-driver python3-selenium ffmpeg mediainfo strace groff-base \
      python3-venv
    build build
    ctest --test-dir build --output-on-failure -j "$jobs"
    # The package as pip installs it into a fresh environment (Debian's pytest and dask seen
    # through it), its tests run against what was installed.
    rm -rf build-wheel/venv
    /usr/bin/python3 -m venv --system-site-packages build-wheel/venv
    build-wheel/venv/bin/pip install --no-build-isolation --quiet .
    (cd build-wheel && venv/bin/python -c \
      'import xsddict, sys; sys.exit("site-packages" not in xsddict.__file__)' &&
      XSDDICT="$PWD/../build/tools/xsddict" venv/bin/python -m pytest -q -p no:cacheprovider \
        ../python/tests)
    ;;
  sanitize)
    build build-sanitize -DCMAKE_BUILD_TYPE=Debug -DVELMAR_SANITIZE=address,undefined
    ASAN_OPTIONS=detect_leaks=1:strict_string_checks=1:detect_stack_use_after_return=1 \
      UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
      ctest --test-dir build-sanitize --output-on-failure -j "$jobs"
    ;;
  python)
    build build
    ctest --test-dir build --output-on-failure -R '^python\.'
    ;;
  bench)
    scripts/ensure-packages.sh libbenchmark-dev ffmpeg mediainfo python3-pymediainfo
    build build-bench -DCMAKE_BUILD_TYPE=Release -DVELMAR_BENCH=ON -DBUILD_TESTING=OFF
    ./build-bench/bench/load_benchmark
    ./build-bench/bench/mxf_benchmark
    ./build-bench/bench/edit_benchmark
    PYTHONPATH=build-bench/python /usr/bin/python3 bench/python_read.py build-bench/tools/xsddict \
      tests/MXF/fixtures
    scripts/ensure-packages.sh chromium chromium-driver python3-selenium
    /usr/bin/python3 bench/report_open.py build-bench/tools/xsddict tests/MXF/fixtures \
      ../shared/mxf-corpus
    ;;
  *)
    echo "usage: $0 [demo|test|python|sanitize|bench]" >&2
    exit 2
    ;;
esac

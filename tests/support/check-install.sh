#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then builds the README's example program
# against it twice, through the CMake package and through pkg-config, and runs both on the
# sample.
set -euo pipefail
build=$1 consumer=$2 sample=$3 compiler=$4 example=$5
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"

cmake -S "$consumer" -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DEXAMPLE="$example" \
  > "$scratch/configure.log" || { cat "$scratch/configure.log"; exit 1; }
cmake --build "$scratch/cmake" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/cmake/consumer" "$sample"

libdir=$(ls -d "$scratch"/prefix/lib*/pkgconfig | head -n 1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs velmar-xsddictionary)
# shellcheck disable=SC2086
"$compiler" "$example" -o "$scratch/consumer-pc" $flags
LD_LIBRARY_PATH="$(dirname "$libdir")" "$scratch/consumer-pc" "$sample"

#!/usr/bin/env bash
# Installs the built library into a scratch prefix, then checks the installed interface as a
# user meets it: each installed header compiles on its own in C++17 and C++20 with warnings
# as errors; no installed header includes one that is not installed; the README's example is
# built through the CMake package and through pkg-config (which imposes no language standard)
# and run on the sample; the MXF example is built through both and run on a file.
set -euo pipefail
build=$1 consumer=$2 sample=$3 compiler=$4 example=$5 mxfExample=$6 tinyDictionary=$7 mxfFile=$8
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" > "$scratch/install.log"
include="$scratch/prefix/include"

headers=$(cd "$include" && find Velmar -name '*.h' | sort)
[ -n "$headers" ] || { echo "no headers installed"; exit 1; }
compile_alone() {  # header standard
  local source
  source=$(mktemp --suffix=.cpp -p "$scratch")
  printf '#include "%s"\n#include "%s"\n' "$1" "$1" > "$source"
  "$compiler" -std="$2" -Wall -Wextra -Werror -fsyntax-only -I"$include" "$source" \
    || { echo "$1 does not compile on its own in $2"; return 1; }
}
export -f compile_alone
export compiler include scratch
for standard in c++17 c++20; do
  echo "$headers" | xargs -P "$(nproc)" -I{} bash -c "compile_alone {} $standard"
done
echo "$(echo "$headers" | wc -l) installed headers compile on their own in C++17 and C++20"

cmake -S "$consumer" -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$scratch/prefix" -DCMAKE_CXX_COMPILER="$compiler" \
  -DEXAMPLE="$example" -DMXF_EXAMPLE="$mxfExample" \
  > "$scratch/configure.log" || { cat "$scratch/configure.log"; exit 1; }
cmake --build "$scratch/cmake" > "$scratch/build.log" || { cat "$scratch/build.log"; exit 1; }
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/cmake/consumer" "$sample"
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/cmake/preface-tree" "$mxfFile" "$tinyDictionary"
LD_LIBRARY_PATH="$scratch/prefix/lib" "$scratch/cmake/preface-tree" "$mxfFile" | grep -q "^  Identification" \
  || { echo "the example does not read with the installed built-in dictionary"; exit 1; }

libdir=$(ls -d "$scratch"/prefix/lib*/pkgconfig | head -n 1)
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs velmar-xsddictionary)
case " $flags " in
  *" -std="*) echo "pkg-config imposes a language standard: $flags"; exit 1 ;;
esac
# shellcheck disable=SC2086
"$compiler" -std=c++20 "$example" -o "$scratch/consumer-pc" $flags
LD_LIBRARY_PATH="$(dirname "$libdir")" "$scratch/consumer-pc" "$sample"
# The MXF reader's package brings the dictionary library's with it.
flags=$(PKG_CONFIG_PATH="$libdir" pkg-config --cflags --libs velmar-mxf)
# shellcheck disable=SC2086
"$compiler" -std=c++17 "$mxfExample" -o "$scratch/preface-tree-pc" $flags
LD_LIBRARY_PATH="$(dirname "$libdir")" "$scratch/preface-tree-pc" "$mxfFile" | grep -q "^  Identification" \
  || { echo "the MXF example built through pkg-config does not read"; exit 1; }

# The installed inspector stands alone and anywhere: moved elsewhere, with no library path, it
# finds its libraries, its XML Schema module and the register dictionary it carries.
mv "$scratch/prefix" "$scratch/moved"
version=$(env -u LD_LIBRARY_PATH "$scratch/moved/bin/xsddict" --version)
case "$version" in
  *"built-in dictionary: SMPTE register snapshot of "*"$scratch/moved/"*) ;;
  *) echo "installed xsddict --version: $version"; exit 1 ;;
esac
env -u LD_LIBRARY_PATH "$scratch/moved/bin/xsddict" mxf --json "$mxfFile" > "$scratch/read.json" \
  || { echo "installed xsddict mxf failed"; exit 1; }
grep -q '"operationalPattern"' "$scratch/read.json" || { echo "installed xsddict mxf read nothing"; exit 1; }
env -u LD_LIBRARY_PATH "$scratch/moved/bin/xsddict" summary "$tinyDictionary" > /dev/null \
  || { echo "installed xsddict cannot load a schema"; exit 1; }
echo "installed xsddict reads $(basename "$mxfFile") with its built-in dictionary"

#!/usr/bin/env bash
# Every output the tool gives for the fixtures and the corpus, written to a folder, so that a
# change that should change no output can be held against the outputs from before it:
#   scripts/outputs.sh XSDDICT OUT          writes OUT (one file per command and input)
#   scripts/outputs.sh --compare A B        the differences between two such folders; exit 1 if any
# Each output file holds the command's standard output, then its standard error and exit status.
set -uo pipefail
cd "$(dirname "$0")/.."

if [ "${1:-}" = --compare ]; then
  [ $# -eq 3 ] || { echo "usage: $0 --compare BEFORE AFTER" >&2; exit 2; }
  if diff -r -q "$2" "$3"; then
    echo "$(find "$2" -type f | wc -l) outputs, all the same"
  else
    exit 1
  fi
  exit 0
fi
[ $# -eq 2 ] || { echo "usage: $0 XSDDICT OUT | $0 --compare BEFORE AFTER" >&2; exit 2; }
xsddict=$(realpath "$1")
out=$2
rm -rf "$out" && mkdir -p "$out"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# run NAME ARGS...: the output of one command, the scratch folder's path spelled the same in every run.
run() {
  local name=$1
  shift
  (cd "$scratch" && "$xsddict" "$@" > "$scratch/stdout" 2> "$scratch/stderr"; echo "exit $?" > "$scratch/rc")
  {
    sed "s|$scratch|SCRATCH|g; s|$PWD|SOURCE|g" "$scratch/stdout"
    echo "--- stderr"
    sed "s|$scratch|SCRATCH|g; s|$PWD|SOURCE|g" "$scratch/stderr"
    cat "$scratch/rc"
  } > "$out/$name"
}

files=(tests/MXF/fixtures/*.mxf)
[ -d ../shared/mxf-corpus ] && mapfile -t -O ${#files[@]} files < <(find ../shared/mxf-corpus -name '*.mxf' | sort)
for f in "${files[@]}"; do
  f=$(realpath "$f")
  n=$(echo "${f#"$PWD"/}" | sed 's|^.*mxf-corpus/|corpus/|; s|/|_|g')
  run "$n.mxf" mxf "$f"
  run "$n.mxf-walk" mxf --walk "$f"
  run "$n.json" mxf --json "$f"
  run "$n.json-walk" mxf --json --walk "$f"
  for p in header footer body auto; do
    run "$n.regxml-$p" regxml --partition "$p" "$f"
  done
  run "$n.report" report "$f" -o "$scratch/page.html"
  cp "$scratch/page.html" "$out/$n.report.html" 2> /dev/null
done
run fixtures.jsonl mxf --json -j 1 "$PWD/tests/MXF/fixtures"
run fixtures.report report -j 1 "$PWD/tests/MXF/fixtures" -o "$scratch/pages"
for page in "$scratch"/pages/*; do cp "$page" "$out/fixtures.report.$(basename "$page")"; done

# The dictionary commands, and the usage errors.
sample=samples/mxf-header.xsd
run summary summary "$(realpath $sample)"
run summary-json summary --json "$(realpath $sample)"
run dump dump "$(realpath $sample)"
run show show "$(realpath $sample)" EssenceDescription
run show-tag show "$(realpath $sample)" 3c.0a
run check check --json "$(realpath tests/tools/fixtures/findings.xsd)"
run check-text check "$(realpath tests/tools/fixtures/findings.xsd)"
run usage-none
run usage-unknown frobnicate
run usage-option dump --frobnicate "$(realpath $sample)"
run usage-mxf-none mxf
run usage-fail-on mxf --fail-on never "$(realpath tests/MXF/fixtures/d10.mxf)"
run usage-j mxf -j 0 "$(realpath tests/MXF/fixtures/d10.mxf)"
run usage-partition regxml --partition middle "$(realpath tests/MXF/fixtures/d10.mxf)"
run usage-set-both set "$(realpath tests/MXF/fixtures/d10.mxf)" -o x.mxf --in-place
run usage-set-none set "$(realpath tests/MXF/fixtures/d10.mxf)" 'Preface/Version=1'
run help --help
for command in summary dump check show import-registers compile mxf regxml report set apply; do
  run "help-$command" help "$command"
done
run version --version
echo "$(find "$out" -type f | wc -l) outputs in $out"

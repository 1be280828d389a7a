#!/usr/bin/env bash
# The manual page and the bash completion the build makes: the page renders with no groff
# warning and documents every command and option the program knows; the completion offers
# commands, each command's options and the values of those that take a few.
set -euo pipefail
xsddict=$1 page=$2 completion=$3
fail() { echo "$*"; exit 1; }

warnings=$(groff -man -ww -z "$page" 2>&1) || true
[ -z "$warnings" ] || fail "groff: $warnings"
commands=$("$xsddict" --help | sed -n 's/^  \([a-z][a-z-]*\) .*/\1/p' | grep -v '^help$' | sort -u)
for command in $commands; do
  grep -qF ".SS \"$(printf '%s' "$command" | sed 's/-/\\-/g') " "$page" || fail "the page lacks $command"
  for option in $("$xsddict" help "$command" | sed -n 's/^  \(-[-a-z]*\).*/\1/p'); do
    [ "$option" = "--" ] && continue
    grep -qF -- "$(printf '%s' "$option" | sed 's/-/\\-/g')" "$page" || fail "the page lacks $command $option"
  done
done

# shellcheck source=/dev/null
source "$completion"
offered() {
  COMP_WORDS=("$@"); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); COMPREPLY=()
  _xsddict
  echo "${COMPREPLY[*]}"
}
[ "$(offered xsddict m)" = "mxf" ] || fail "xsddict m: $(offered xsddict m)"
[ "$(offered xsddict help re)" = "regxml report recover" ] || fail "help re: $(offered xsddict help re)"
[ "$(offered xsddict mxf --js)" = "--json --jsonl" ] || fail "mxf --js: $(offered xsddict mxf --js)"
[ "$(offered xsddict regxml --partition "")" = "auto header footer body" ] || fail "--partition"
[ "$(offered xsddict mxf --fail-on w)" = "warning" ] || fail "--fail-on w"
[ -z "$(offered xsddict mxf -j "")" ] || fail "-j offers $(offered xsddict mxf -j "")"
[ "$(offered xsddict summary --j)" = "--json" ] || fail "summary --j"
echo "the page documents $(echo "$commands" | wc -w) commands; the completion answers"

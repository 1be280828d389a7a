#!/usr/bin/env bash
# Every symbol the shared library exports belongs to the loader, the model or the public XML
# file reader: nothing of the XML utilities' internals, the loader's implementation object, or
# the XML libraries leaks out.
set -euo pipefail
library=$1
exported=$(nm -D --defined-only --demangle "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }')
[ -n "$exported" ] || { echo "no exported symbols in $library"; exit 1; }
bad=$(printf '%s\n' "$exported" | grep -v -E 'Velmar::SDK::' | grep -v -E '^_(init|fini)$' || true)
internal=$(printf '%s\n' "$exported" | grep -v -E 'XMLUtils::XMLFileReader' |
  grep -E 'XMLUtils::|XSDDictionaryLoaderImpl|Aggregat|XPathEvaluator|SchemaParser|SourcePositions|XMLFileParsing' || true)
if [ -n "$bad$internal" ]; then
  echo "exported symbols outside the loader and the model:"
  printf '%s\n' "$bad" "$internal" | grep -v '^$' | head -40
  exit 1
fi
grep -q 'Velmar::SDK::MetaMetadata::Loading::XSDDictionaryLoader::load' <<<"$exported" ||
  { echo "the loader is not exported"; exit 1; }
echo "$(printf '%s\n' "$exported" | wc -l) exported symbols, all of the loader and the model"

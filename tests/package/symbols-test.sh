#!/usr/bin/env bash
# The names the shared library exports (its dynamic symbol table, demangled, without addresses
# and kinds, sorted), compared with tests/package/expected-symbols.txt; prints the difference.
# With --update, writes the list instead: after a change of resources/kvrcolor-exports.txt or of
# an exported class, review the difference and commit the new list.
# Usage: symbols-test.sh LIBRARY [--update]
set -euo pipefail
lib=$1
expected="$(cd "$(dirname "$0")" && pwd)/expected-symbols.txt"
actual=$(mktemp)
trap 'rm -f "$actual"' EXIT
# "address kind name": the name may contain spaces.
nm -D --defined-only -C "$lib" | cut -d' ' -f3- | LC_ALL=C sort -u >"$actual"
[ -s "$actual" ] || { echo "$lib exports nothing"; exit 1; }
if [ "${2:-}" = "--update" ]; then
  cp "$actual" "$expected"
  echo "wrote $(wc -l <"$expected") names to $expected"
  exit 0
fi
diff -u "$expected" "$actual" || {
  echo "libKVRCOLOR.so exports other names than tests/package/expected-symbols.txt (above: - no"
  echo "longer exported, + newly exported). If intended: cmake --build BUILD --target update_exported_symbols"
  exit 1
}
echo "exported names: $(wc -l <"$actual"), as expected"

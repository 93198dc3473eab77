#!/usr/bin/env bash
# Checks that C++ sources are as clang-format (the repository's .clang-format) writes them.
#
#   bash scripts/format-check.sh          every tracked source
#   bash scripts/format-check.sh BASE     only the sources changed since the commit BASE
#
# Prints the files that differ and exits non-zero; `clang-format -i FILE` fixes one.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -gt 0 ]; then
    mapfile -t files < <(git diff --name-only --diff-filter=ACMR "$1" -- '*.cpp' '*.h')
else
    mapfile -t files < <(git ls-files -- '*.cpp' '*.h')
fi
[ ${#files[@]} -eq 0 ] && exit 0
bad=()
for f in "${files[@]}"; do
    clang-format --dry-run --Werror "$f" >/dev/null 2>&1 || bad+=("$f")
done
if [ ${#bad[@]} -gt 0 ]; then
    echo "format-check: not as clang-format writes them (run clang-format -i):" >&2
    printf '  %s\n' "${bad[@]}" >&2
    exit 1
fi

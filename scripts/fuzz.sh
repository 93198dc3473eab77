#!/usr/bin/env bash
# Builds one fuzz target of fuzz/ with clang and libFuzzer (folder build-fuzz) and runs it for a
# number of minutes over a work copy of its corpus, then prints the executions, the coverage
# and every finding with the top of its stack.
#
# Usage: scripts/fuzz.sh TARGET MINUTES
#   TARGET: profile_read, profile_use, archive, link, settings or pdf_profile
# One worker process; the run goes on past crashes, timeouts and running out of memory, so one
# run may find several faults. Findings are written to build-fuzz/work/TARGET/artifacts/; keep
# each one as fuzz/corpus-open/TARGET/crash-<what> with a line in fuzz/README.md.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ $# -ne 2 ]; then
  echo "usage: $0 TARGET MINUTES" >&2
  exit 2
fi
target=$1
minutes=$2
case "$target" in
  profile_read | profile_use | archive | link | settings | pdf_profile) ;;
  *) echo "unknown target '$target'" >&2; exit 2 ;;
esac
clangxx=$(command -v clang++-14 || command -v clang++ || true)
[ -n "$clangxx" ] || { echo "clang++ is missing (scripts/install-deps.sh --fuzz)" >&2; exit 1; }

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 \
  -DCMAKE_CXX_COMPILER="$clangxx" "${launcher[@]}" -DKVR_FUZZ=ON -DKVR_BUILD_TESTS=OFF \
  -DKVR_BUILD_BENCH=OFF >/dev/null
cmake --build build-fuzz -j"$(nproc)" --target "fuzz_$target"

work=build-fuzz/work/$target
mkdir -p "$work/corpus" "$work/artifacts"
cp -n fuzz/corpus/"$target"/* "$work/corpus/" 2>/dev/null || true
log=$work/fuzz.log
symbolizer=$(command -v llvm-symbolizer-14 || command -v llvm-symbolizer || true)
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0${symbolizer:+:external_symbolizer_path=$symbolizer}
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
before=$(ls "$work/artifacts" | wc -l)
set +e
"./build-fuzz/fuzz_$target" "$work/corpus" -fork=1 -ignore_crashes=1 -ignore_ooms=1 \
  -ignore_timeouts=1 -timeout=20 -rss_limit_mb=2048 -max_total_time=$((minutes * 60)) \
  -artifact_prefix="$work/artifacts/" >"$log" 2>&1
set -e

# The last statistics line of the engine's fork mode:
# "#EXECS: cov: N ft: N corp: N exec/s N oom/timeout/crash: A/B/C time: Ns job: N ...".
stats=$(grep -E '^#[0-9]+: cov:' "$log" | tail -1)
execs=$(sed -E 's/^#([0-9]+):.*/\1/' <<<"$stats")
seconds=$(grep -oE '[[:space:]]time: [0-9]+' <<<"$stats" | awk '{print $2}')
echo "== $target, $minutes min"
echo "stats: $stats"
echo "execs: $execs" "exec/s: $((execs / (seconds > 0 ? seconds : 1))) (whole run)" \
  "cov: $(grep -oE 'cov: [0-9]+' <<<"$stats" | cut -d' ' -f2)" \
  "ft: $(grep -oE 'ft: [0-9]+' <<<"$stats" | cut -d' ' -f2)"
after=$(ls "$work/artifacts" | wc -l)
echo "findings: $((after - before)) new, $after in $work/artifacts"
# Each finding replayed once for its report: the kind of fault and the top frames.
for f in "$work"/artifacts/*; do
  [ -f "$f" ] || continue
  echo "-- $f"
  "./build-fuzz/fuzz_$target" "$f" 2>&1 |
    grep -E 'ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error|SUMMARY|^ *#[0-5] ' |
    head -12
done

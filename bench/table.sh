#!/usr/bin/env bash
# The whole speed table from one run: the machine (CPU model and flags), the link's build and
# pixel figures beside lcms2 (bench_LinkBench's closing table), the pixel path at each SIMD level
# beside lcms2 (bench_SimdBench), and whole conversions by the command-line tool beside tificc
# (lcms2) and cctiff (Argyll) from bench/speed.sh, each with its ratio and goal:
#   - a 64 x 64 image, whole process, CPU time: kvrcolor at most 1.5 x tificc's;
#   - an 8192 x 8192 noise image, whole process, one thread, CPU time: kvrcolor at least 3 x
#     faster than tificc (and shown beside cctiff).
# speed.sh also prints the speed-up of all cores over one thread, from CPU and from wall time.
#
#   bash bench/table.sh [RUNS]       (default 5 runs of each whole conversion)
# LINKBENCH_ARGS are given to bench_LinkBench (default --benchmark_repetitions=3); SIMDBENCH_ARGS
# to bench_SimdBench (default: its own repetitions).
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."

runs=${1:-5}
build=${KVR_BUILD_DIR:-build}
if [ ! -f "$build/CMakeCache.txt" ]; then
    echo "table: no $build/ yet; configure with -DKVR_BUILD_BENCH=ON first." >&2
    exit 1
fi
cmake --build "$build" -j"$(nproc)" --target bench_LinkBench bench_SimdBench >/dev/null

dir=$(mktemp -d "${TMPDIR:-/tmp}/kvrtable.XXXXXX")
trap 'rm -rf "$dir"' EXIT

echo "== Machine"
lscpu | sed -n 's/^Model name: *//p' | head -n 1 | sed 's/^/CPU: /'
echo "Cores: $(nproc); load average before the runs: $(cut -d' ' -f1-3 /proc/loadavg)"
lscpu | sed -n 's/^Flags: *//p' | tr ' ' '\n' |
    grep -E '^(sse4_2|avx|avx2|fma|bmi2|avx512[a-z_0-9]*|gfni|vaes)$' | tr '\n' ' ' |
    sed 's/^/SIMD flags: /;s/ $/\n/'
echo

echo "== Building links and converting pixels, beside lcms2 (bench_LinkBench)"
# shellcheck disable=SC2086
"$build/bench/bench_LinkBench" ${LINKBENCH_ARGS:---benchmark_repetitions=3} >"$dir/link.txt" \
    2>"$dir/link.err" || { cat "$dir/link.err" >&2; exit 1; }
# Only the closing table: the per-run lines above it are Google Benchmark's own.
if ! grep -q '^Median over the repetitions' "$dir/link.txt"; then
    echo "table: bench_LinkBench printed no closing table" >&2
    exit 1
fi
sed -n '/^Median over the repetitions/,$p' "$dir/link.txt"
echo

echo "== The 8-bit pixel path at each SIMD level, beside lcms2 (bench_SimdBench)"
# shellcheck disable=SC2086
"$build/bench/bench_SimdBench" ${SIMDBENCH_ARGS:-} >"$dir/simd.txt" 2>"$dir/simd.err" ||
    { cat "$dir/simd.err" >&2; exit 1; }
cat "$dir/simd.txt"
echo

echo "== Whole conversions, RGB TIFF to CMYK TIFF (bench/speed.sh)"
export SPEED_RESULTS=$dir/speed.txt
bash bench/speed.sh 64 "$runs"
echo
bash bench/speed.sh 8192 "$runs"
echo

# The figures of the tool against the goals, from the medians speed.sh wrote.
# $1 size, $2 image, $3 tool, $4 field (4 wall, 5 cpu).
value() { awk -v s="$1" -v k="$2" -v t="$3" -v f="$4" '$1 == s && $2 == k && $3 == t { print $f }' "$SPEED_RESULTS"; }
echo "== The tool against its goals (median CPU seconds of the whole process)"
printf '%-46s %9s %9s %9s %8s  %s\n' case kvrcolor tificc cctiff ratio goal
row() { # name kvr tificc cctiff ratio goal_text met
    printf '%-46s %9.2f %9.2f %9.2f %7.2fx  %s %s\n' "$1" "$2" "$3" "$4" "$5" "$6" "$7"
}
for kind in noise smooth; do
    k=$(value 64 "$kind" kvrcolor 5)
    t=$(value 64 "$kind" tificc 5)
    c=$(value 64 "$kind" cctiff 5)
    # kvrcolor's time over tificc's: at most 1.5.
    read -r ratio met < <(awk -v k="$k" -v t="$t" \
        'BEGIN { r = t > 0 ? k / t : 0; print r, (t > 0 && r <= 1.5) ? "met" : "not met" }')
    row "64x64 $kind, kvrcolor / tificc CPU" "$k" "$t" "$c" "$ratio" "<= 1.5x" "$met"
done
for kind in noise smooth; do
    k=$(value 8192 "$kind" kvrcolor-1 5)
    t=$(value 8192 "$kind" tificc 5)
    c=$(value 8192 "$kind" cctiff 5)
    # tificc's time over kvrcolor's: at least 3 on noise; cctiff's shown beside. A smooth image
    # is shown for comparison only: most of its pixels repeat the one before, which both tools
    # take from a cache, so reading and writing make most of the time.
    read -r ratio vsc met < <(awk -v k="$k" -v t="$t" -v c="$c" \
        'BEGIN { r = k > 0 ? t / k : 0; print r, (k > 0 ? c / k : 0), (k > 0 && r >= 3) ? "met" : "not met" }')
    goal=">= 3x"
    if [ "$kind" = smooth ]; then goal="-" met="(no goal)"; fi
    row "8192^2 $kind 1 thread, tificc / kvrcolor CPU" "$k" "$t" "$c" "$ratio" "$goal" "$met (cctiff / kvrcolor $(printf '%.2f' "$vsc")x)"
done

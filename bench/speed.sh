#!/usr/bin/env bash
# Speed of whole conversions, 8-bit RGB TIFF to 8-bit CMYK TIFF, beside two independent tools:
# lcms2's tificc and Argyll's cctiff. All three get the same two profiles (the installed default
# RGB and printer profiles), the same intent (relative colorimetric), uncompressed output and the
# printer profile embedded. Each conversion is timed as a whole process (reading, converting,
# writing) by wall clock; the table shows the median of the runs and the ratio of each time to
# kvrcolor's time (above 1: kvrcolor is faster). kvrcolor uses every core by default, the other
# two tools one; kvrcolor is also shown with one thread.
#
#   bash bench/speed.sh [SIZE [RUNS]]      (default 8192 pixels square, 5 runs)
# RGB_PROFILE and PRINTER_PROFILE override the profiles; TMPDIR chooses the scratch folder;
# KVRCOLOR_PROGRAM the kvrcolor measured (a copy of an earlier build, to compare in one run).
# SPEED_RESULTS names a file to which each median is appended as a line "size image tool wall
# cpu" (tool: kvrcolor, kvrcolor-1, tificc, cctiff), for bench/table.sh.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."

size=${1:-8192}
runs=${2:-5}
build=${KVR_BUILD_DIR:-build}
tool=${KVRCOLOR_PROGRAM:-$PWD/$build/tools/kvrcolor/kvrcolor}
mkimage=$PWD/$build/tools/demoimage/kvrmkimage

if [ ! -f "$build/CMakeCache.txt" ]; then
    echo "speed: no $build/ yet; run 'bash scripts/demo.sh' first." >&2
    exit 1
fi
if ! command -v tificc >/dev/null || ! command -v cctiff >/dev/null || [ ! -x /usr/bin/time ]; then
    bash scripts/install-deps.sh --test-data # liblcms2-utils (tificc), argyll (cctiff), time
fi
cmake --build "$build" -j"$(nproc)" --target kvrcolor_cli kvrmkimage kvrdefaults >/dev/null
# The profiles are installed again only into the build's own folder, where scripts/demo.sh
# puts them, never into a system prefix.
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
if [ "$prefix" = "$PWD/$build/install" ]; then cmake --install "$build" >/dev/null; fi
base=$(sed -n 's/^KVR_PROFILE_BASE:PATH=//p' "$build/CMakeCache.txt")
base=${base:-$prefix/share/kvrcolor/profiles}
if ! compgen -G "$base/Printer/*.ic[cm]" >/dev/null; then
    echo "speed: no default printer profile in '$base'; run 'bash scripts/demo.sh' first." >&2
    exit 1
fi

# The tool's own defaults: the configured InputRgb file (sRGB.icc) if it is there, else the
# first profile of the folder; the first profile of the folder Printer.
first() { find "$base/$1" -maxdepth 1 -name '*.ic[cm]' | sort | head -n 1; }
if [ -f "$base/InputRgb/sRGB.icc" ]; then rgb_default=$base/InputRgb/sRGB.icc; else rgb_default=$(first InputRgb); fi
rgb=${RGB_PROFILE:-$rgb_default}
printer=${PRINTER_PROFILE:-$(first Printer)}
for p in "$rgb" "$printer"; do
    if [ ! -f "$p" ]; then
        echo "speed: profile '$p' not found; run 'bash scripts/demo.sh' first." >&2
        exit 1
    fi
done

dir=$(mktemp -d "${TMPDIR:-/tmp}/kvrspeed.XXXXXX")
trap 'rm -rf "$dir"' EXIT
: >"$dir/kvrcolor.ini" # compiled-in settings, whatever the user's settings file says
export KVR_INI="$dir/kvrcolor.ini"

# Runs a command once; prints "wall cpu" in seconds (cpu = user + system of the process).
timed() {
    local t0 t1
    rm -f "$dir/out.tif"
    t0=$EPOCHREALTIME
    if ! /usr/bin/time -f '%U %S' -o "$dir/cpu.txt" "$@" >"$dir/log.txt" 2>&1; then
        echo "speed: failed: $*" >&2
        cat "$dir/log.txt" >&2
        exit 1
    fi
    t1=$EPOCHREALTIME
    awk -v a="$t0" -v b="$t1" '{ printf "%.3f %.2f\n", b - a, $1 + $2 }' "$dir/cpu.txt"
}

# Median of the numbers on standard input.
median() {
    sort -g | awk '{ v[NR] = $1 } END { if (NR % 2) print v[(NR + 1) / 2]; else print (v[NR / 2] + v[NR / 2 + 1]) / 2 }'
}

# Checks that the last output is an uncompressed 8-bit CMYK TIFF of the right size.
check_output() {
    local info
    info=$(tiffinfo "$dir/out.tif" 2>/dev/null)
    if ! grep -q 'Photometric Interpretation: separated' <<<"$info" ||
        ! grep -q 'Samples/Pixel: 4' <<<"$info" ||
        ! grep -q 'Bits/Sample: 8' <<<"$info" ||
        ! grep -q "Image Width: $size Image Length: $size" <<<"$info"; then
        echo "speed: $1 did not write an 8-bit CMYK TIFF of $size x $size:" >&2
        echo "$info" >&2
        exit 1
    fi
    sed -n 's/^ *Compression Scheme: //p' <<<"$info" | head -n 1
}

nthreads=$(nproc)
names=("kvrcolor ($nthreads threads)" "kvrcolor --threads 1" "tificc" "cctiff")
keys=(kvrcolor kvrcolor-1 tificc cctiff)
mpix=$(awk -v s="$size" 'BEGIN { printf "%.1f", s * s / 1e6 }')
echo "Profiles: $rgb -> $printer"
echo "Intent: relative colorimetric; $size x $size pixels ($mpix MPixel), 8-bit RGB to 8-bit CMYK;"
echo "median of $runs runs, whole-process wall time; cpu = user + system time."
echo "Load average before the runs: $(cut -d' ' -f1-3 /proc/loadavg) on $(nproc) cores."
echo

printf '%-7s %-22s %8s %8s %9s %10s %10s  %s\n' image tool wall_s cpu_s MPixel/s '/kvrcolor' \
    '/kvr_1thr' output
for kind in noise smooth; do
    "$mkimage" "$kind" "$size" "$size" "$dir/in.tif" --quiet
    cmds=(
        "$tool convert $dir/in.tif $dir/out.tif --from $rgb --to $printer --intent 2 --compress none --quiet"
        "$tool convert $dir/in.tif $dir/out.tif --from $rgb --to $printer --intent 2 --compress none --quiet --threads 1"
        "tificc -i$rgb -o$printer -t1 -e $dir/in.tif $dir/out.tif"
        "cctiff -N -e $printer -i r $rgb -i r $printer $dir/in.tif $dir/out.tif"
    )
    walls=()
    cpus=()
    comps=()
    for i in "${!cmds[@]}"; do
        w_runs=()
        c_runs=()
        for ((r = 0; r < runs; r++)); do
            # Word splitting of the command line is intended: no path here holds blanks.
            # shellcheck disable=SC2086
            t=$(timed ${cmds[$i]})
            w_runs+=("${t% *}")
            c_runs+=("${t#* }")
        done
        comps+=("$(check_output "${names[$i]}")")
        walls+=("$(printf '%s\n' "${w_runs[@]}" | median)")
        cpus+=("$(printf '%s\n' "${c_runs[@]}" | median)")
    done
    for i in "${!cmds[@]}"; do
        awk -v kind="$kind" -v name="${names[$i]}" -v w="${walls[$i]}" -v c="${cpus[$i]}" \
            -v k="${walls[0]}" -v k1="${walls[1]}" -v s="$size" -v comp="${comps[$i]}" \
            'BEGIN { printf "%-7s %-22s %8.3f %8.2f %9.1f %10.2f %10.2f  %s\n",
                     kind, name, w, c, s * s / 1e6 / w, w / k, w / k1, comp }'
        if [ -n "${SPEED_RESULTS:-}" ]; then
            echo "$size $kind ${keys[$i]} ${walls[$i]} ${cpus[$i]}" >>"$SPEED_RESULTS"
        fi
    done
    # The gain of the threads: wall time of one thread over wall time of all; CPU time of all
    # over CPU time of one (what the threads cost beyond the work itself, 1 at best).
    awk -v kind="$kind" -v n="$nthreads" -v w="${walls[0]}" -v w1="${walls[1]}" \
        -v c="${cpus[0]}" -v c1="${cpus[1]}" \
        'BEGIN { printf "%-7s speed-up of %d threads over one: wall %.2fx; cpu %.2fx that of one thread\n",
                 kind, n, (w > 0 ? w1 / w : 0), (c1 > 0 ? c / c1 : 0) }'
done

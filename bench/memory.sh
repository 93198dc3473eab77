#!/usr/bin/env bash
# Peak memory of a large conversion: makes a 20000 x 20000 8-bit RGB TIFF (1.2 GB) of random
# pixels in a temporary folder, converts it to CMYK with `kvrcolor convert` on the defaults, and
# compares the peak resident set size with the limit (256 MiB). The temporary folder is removed
# at the end. Needs the build of scripts/demo.sh and about 3 GB free below $TMPDIR (or /tmp).
#
#   bash bench/memory.sh [WIDTH HEIGHT]      (default 20000 20000)
set -euo pipefail
cd "$(dirname "$0")/.."

width=${1:-20000}
height=${2:-20000}
limit_mib=256
build=${KVR_BUILD_DIR:-build}
tool=$build/tools/kvrcolor/kvrcolor
mkimage=$build/tools/demoimage/kvrmkimage

if [ ! -f "$build/CMakeCache.txt" ]; then
    echo "memory: no $build/ yet; run 'bash scripts/demo.sh' first." >&2
    exit 1
fi
[ -x /usr/bin/time ] || bash scripts/install-deps.sh
cmake --build "$build" -j"$(nproc)" --target kvrcolor_cli kvrmkimage kvrdefaults >/dev/null
# The profiles are installed again only into the build's own folder, where scripts/demo.sh
# puts them, never into a system prefix.
prefix=$(sed -n 's/^CMAKE_INSTALL_PREFIX:PATH=//p' "$build/CMakeCache.txt")
if [ "$prefix" = "$PWD/$build/install" ]; then cmake --install "$build" >/dev/null; fi
base=$(sed -n 's/^KVR_PROFILE_BASE:PATH=//p' "$build/CMakeCache.txt")
base=${base:-$prefix/share/kvrcolor/profiles}
if ! compgen -G "$base/Printer/*.ic[cm]" >/dev/null; then
    echo "memory: no default printer profile in '$base'; run 'bash scripts/demo.sh' first." >&2
    exit 1
fi

# Input (3 bytes a pixel) and output (4 bytes a pixel), plus 10 % to spare.
need_kib=$(((width * height * 7 / 1024) * 11 / 10))
tmp_base=${TMPDIR:-/tmp}
avail_kib=$(df -Pk "$tmp_base" | awk 'NR == 2 { print $4 }')
if [ "$avail_kib" -lt "$need_kib" ]; then
    printf 'memory: needs %.1f GiB free in %s, only %.1f GiB available.\n' \
        "$(awk -v k="$need_kib" 'BEGIN { print k / 1048576 }')" "$tmp_base" \
        "$(awk -v k="$avail_kib" 'BEGIN { print k / 1048576 }')" >&2
    echo "memory: set TMPDIR to a folder with more space." >&2
    exit 2
fi

dir=$(mktemp -d "$tmp_base/kvrmemory.XXXXXX")
trap 'rm -rf "$dir"' EXIT
# Defaults only: an empty settings file leaves every key at its compiled-in value.
: >"$dir/kvrcolor.ini"
export KVR_INI="$dir/kvrcolor.ini"

echo "Making a ${width} x ${height} 8-bit RGB TIFF of random pixels ..."
"$mkimage" noise "$width" "$height" "$dir/in.tif" --quiet
echo "Converting it to CMYK with the default profiles ..."
/usr/bin/time -v -o "$dir/time.txt" "$tool" convert "$dir/in.tif" "$dir/out.tif" &
tpid=$!
# Beside the peak that time reports, the split of the resident memory into anonymous memory
# (heap, stacks) and file pages (mapped files), sampled five times a second: it tells a buffer
# that grows from a file mapped whole.
anon_max=0
file_max=0
while kill -0 "$tpid" 2>/dev/null; do
    cpid=$(cat "/proc/$tpid/task/$tpid/children" 2>/dev/null || true)
    cpid=${cpid%% *}
    if [ -n "$cpid" ] && [ -r "/proc/$cpid/status" ]; then
        read -r a f < <(awk '/^RssAnon:/ { a = $2 } /^RssFile:/ { f = $2 } END { print a + 0, f + 0 }' \
            "/proc/$cpid/status" 2>/dev/null || echo "0 0")
        [ "${a:-0}" -gt "$anon_max" ] && anon_max=$a
        [ "${f:-0}" -gt "$file_max" ] && file_max=$f
    fi
    sleep 0.2
done
if ! wait "$tpid"; then
    echo "memory: the conversion failed" >&2
    cat "$dir/time.txt" >&2
    exit 1
fi

if ! tiffinfo "$dir/out.tif" 2>/dev/null | grep -q 'Photometric Interpretation: separated'; then
    echo "memory: the output is not a CMYK TIFF" >&2
    exit 1
fi
rss_kib=$(sed -n 's/.*Maximum resident set size (kbytes): *\([0-9]*\).*/\1/p' "$dir/time.txt")
wall=$(sed -n 's/.*Elapsed (wall clock) time (h:mm:ss or m:ss): *//p' "$dir/time.txt")
rss_mib=$(awk -v k="$rss_kib" 'BEGIN { printf "%.1f", k / 1024 }')
echo "Input $(du -m "$dir/in.tif" | cut -f1) MiB, output $(du -m "$dir/out.tif" | cut -f1) MiB," \
    "wall time $wall"
awk -v a="$anon_max" -v f="$file_max" \
    'BEGIN { printf "Sampled peaks: anonymous %.1f MiB, file pages %.1f MiB\n", a / 1024, f / 1024 }'
if [ "$rss_kib" -le $((limit_mib * 1024)) ]; then
    echo "Peak resident memory: $rss_mib MiB (limit $limit_mib MiB): PASS"
else
    echo "Peak resident memory: $rss_mib MiB (limit $limit_mib MiB): FAIL"
    exit 1
fi

#!/usr/bin/env bash
# Installs what is missing, builds the command-line tool, installs the built-in default profiles
# below build/install, makes a demonstration picture in RGB and converts it to CMYK with nothing
# but the defaults: the source is the default RGB profile, the destination the default printer,
# both found below the compiled-in profile base path. Beside the CMYK it writes the soft proof, the
# picture on the monitor as the default printer prints it, as a PNG.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh

# build/ as every script configures it: installed below build/install, whose
# share/kvrcolor/profiles is the compiled-in profile base path.
profiles="$PWD/build/install/share/kvrcolor/profiles"
bash scripts/configure.sh
echo "Building the command-line tool, the image generator and the default profiles" \
    "(the first time takes a few minutes; the generators themselves run for seconds) ..."
cmake --build build -j"$(nproc)" --target kvrcolor_cli kvrmkimage kvrdefaults >/dev/null
cmake --install build >/dev/null

out=build/demo
mkdir -p "$out"
# An empty settings file: every key takes its compiled-in default, whatever $KVR_INI or the
# user's own settings file say (the repository's resources/kvrcolor.ini names another base path).
printf '; Empty on purpose: every key takes its built-in default.\n' >"$out/kvrcolor.ini"
export KVR_INI="$PWD/$out/kvrcolor.ini"

rm -f "$out/demo-rgb.tif" "$out/demo-cmyk.tif" "$out/demo-proof.png"
build/tools/demoimage/kvrmkimage demo "$out/demo-rgb.tif" --quiet
summary=$(build/tools/kvrcolor/kvrcolor convert "$out/demo-rgb.tif" "$out/demo-cmyk.tif")
# The soft proof: the same pixels through the printer's preview to the monitor (here the default
# RGB profile, which the PNG carries).
build/tools/kvrcolor/kvrcolor proof "$out/demo-rgb.tif" "$out/demo-proof.png"

# The result must be a CMYK TIFF that carries the printer profile.
info=$(tiffinfo "$out/demo-cmyk.tif" 2>/dev/null)
if ! grep -q 'Photometric Interpretation: separated' <<<"$info" ||
    ! grep -q 'Samples/Pixel: 4' <<<"$info" ||
    ! grep -q 'ICC Profile: <present>' <<<"$info"; then
    echo "demo: $out/demo-cmyk.tif is not a CMYK TIFF with an ICC profile:" >&2
    echo "$info" >&2
    exit 1
fi
icc=$(sed -n 's/.*ICC Profile: <present>, \([0-9]*\) bytes.*/\1/p' <<<"$info")

# The defaults that the tool takes here: the first profile of each folder below the base path
# (the settings name files, InputRgb=sRGB.icc, that the default installation doesn't have).
first() { find "$profiles/$1" -maxdepth 1 -name '*.ic[cm]' | LC_ALL=C sort | head -n 1; }
describe() { build/tools/kvrcolor/kvrcolor info "$1" | sed -n 's/^Description: *//p'; }
src=$(first InputRgb)
dst=$(first Printer)
if [ "$icc" != "$(stat -c %s "$dst")" ]; then
    echo "demo: the embedded profile is not the default printer profile $dst" >&2
    exit 1
fi

echo
echo "Input:  $out/demo-rgb.tif (1600 x 1000, 8-bit RGB, no embedded profile)"
echo "Output: $out/demo-cmyk.tif (8-bit CMYK, printer profile embedded, $icc bytes)"
echo "Proof:  $out/demo-proof.png (8-bit RGB, how the printer prints it, for the monitor)"
echo "Default profiles below $profiles:"
echo "  source      ${src#"$profiles/"} ($(describe "$src"))"
echo "  destination ${dst#"$profiles/"} ($(describe "$dst"))"
echo "$summary"

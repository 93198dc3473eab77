#!/usr/bin/env bash
# The installed package as another C++ project meets it:
# 1. installs the build into a fresh prefix;
# 2. builds a small program against it through the CMake package and through pkg-config, and
#    runs both: the profile folder is the prefix's, a link is built there;
# 3. moves the whole prefix elsewhere and runs both programs again: the library is found from
#    the programs' place (run path) and the profiles from the library's; the installed tool finds
#    them from its own place;
# 4. checks the SONAME and that the library records only the libraries it calls.
# Usage: package-test.sh BUILD_DIR
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset KVR_PROFILE_BASE

cmake --install "$build" --prefix "$work/prefix" >/dev/null
libdir=$(dirname "$(find "$work/prefix" -name 'libKVRCOLOR.so' | head -1)")
[ -n "$libdir" ] || { echo "no libKVRCOLOR.so installed"; exit 1; }

# Through the CMake package.
cmake -S "$here/consumer" -B "$work/cmake-build" -DCMAKE_PREFIX_PATH="$work/prefix" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_RPATH_USE_LINK_PATH=ON \
  -DCMAKE_BUILD_RPATH="$libdir" >/dev/null
cmake --build "$work/cmake-build" >/dev/null
# Through pkg-config, with a run path relative to the program, as a packager would set it.
mkdir -p "$work/prefix/bin"
export PKG_CONFIG_PATH="$libdir/pkgconfig"
rel=$(realpath --relative-to="$work/prefix/bin" "$libdir")
# shellcheck disable=SC2046
g++ -std=c++20 "$here/consumer/main.cpp" -o "$work/prefix/bin/consumer-pc" \
  $(pkg-config --cflags --libs kvrcolor) -Wl,-rpath,"\$ORIGIN/$rel"
cp "$work/cmake-build/consumer" "$work/prefix/bin/consumer-cmake"

expect_base() {
  local program=$1 base=$2 out
  out=$("$program")
  echo "$out" | grep -qx "base $base" || { echo "$program: $out (expected base $base)"; exit 1; }
  echo "$out" | grep -q '^red [0-9]* [0-9]* [0-9]* [0-9]*$' || { echo "$program: $out"; exit 1; }
}
expect_base "$work/prefix/bin/consumer-cmake" "$work/prefix/share/kvrcolor/profiles"
expect_base "$work/prefix/bin/consumer-pc" "$work/prefix/share/kvrcolor/profiles"

# The prefix moved: the program with the relative run path still finds the library, and the
# library its profiles.
mv "$work/prefix" "$work/moved"
expect_base "$work/moved/bin/consumer-pc" "$work/moved/share/kvrcolor/profiles"
# The command-line tool carries the library's code itself: it finds the default profiles from
# its own folder, so that a conversion on the defaults works in the moved tree.
: >"$work/empty.ini"
out=$(KVR_INI="$work/empty.ini" "$work/moved/bin/kvrcolor" lookup "255 0 0" 2>&1) ||
  { echo "the moved tool does not find its profiles: $out"; exit 1; }
# The environment names another folder (without profiles, so the link fails there).
out=$(KVR_PROFILE_BASE=/elsewhere "$work/moved/bin/consumer-pc" || true)
echo "$out" | grep -qx "base /elsewhere" || { echo "KVR_PROFILE_BASE is not taken: $out"; exit 1; }

lib="$work/moved/${libdir#"$work/prefix/"}/libKVRCOLOR.so"
soname=$(readelf -d "$lib" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
[ "$soname" = "libKVRCOLOR.so.0" ] || { echo "SONAME is '$soname'"; exit 1; }
readelf -d "$lib" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' | sort >"$work/needed.txt"
diff -u "$here/expected-needed.txt" "$work/needed.txt" ||
  { echo "the library records other libraries than expected (above)"; exit 1; }
echo "package: CMake and pkg-config consumers built and ran, also after a move; $soname"

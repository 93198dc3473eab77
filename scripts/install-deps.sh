#!/usr/bin/env bash
# Installs the Debian packages the project builds, tests and benchmarks with.
# Skips apt entirely when everything is already there, so repeated runs are quick.
set -euo pipefail
pkgs=(
  build-essential cmake ninja-build lld pkg-config clang-format
  liblcms2-dev zlib1g-dev libssl-dev libpugixml-dev libtiff-dev libpng-dev libcli11-dev
  libqpdf-dev libzip-dev libjpeg-dev libhwy-dev libcpp-httplib-dev nlohmann-json3-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  libtiff-tools time
)
if [ "${1:-}" = "--test-data" ]; then
  # Real ICC profiles and independent tools used by the tests.
  pkgs+=(icc-profiles-free colord-data ghostscript argyll liblcms2-utils libtiff-tools qpdf)
  # The browser tests of kvrcolor ui: headless Chromium driven by Selenium.
  pkgs+=(chromium chromium-driver python3-selenium)
fi
if [ "${1:-}" = "--fuzz" ] || [ "${2:-}" = "--fuzz" ]; then
  # clang with libFuzzer and its sanitizer runtimes, for scripts/fuzz.sh.
  pkgs+=(clang-14 libclang-rt-14-dev llvm-14)
fi
missing=()
for p in "${pkgs[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"

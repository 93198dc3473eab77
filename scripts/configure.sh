#!/usr/bin/env bash
# Configures build/ the one way every script uses it (demonstration, tests, benchmarks), so
# that running them one after another never rebuilds: optimised at -O2 without debug
# information (assertions stay on), installed below build/install, whose
# share/kvrcolor/profiles becomes the compiled-in profile base path.
#
#   bash scripts/configure.sh [extra cmake arguments]
set -euo pipefail
cd "$(dirname "$0")/.."
# Ninja where build/ is new (a folder configured before keeps its generator).
generator=()
[ -f build/CMakeCache.txt ] || generator=(-G Ninja)
# The base path is also given by name: a build/ configured before with another prefix keeps
# its cached value otherwise.
cmake -S . -B build "${generator[@]}" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O2 \
    -DCMAKE_INSTALL_PREFIX="$PWD/build/install" \
    -DKVR_PROFILE_BASE="$PWD/build/install/share/kvrcolor/profiles" "$@" >/dev/null

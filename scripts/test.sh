#!/usr/bin/env bash
# Installs what is missing, checks the format of the sources, builds the library twice
# (optimised, and with AddressSanitizer and UndefinedBehaviorSanitizer) and runs every test of
# both builds, the replay of the fuzz corpora among them, then the tests of threads under
# ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh --test-data
jobs=$(nproc)
# Ninja for a new build folder; one configured before keeps its generator.
ninja_if_new() { [ -f "$1/CMakeCache.txt" ] || echo "-G Ninja"; }

# Sources as clang-format writes them; fails first, before anything is built.
bash scripts/format-check.sh

# No debug information in either build: it adds much of the compile and link time that the
# test run spends, and failures are reported by the tests and the sanitizers' own traces.
# The default build leaves out the benchmarks, which no test runs.
bash scripts/configure.sh
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

# -O1 keeps the sanitizers' reports exact and compiles faster than -O2.
# Each test program runs in a few shards there, not one process per test (tests/CMakeLists.txt).
# The generators of the built-in tables and default profiles run under the sanitizers too: they
# drive the profile and table code over whole grids, more of it than any test does.
# shellcheck disable=SC2046
cmake -S . -B build-asan $(ninja_if_new build-asan) -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DKVR_SANITIZE=ON -DKVR_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j"$jobs")

# The replay of the fuzz corpora (fuzz/corpus/) is part of both ctest runs above.
# ThreadSanitizer: only the test of one link shared by many threads, with the library.
# shellcheck disable=SC2046
cmake -S . -B build-tsan $(ninja_if_new build-tsan) -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DKVR_TSAN=ON -DKVR_BUILD_TESTS=OFF -DKVR_BUILD_BENCH=OFF >/dev/null
cmake --build build-tsan -j"$jobs" --target test_threads
TSAN_OPTIONS=halt_on_error=1 KVR_INI="$PWD/resources/kvrcolor.ini" build-tsan/test_threads

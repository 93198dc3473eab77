#!/usr/bin/env bash
# Installs what is missing, checks the format of the sources, builds the library twice
# (optimised, and with AddressSanitizer and UndefinedBehaviorSanitizer) and runs every test of
# both builds, the replay of the fuzz corpora among them, then the tests of threads under
# ThreadSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh --test-data
jobs=$(nproc)

# Sources as clang-format writes them; fails first, before anything is built.
bash scripts/format-check.sh

# No debug information in either build: it adds much of the compile and link time that the
# test run spends, and failures are reported by the tests and the sanitizers' own traces.
bash scripts/configure.sh
cmake --build build -j"$jobs"
(cd build && ctest --output-on-failure -j"$jobs")

# -O1 keeps the sanitizers' reports exact and compiles faster than -O2.
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DKVR_SANITIZE=ON \
  -DKVR_BUILD_BENCH=OFF >/dev/null
cmake --build build-asan -j"$jobs"
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 ctest --output-on-failure -j"$jobs")

# The replay of the fuzz corpora (fuzz/corpus/) is part of both ctest runs above.
# ThreadSanitizer: only the test of one link shared by many threads, with the library.
cmake -S . -B build-tsan -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_FLAGS_RELEASE=-O1 -DKVR_TSAN=ON \
  -DKVR_BUILD_TESTS=OFF -DKVR_BUILD_BENCH=OFF >/dev/null
cmake --build build-tsan -j"$jobs" --target test_threads
TSAN_OPTIONS=halt_on_error=1 KVR_INI="$PWD/resources/kvrcolor.ini" build-tsan/test_threads

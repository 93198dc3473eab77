#!/usr/bin/env bash
# Installs what is missing, builds, and runs the demonstration on built-in defaults.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j"$(nproc)" --target kvrdemo
./build/tools/kvrdemo

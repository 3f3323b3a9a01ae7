#!/usr/bin/env bash
# Builds the library and the ozrj program, then runs the main job.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release -DOZRJ_BUILD_TESTS=OFF > /dev/null
cmake --build build -j"$(nproc)" --target ozrj > build.log 2>&1 || { tail -50 build.log; exit 1; }
./build/tools/ozrj version
./build/tools/ozrj selftest

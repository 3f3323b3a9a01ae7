#!/usr/bin/env bash
# Builds the library and the ozrj program, then runs the main job: every
# pipeline on a generated photograph-like image, files written to out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake -S . -B build-demo -DCMAKE_BUILD_TYPE=Release -DOZRJ_BUILD_TESTS=OFF -DOZRJ_BUILD_BENCH=OFF > /dev/null
cmake --build build-demo -j"$(nproc)" --target ozrj > build-demo.log 2>&1 || { tail -50 build-demo.log; exit 1; }
./build-demo/tools/ozrj version
./build-demo/tools/ozrj selftest
mkdir -p out
./build-demo/tools/ozrj demo out/demo

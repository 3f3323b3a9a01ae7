#!/usr/bin/env bash
# Builds the library and runs every test: the unit tests, the exported-symbol
# and install checks, the unit tests again under ASan+UBSan, and the fuzz
# harnesses for a short bounded time.  Installs missing Debian packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
JOBS=${JOBS:-$(nproc)}

need=(cmake g++ make pkgconf libgtest-dev libbenchmark-dev clang libclang-rt-14-dev libomp-dev
      libjpeg62-turbo-dev libjpeg-turbo-progs libturbojpeg0-dev libtiff-dev libtiff-tools
      libopenjp2-tools libopenjp2-7-dev imagemagick libsquish-dev libstb-dev dcmtk)
missing=()
for p in "${need[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "== installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" > /dev/null
fi

echo "== release build and tests"
cmake -S . -B build-test -DCMAKE_BUILD_TYPE=Release > /dev/null
cmake --build build-test -j"$JOBS" > build-test.log 2>&1 || { tail -50 build-test.log; exit 1; }
(cd build-test && ctest --output-on-failure -j"$JOBS")

echo "== ASan+UBSan build and unit tests"
cmake -S . -B build-asan -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOZRJ_SANITIZE=ON \
      -DOZRJ_BUILD_BENCH=OFF > /dev/null
cmake --build build-asan -j"$JOBS" > build-asan.log 2>&1 || { tail -50 build-asan.log; exit 1; }
(cd build-asan && ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1 \
   ctest --output-on-failure -j"$JOBS" -E 'install_consumer')

if ls fuzz/fuzz_*.cpp > /dev/null 2>&1; then
  echo "== fuzz harnesses (bounded)"
  CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOZRJ_FUZZ=ON \
        -DOZRJ_BUILD_TESTS=OFF -DOZRJ_BUILD_BENCH=OFF -DOZRJ_BUILD_TOOLS=OFF > /dev/null
  cmake --build build-fuzz -j"$JOBS" > build-fuzz.log 2>&1 || { tail -50 build-fuzz.log; exit 1; }
  bash fuzz/run.sh build-fuzz "${FUZZ_SECONDS:-20}"
fi
echo "== all tests passed"

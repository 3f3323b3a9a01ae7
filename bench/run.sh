#!/usr/bin/env bash
# Builds the benchmarks and writes docs/PERFORMANCE.md: every family beside
# its peer, medians of several runs, single-threaded and with all threads.
#   bash bench/run.sh            (REPS=5 by default)
set -euo pipefail
cd "$(dirname "$0")/.."
REPS=${REPS:-5}
bash scripts/fetch-photos.sh || echo "no photographs: benchmarks use generated images" >&2
cmake -S . -B build-bench -DCMAKE_BUILD_TYPE=Release -DOZRJ_BUILD_TESTS=OFF > /dev/null
cmake --build build-bench -j"$(nproc)" > build-bench.log 2>&1 || { tail -40 build-bench.log; exit 1; }
out=build-bench/results
mkdir -p "$out" docs
for b in build-bench/bench/bench_*; do
  [ -x "$b" ] || continue
  name=$(basename "$b")
  echo "-- $name" >&2
  # Repetitions of library and peer run interleaved in random order, so a
  # slow spell of the machine falls on both sides alike.
  args=(--benchmark_repetitions="$REPS" --benchmark_enable_random_interleaving=true
        --benchmark_report_aggregates_only=true --benchmark_format=json)
  if [ "$name" = bench_pipeline ]; then
    "$b" --threads=1 "${args[@]}" > "$out/$name-1.json"
    "$b" --threads="$(nproc)" --benchmark_filter=Ozrj "${args[@]}" > "$out/$name-all.json"
  else
    "$b" "${args[@]}" > "$out/$name.json"
  fi
done
python3 bench/report.py "$out" > docs/PERFORMANCE.md
echo "wrote docs/PERFORMANCE.md" >&2

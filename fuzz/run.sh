#!/usr/bin/env bash
# Usage: run.sh BUILD_DIR SECONDS
# Runs every built harness for SECONDS over its seed corpus (fuzz/corpus/NAME)
# in a scratch copy, so the committed corpus is never changed.
set -euo pipefail
build=$1 secs=$2
here=$(cd "$(dirname "$0")" && pwd)
for h in "$build"/fuzz/fuzz_*; do
  [ -x "$h" ] || continue
  name=$(basename "$h")
  work=$(mktemp -d)
  [ -d "$here/corpus/$name" ] && cp -r "$here/corpus/$name/." "$work/"
  echo "-- $name for ${secs}s"
  ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=halt_on_error=1 \
    "$h" -max_total_time="$secs" -rss_limit_mb=2048 -print_final_stats=0 "$work" > "$work.log" 2>&1 \
    || { tail -40 "$work.log"; rm -rf "$work"; exit 1; }
  grep -E '^#[0-9]+.*DONE' "$work.log" | tail -1 || true
  rm -rf "$work" "$work.log"
done

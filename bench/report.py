#!/usr/bin/env python3
"""Turns Google Benchmark JSON results into docs/PERFORMANCE.md (stdout)."""
import glob
import json
import os
import sys

def rate(b):
    if "items_per_second" in b:
        return "%.1f M/s" % (b["items_per_second"] / 1e6)
    if "bytes_per_second" in b:
        return "%.2f GB/s" % (b["bytes_per_second"] / 1e9)
    return ""

def main(folder):
    files = sorted(glob.glob(os.path.join(folder, "*.json")))
    ctx = None
    print("# Performance\n")
    print("Made by `bash bench/run.sh`: Google Benchmark, medians of repeated runs, library and peer "
          "measured in the same binary and the same run. Shared machines are noisy: compare ratios "
          "within one table, not absolute figures across runs.\n")
    for f in files:
        data = json.load(open(f))
        ctx = ctx or data.get("context", {})
        rows = [b for b in data.get("benchmarks", []) if b.get("aggregate_name", "median") == "median"]
        if not rows:
            continue
        title = os.path.basename(f)[:-5]
        print("## %s\n" % title)
        print("| benchmark | median time | unit | rate |")
        print("|---|---:|---|---:|")
        for b in rows:
            name = b["name"].replace("_median", "")
            print("| %s | %.3f | %s | %s |" % (name, b["real_time"], b.get("time_unit", "ns"), rate(b)))
        print()
    if ctx:
        cpu = "unknown CPU"
        try:
            for line in open("/proc/cpuinfo"):
                if line.startswith("model name"):
                    cpu = line.split(":", 1)[1].strip()
                    break
        except OSError:
            pass
        print("Machine: %s, %s CPUs at %s MHz; run %s.\n" % (cpu, ctx.get("num_cpus"), ctx.get("mhz_per_cpu"),
                                                              ctx.get("date")))

if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else "build-bench/results")

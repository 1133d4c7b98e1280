#!/usr/bin/env python3
"""Runs stl_bench and prints records per second, here and in the reference
runtime, with their ratio, for each statement: the medians when the options
ask for repetitions (--benchmark_repetitions=3: the machine is shared, and
single runs vary).  Usage: stl_ratios.py <stl_bench> [benchmark options];
KVR2_STL_BENCH_RECORDS sets the count."""
import json
import subprocess
import sys

out = subprocess.run([sys.argv[1], "--benchmark_format=json", *sys.argv[2:]],
                     check=True, capture_output=True, text=True).stdout
runs = {}
for b in json.loads(out)["benchmarks"]:
    if b.get("run_type") == "aggregate" and b.get("aggregate_name") != "median":
        continue
    name = b["run_name"].split("/")[0]
    if b.get("run_type") == "aggregate" or name not in runs:
        runs[name] = b
# Shared mode is reported beside the others, with no target of its own.
targets = {"LineSequential": 2.0, "Indexed": 3.0, "Shared": None}
for name, b in runs.items():
    if name.startswith("BM_Reference_"):
        continue
    statement = name[len("BM_"):]
    ref = runs.get("BM_Reference_" + statement)
    if "error_occurred" in b and b["error_occurred"]:
        print(f"{statement:22s} failed: {b.get('error_message', '')}")
        continue
    here = b["items_per_second"]
    if not ref or ref.get("error_occurred"):
        print(f"{statement:22s} here {here / 1e6:7.3f} M/s   (no reference)")
        continue
    there = ref["items_per_second"]
    target = next(t for k, t in targets.items() if statement.startswith(k))
    wanted = f"(target {target:.0f}x)" if target else "(reported)"
    print(f"{statement:22s} here {here / 1e6:7.3f} M/s   reference {there / 1e6:7.3f} M/s"
          f"   ratio {here / there:6.2f}  {wanted}")

#!/usr/bin/env python3
"""Runs bcd_bench and prints, in CPU time, the 15-digit packed ADD and compare against
the reference runtime's, as ratios.  Usage: decimal_ratios.py <bcd_bench>
[benchmark options]"""
import json
import subprocess
import sys

out = subprocess.run([sys.argv[1], "--benchmark_format=json", *sys.argv[2:]],
                     check=True, capture_output=True, text=True).stdout
runs = {b["name"]: b for b in json.loads(out)["benchmarks"]}
for name, b in runs.items():
    print(f"{name:55s} cpu {b['cpu_time'] if 'manual_time' not in name else b['real_time']:10.2f} {b['time_unit']}")
ref_add = runs.get("BM_Reference_AddPacked15/iterations:3/manual_time")
ref_cmp = runs.get("BM_Reference_ComparePacked15/iterations:3/manual_time")
if not ref_add or not ref_cmp:
    sys.exit("no reference runtime in this build")
for label, ref, ours in [
        ("ADD 15 digits, aligned", ref_add, "BM_AddPacked/15/0"),
        ("ADD 15 digits, offset 3", ref_add, "BM_AddPacked/15/3"),
        ("compare (unequal) 15 digits, aligned", ref_cmp, "BM_CompareUnequalPacked/15/0"),
        ("compare (equal) 15 digits, aligned", ref_cmp, "BM_CompareEqualPacked/15/0"),
        ("compare (unequal) 15 digits, offset 3", ref_cmp, "BM_CompareUnequalPacked/15/3")]:
    r = ref["real_time"]  # the reference reports CPU time as its manual time
    o = runs[ours]["cpu_time"]
    print(f"{label:40s} reference {r:8.2f} ns  here {o:6.2f} ns  ratio {r / o:7.1f}")

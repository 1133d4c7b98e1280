#!/usr/bin/env python3
"""Runs muldiv_bench with repetitions and prints, for the 15 x 15 and 31 x 31
digit packed multiply, the 31 / 15 digit divide and the 15-digit rounding
shift, the fastest repetition here and of the reference runtime, and their
ratio.  Repetitions of all benchmarks are interleaved at random, so that
a busy spell of a shared machine falls on both sides, and the fastest
repetition of each is the one least disturbed.  Usage: muldiv_ratios.py <muldiv_bench>
[repetitions]"""
import json
import subprocess
import sys

reps = sys.argv[2] if len(sys.argv) > 2 else "9"
out = subprocess.run([sys.argv[1], "--benchmark_format=json", f"--benchmark_repetitions={reps}",
                      "--benchmark_enable_random_interleaving=true"],
                     check=True, capture_output=True, text=True).stdout
best = {}
for b in json.loads(out)["benchmarks"]:
    if b.get("run_type") != "iteration":
        continue
    manual = "manual_time" in b["run_name"]
    t = b["real_time"] if manual else b["cpu_time"]  # the reference reports CPU time as manual time
    best[b["run_name"]] = min(t, best.get(b["run_name"], t))
for name, t in best.items():
    print(f"{name:55s} {t:10.2f} ns")
pairs = [("MULTIPLY 15 x 15 digits", "BM_MultiplyPacked/15/30", "BM_Reference_Multiply15"),
         ("MULTIPLY 31 x 31 digits", "BM_MultiplyPacked/31/62", "BM_Reference_Multiply31"),
         ("DIVIDE 31 by 15 digits", "BM_DividePacked", "BM_Reference_Divide31By15"),
         ("ROUNDED 15 digits", "BM_ShiftRoundPacked", "BM_Reference_ShiftRound15")]
ref = {n.split("/")[0]: t for n, t in best.items() if n.startswith("BM_Reference")}
if not ref:
    sys.exit("no reference runtime in this build")
for label, ours, theirs in pairs:
    print(f"{label:28s} reference {ref[theirs]:8.2f} ns  here {best[ours]:6.2f} ns  ratio {ref[theirs] / best[ours]:6.1f}")

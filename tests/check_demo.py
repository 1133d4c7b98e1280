#!/usr/bin/env python3
"""The demo runs as compiled code drives the library: plainly, and with
the frame's trace showing the run unit's life."""
import os
import re
import subprocess
import sys

demo = sys.argv[1]
env = dict(os.environ)
env.pop("COBRTOPT", None)
r = subprocess.run([demo], env=env, capture_output=True, text=True)
assert r.returncode == 0, r
assert "DEMOMAIN: DEMOSUB WAS ENTERED 000000002 TIMES" in r.stdout, r.stdout
assert r.stderr == "", r.stderr

env["__ZVKDEBUG"] = "1"
r = subprocess.run([demo], env=env, capture_output=True, text=True)
assert r.returncode == 0, r
order = [r"^zvk_init: PID \d+ ", r"^InitCobolRte: ", r"^RunUnitInit: .* id=1 ", r"^_zvkPgmInit: .*Name=DEMOMAIN$",
         r"^_zvkPgmInit: .*Name=DEMOSUB$", r"^_zvkPgmInit: subsequent usage PCB ", r"^_zvkRunUnitTerm: .*reason=3 ",
         r"^_zvkRunUnitTerm: siglongjmp\(\) to COBOL epilogue of DEMOMAIN ", r"^_zvkPgmTerm: ", r"^TermCobolRte: returning",
         r"^RTE Terminated\.\.\. PID \d+ Proccom \(nil\)$"]
lines = r.stderr.splitlines()
i = 0
for pattern in order:
    while i < len(lines) and not re.search(pattern, lines[i]):
        i += 1
    if i == len(lines):
        sys.exit(f"trace line {pattern!r} missing or out of order:\n{r.stderr}")
print("demo ran")

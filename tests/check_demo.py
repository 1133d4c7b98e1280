#!/usr/bin/env python3
"""The demo runs as compiled code drives the library: plainly, and with
the frame's trace showing the run unit's life."""
import os
import re
import subprocess
import sys

demo, batch, transactions = sys.argv[1], sys.argv[2], sys.argv[3]
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
# The batch demo: its report, byte for byte.
import tempfile
with tempfile.TemporaryDirectory() as tmp:
    report = os.path.join(tmp, "report.txt")
    env = dict(os.environ, TRANSIN=transactions, REPORTOUT=report)
    env.pop("COBRTOPT", None)
    r = subprocess.run([batch], env=env, capture_output=True, text=True)
    assert r.returncode == 0 and r.stderr == "", r
    assert r.stdout == "DEMOBATCH: 6 TRANSACTIONS, TOTAL        -102,152.28\n", r.stdout
    want = ("ACCOUNT                 AMOUNT\n"
            "ACCT0001          1,250.00\n"
            "ACCT0002            -45.50\n"
            "ACCT0003         19,999.99\n"
            "ACCT0001              0.01\n"
            "ACCT0004       -123,456.78\n"
            "ACCT0005            100.00\n"
            "\n"
            "TOTAL          -102,152.28\n")
    got = open(report).read()
    assert got == want, got
print("demos ran")

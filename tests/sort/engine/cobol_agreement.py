#!/usr/bin/env python3
"""GnuCOBOL's file SORT as an oracle: its program writes sort_in.txt and
sorts it USING and GIVING line-sequential files into sort_cobc.txt; the
engine sorts the same file through the line-sequential module, with the
same keys and a budget small enough for merge passes, and the two outputs
must be equal byte for byte.  GNU sort -s agrees on the alphanumeric key
alone.  Also MERGE of two sorted halves.  Exits 77 without the program.

Usage: cobol_agreement.py COBOL_PROGRAM ENGINE_FILES"""
import os
import subprocess
import sys
import tempfile

cobol, scenario = sys.argv[1], sys.argv[2]
if not os.path.exists(cobol):
    print("no GnuCOBOL program: skipped")
    sys.exit(77)
KEYS = "keys=0:4:1:0:1,4:5:2:0:0,9:5:2:1:1"


def run_engine(cwd, *args):
    r = subprocess.run([scenario, "record=24", KEYS, *args], cwd=cwd, capture_output=True, text=True)
    if "result 0 error 0" not in r.stdout:
        sys.exit("engine: %s %s" % (r.stdout, r.stderr))


with tempfile.TemporaryDirectory() as d:
    subprocess.run([cobol], cwd=d, check=True)
    run_engine(d, "memory=64K", "in=sort_in.txt", "out=sort_engine.txt")
    data = {n: open(os.path.join(d, n), "rb").read() for n in ("sort_in.txt", "sort_cobc.txt", "sort_engine.txt")}
    lines = data["sort_in.txt"].splitlines(keepends=True)
    if len(lines) != 6000 or data["sort_engine.txt"] != data["sort_cobc.txt"]:
        sys.exit("the engine and GnuCOBOL differ")
    gnu = subprocess.run(["sort", "-s", "-k1.1,1.4"], input=data["sort_in.txt"], capture_output=True,
                         env={"LC_ALL": "C"}).stdout
    if [x[:4] for x in gnu.splitlines()] != [x[:4] for x in data["sort_engine.txt"].splitlines()]:
        sys.exit("the engine and GNU sort differ on the first key")
    # MERGE: the sorted output's records dealt to two files stay in order.
    out = data["sort_cobc.txt"].splitlines(keepends=True)
    open(os.path.join(d, "a.txt"), "wb").write(b"".join(out[0::2]))
    open(os.path.join(d, "b.txt"), "wb").write(b"".join(out[1::2]))
    run_engine(d, "merge", "in=a.txt,b.txt", "out=merged.txt,copy.txt")
    merged = open(os.path.join(d, "merged.txt"), "rb").read()
    if merged != open(os.path.join(d, "copy.txt"), "rb").read() or sorted(merged.splitlines()) != sorted(
            data["sort_cobc.txt"].splitlines()):
        sys.exit("MERGE lost or changed records")
    run_engine(d, "in=a.txt,b.txt", "out=resorted.txt")
    if merged != open(os.path.join(d, "resorted.txt"), "rb").read():
        sys.exit("MERGE differs from the stable SORT of its inputs")
print("1 passed, 0 failed")

#!/usr/bin/env python3
"""The statuses of the error routines against another COBOL system: the same
statement sequences, compiled by cobc, and run here through the open slot
with a stand-in module.  Known differences are listed in
known_differences.txt; anything else fails.  Skipped (77) without cobc."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

scenarios, standin = sys.argv[1], sys.argv[2]
here = pathlib.Path(__file__).parent
cobc = shutil.which("cobc")
if not cobc:
    print("cobc not installed: skipped")
    sys.exit(77)

with tempfile.TemporaryDirectory() as tmp:
    exe = os.path.join(tmp, "states")
    subprocess.run([cobc, "-x", "-o", exe, str(here / "cobol" / "states.cbl")], check=True)
    r = subprocess.run([exe], cwd=tmp, capture_output=True, text=True, check=True)
    theirs = [tuple(line.split()) for line in r.stdout.splitlines() if line.strip()]

    def ours(file, args, env):
        e = dict(os.environ, LD_LIBRARY_PATH=standin, COBRTOPT="TRAP=OFF", **env)
        out = subprocess.run([scenarios, *args], cwd=tmp, env=e, capture_output=True, text=True).stdout
        return [(file, l.split()[0], l.split()[1][3:]) for l in out.splitlines() if " fs=" in l]

    mine = ours("F", ["assign=stl-states.dat", "read", "close", "open:output", "open:output", "read", "rewrite",
                      "close:lock", "open:input"], {})
    mine += ours("G", ["assign=stl-absent.dat", "optional", "open:input", "read", "read", "close"],
                 {"STANDIN_ABSENT": "1"})

known = set()
for line in (here / "known_differences.txt").read_text().splitlines():
    if line.strip() and not line.startswith("#"):
        known.add(tuple(line.split()[:4]))
failed = False
if len(mine) != len(theirs):
    sys.exit(f"sequences differ in length:\nours   {mine}\ntheirs {theirs}")
for (f, op, fs), (tf, top, tfs) in zip(mine, theirs):
    assert (f, op) == (tf, top), (f, op, tf, top)
    if fs != tfs and (f, op, fs, tfs) not in known:
        print(f"{f} {op}: ours {fs}, theirs {tfs}")
        failed = True
print("\n".join(f"{f} {op} {fs}" for f, op, fs in mine))
sys.exit(1 if failed else 0)

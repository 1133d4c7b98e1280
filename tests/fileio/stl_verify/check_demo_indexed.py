#!/usr/bin/env python3
"""The indexed demo, end to end: its report lands in the next generation
of a group made with kvr2gdg, byte for byte as expected, twice (OPEN OUTPUT
starts the indexed file afresh); and, where cobc is installed, the same
program compiled by another COBOL system writes the same bytes.
Usage: check_demo_indexed.py <kvr2indexed> <kvr2gdg> <demo_indexed.cbl>"""
import os
import shutil
import subprocess
import sys
import tempfile

demo, gdg, cobol = sys.argv[1:4]

WANT = """\
LOADED 8 ACCOUNTS
DUPLICATE A00003  STATUS 22
BY ID A00005      A00005 EAST ERIN DUBOIS         00000730.10
BY BRANCH EAST    A00003 EAST CAROL CHEN          00001200.50
  NEXT            A00006 EAST FRANK OSEI          00000099.99
  NEXT            A00005 EAST ERIN DUBOIS         00000730.10
START ID>=A00004  STATUS 00
  NEXT            A00004 NORT DAVID FISCHER       00000000.01
  NEXT            A00005 EAST ERIN DUBOIS         00000730.10
  NEXT            A00006 EAST FRANK OSEI          00000099.99
  PREVIOUS        A00005 EAST ERIN DUBOIS         00000730.10
  PREVIOUS        A00004 NORT DAVID FISCHER       00000000.01
REWRITE A00002    STATUS 02
DELETE A00004     STATUS 00
BY ID A00004      STATUS 23
ALL BY BRANCH
                  A00003 EAST CAROL CHEN          00001200.50
                  A00006 EAST FRANK OSEI          00000099.99
                  A00005 EAST ERIN DUBOIS         00000730.10
                  A00001 NORT ALICE ADAMS         00001500.00
                  A00007 SOUT GRACE HOLM          00004500.00
                  A00008 WEST HELEN IKEDA         00010000.00
                  A00002 WEST BOB BRANDT          00000050.00
END OF ACCOUNTS   STATUS 10
"""
STDOUT = "DEMOINDEXED: 7 ACCOUNTS BY BRANCH\n"

with tempfile.TemporaryDirectory() as tmp:
    env = dict(os.environ, ACCTFILE="accounts.dat", REPORTOUT="report(+1)")
    env.pop("COBRTOPT", None)
    r = subprocess.run([gdg, "create", "report", "-l", "5"], cwd=tmp, capture_output=True, text=True)
    assert r.returncode == 0, r
    for generation in (1, 2):
        r = subprocess.run([demo], cwd=tmp, env=env, capture_output=True, text=True)
        assert r.returncode == 0 and r.stderr == "", r
        assert r.stdout == STDOUT, r.stdout
        got = open(os.path.join(tmp, f"report.g{generation:04d}v00"), "rb").read()
        assert got == WANT.encode(), got.decode()
    r = subprocess.run([gdg, "list", "report"], cwd=tmp, capture_output=True, text=True)
    assert "Entries     = 2" in r.stdout, r.stdout

    cobc = shutil.which("cobc")
    if cobc:
        program = os.path.join(tmp, "demo_cobc")
        subprocess.run([cobc, "-x", "-o", program, cobol], check=True, cwd=tmp)
        env = dict(os.environ, ACCTFILE="cobc_accounts.dat", REPORTOUT="cobc_report.txt")
        r = subprocess.run([program], cwd=tmp, env=env, capture_output=True, text=True)
        assert r.returncode == 0 and r.stdout == STDOUT, r
        got = open(os.path.join(tmp, "cobc_report.txt"), "rb").read()
        assert got == WANT.encode(), "the other COBOL system's report differs:\n" + got.decode()
        print("same report as cobc's")
print("indexed demo ran")

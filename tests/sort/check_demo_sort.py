#!/usr/bin/env python3
"""The sort demo, end to end: the indexed demo writes its file of accounts,
the sort demo sorts transactions through its procedures and the accounts
from the indexed file to a text file, byte for byte as expected; and, where
cobc is installed, the same program compiled by another COBOL system, over
an indexed file of its own with the same records, writes the same bytes.
Usage: check_demo_sort.py <kvr2indexed> <kvr2sort> <transactions> <demo_sort.cbl> <demo_load_accounts.cbl>"""
import os
import shutil
import subprocess
import sys
import tempfile

indexed, demo, transactions, cobol, loader = sys.argv[1:6]

SUMMARY = """\
ACCT0001                        1,250.00
ACCT0001                            0.01
  SUBTOTAL                      1,250.01
ACCT0002                          -45.50
  SUBTOTAL                        -45.50
ACCT0003                       19,999.99
  SUBTOTAL                     19,999.99
ACCT0004                     -123,456.78
  SUBTOTAL                   -123,456.78
ACCT0005                          100.00
  SUBTOTAL                        100.00
TOTAL                        -102,152.28
"""
BYBRANCH = """\
A00003EASTCAROL CHEN          0000120050
A00005EASTERIN DUBOIS         0000073010
A00006EASTFRANK OSEI          0000009999
A00001NORTALICE ADAMS         0000150000
A00007SOUTGRACE HOLM          0000450000
A00008WESTHELEN IKEDA         0001000000
A00002WESTBOB BRANDT          0000005000
"""

with tempfile.TemporaryDirectory() as tmp:
    env = dict(os.environ, ACCTFILE="accounts.dat", REPORTOUT="indexed.txt", TRANSIN=transactions,
               SUMMARYOUT="summary.txt", BRANCHOUT="bybranch.txt", TMPDIR=tmp)
    env.pop("COBRTOPT", None)
    r = subprocess.run([indexed], cwd=tmp, env=env, capture_output=True, text=True)
    assert r.returncode == 0 and r.stderr == "", r
    r = subprocess.run([demo], cwd=tmp, env=env, capture_output=True, text=True)
    assert r.returncode == 0 and r.stderr == "", r
    assert r.stdout == "DEMOSORT: 6 TRANSACTIONS IN 5 ACCOUNTS, SORT-RETURN 0\n", r.stdout
    for name, want in (("summary.txt", SUMMARY), ("bybranch.txt", BYBRANCH)):
        got = open(os.path.join(tmp, name)).read()
        assert got == want, f"{name}:\n{got}"
    assert not [f for f in os.listdir(tmp) if f.startswith(("sortwk", "vortlite"))], os.listdir(tmp)

    cobc = shutil.which("cobc")
    if cobc:
        other = os.path.join(tmp, "cobc")
        os.mkdir(other)
        for source in (cobol, loader):
            subprocess.run([cobc, "-x", source], check=True, cwd=other)
        with open(os.path.join(other, "list.txt"), "w") as f:
            f.write("".join(sorted(BYBRANCH.splitlines(keepends=True))))
        env = dict(env, LISTIN="list.txt")
        subprocess.run(["./demo_load_accounts"], check=True, cwd=other, env=env)
        subprocess.run(["./demo_sort"], check=True, cwd=other, env=env, capture_output=True)
        for name, want in (("summary.txt", SUMMARY), ("bybranch.txt", BYBRANCH)):
            got = open(os.path.join(other, name)).read()
            assert got == want, f"cobc {name}:\n{got}"
print("sort demo ran")

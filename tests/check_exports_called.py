#!/usr/bin/env python3
"""Every name of the export table is used by some test: it stands, as a
whole word, in at least one C, C++ or Python source under the tests'
folder.  Lists the names that none names."""
import os
import re
import sys

table_file, tests_dir = sys.argv[1], sys.argv[2]
names = []
for line in open(table_file):
    line = line.strip()
    if line and not line.startswith("#"):
        names.append(line.split()[1])

SOURCES = (".c", ".h", ".cc", ".cpp", ".cxx", ".hh", ".hpp", ".inc", ".py")
words = set()
for root, _, files in os.walk(tests_dir):
    for f in files:
        if f.endswith(SOURCES):
            with open(os.path.join(root, f), encoding="utf-8", errors="replace") as src:
                words.update(re.findall(r"[A-Za-z0-9_]+", src.read()))

missing = [n for n in names if n not in words]
if missing:
    sys.exit(f"{len(missing)} exported names no test uses:\n  " + "\n  ".join(missing))
print(f"all {len(names)} exported names are used by tests")

#!/usr/bin/env python3
"""Every message number raised in the sources has a set in the catalog
source, with a message for the variant raised where it is a literal."""
import os
import re
import sys

catalog, root = sys.argv[1], sys.argv[2]
sets = {}
current = None
for line in open(catalog, encoding="utf-8"):
    m = re.match(r"\$set\s+(\d+)", line)
    if m:
        current = int(m.group(1))
        sets[current] = set()
        continue
    m = re.match(r"(\d+)\s", line)
    if m and current is not None:
        sets[current].add(int(m.group(1)))

call = re.compile(r"\b(?:zvkWriteMsg|_zvkWriteERRmsg)\s*\(\s*(\d+)\s*,\s*(0x[0-9A-Fa-f]+|\d+)?")
missing = []
seen = 0
for dirpath, dirs, files in os.walk(root):
    dirs[:] = [d for d in dirs if d not in (".git", "tests", "build") and not d.startswith("build")]
    for f in files:
        if not f.endswith((".cpp", ".h", ".c", ".cc")):
            continue
        path = os.path.join(dirpath, f)
        text = open(path, encoding="utf-8", errors="replace").read()
        for m in call.finditer(text):
            number = int(m.group(1))
            if number == 0:
                continue  # open and close of the catalog
            seen += 1
            control = int(m.group(2), 0) if m.group(2) else 0
            variant = control & 0xFF
            if number not in sets:
                missing.append(f"{path}: message {number} has no set in the catalog")
            elif (control & 0x100) == 0 and (variant + 1) not in sets[number]:
                missing.append(f"{path}: message {number} variant {variant} has no text in the catalog")
if missing:
    print("\n".join(sorted(set(missing))))
    sys.exit(1)
print(f"{seen} raised messages, all in the catalog")

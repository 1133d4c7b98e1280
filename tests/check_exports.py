#!/usr/bin/env python3
"""The library exports exactly the names of the export table, each under
its version node; nothing else (no C++ names, no internal routines)."""
import subprocess
import sys

table_file, library = sys.argv[1], sys.argv[2]
nodes = ["KVR2_5.1.0", "KVR2_6.1.0", "KVR2_Next"]
expected = {}
for line in open(table_file):
    line = line.strip()
    if not line or line.startswith("#"):
        continue
    node, name = line.split()
    if name in expected:
        sys.exit(f"{name} listed twice")
    expected[name] = node

out = subprocess.run(["nm", "-D", "--defined-only", "--with-symbol-versions", library],
                     check=True, capture_output=True, text=True).stdout
actual = {}
for line in out.splitlines():
    parts = line.split()
    if len(parts) < 3:
        continue
    sym = parts[2]
    if parts[1] == "A" and sym in nodes:
        continue  # the version nodes themselves
    if "@@" not in sym:
        sys.exit(f"unversioned export: {sym}")
    name, node = sym.split("@@")
    actual[name] = node

errors = []
for name, node in expected.items():
    if name not in actual:
        errors.append(f"missing export: {name}")
    elif actual[name] != node:
        errors.append(f"{name} is under {actual[name]}, table says {node}")
for name in actual:
    if name not in expected:
        errors.append(f"exported but not in the table: {name}")
ver = subprocess.run(["readelf", "-V", library], check=True, capture_output=True, text=True).stdout
for a, b in (("KVR2_6.1.0", "KVR2_5.1.0"), ("KVR2_Next", "KVR2_6.1.0")):
    if f"Name: {a}" not in ver:
        errors.append(f"version node {a} not defined")
lines = ver.splitlines()
for i, l in enumerate(lines):
    for a, b in (("KVR2_6.1.0", "KVR2_5.1.0"), ("KVR2_Next", "KVR2_6.1.0")):
        if l.strip().endswith(f"Name: {a}") and (i + 1 >= len(lines) or f"Parent 1: {b}" not in lines[i + 1]):
            errors.append(f"{a} does not succeed {b}")
if errors:
    print("\n".join(errors))
    sys.exit(1)
print(f"{len(expected)} exports match")

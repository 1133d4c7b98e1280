#!/usr/bin/env python3
"""The record module against another COBOL system: each scenario's
statements run through the module (lsq_scenarios) and, as a COBOL program
compiled by cobc, through that system's runtime; both must display the
same statuses and records and leave the same file bytes.  Scenarios named
in known_differences.txt are run but not compared.  Skipped (77) without
cobc."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

from cobol_program import program

here = pathlib.Path(__file__).parent
scenarios = sys.argv[1]
cobc = shutil.which("cobc")
if not cobc:
    print("cobc not installed: skipped")
    sys.exit(77)

IDX = ["org=idx", "key=0:3", "key=3:2:dup"]
IDX_DYN = [*IDX, "access=dyn"]
LOADED = ["open:output", "write:bbb22b", "write:ddd11d", "write:aaa11a", "write:ccc22c", "write:eee33e", "close"]
R5 = ["read"] * 5

# name, arguments, the file's bytes before the run (None: no file)
CASES = [
    # sequential
    ("seq_write_read", ["open:output", "write:a", "write:b", "write:c", "close", "open:input", *R5, "close"], None),
    ("seq_extend", ["open:output", "write:a", "close", "open:extend", "write:b", "close", "open:input", *R5, "close"],
     None),
    ("seq_absent", ["open:input", "read", "close", "open:io", "open:extend"], None),
    ("seq_optional_absent", ["optional", "open:input", "read", "read", "close", "open:extend", "write:x", "close",
                             "open:input", "read", "close"], None),
    ("seq_rewrite_without_read", ["open:output", "write:a", "write:b", "close", "open:io", "rewrite:x", "read",
                                  "rewrite:y", "rewrite:z", "read", "read", "rewrite:w", "close", "open:input", *R5,
                                  "close"], None),
    ("seq_verbs_out_of_mode", ["open:output", "read", "rewrite:x", "close", "open:input", "write:x", "close",
                               "close"], None),
    ("seq_variable", ["variable=2", "open:output", "write:abc", "write:abcdefghij", "write:x", "write:abcd", "close",
                      "open:input", *R5, "close"], None),
    # relative
    ("rel_sequential", ["org=rel", "open:output", "write:a", "write:b", "write:c", "close", "open:input", *R5,
                        "close"], None),
    ("rel_random", ["org=rel", "access=rand", "open:output", "rk:3", "write:c", "rk:1", "write:a", "rk:3",
                    "write:d", "rk:0", "write:z", "close", "open:io", "rk:2", "read:key:0", "rk:3", "read:key:0",
                    "rewrite:cc", "rk:7", "delete", "rk:7", "rewrite:q", "rk:1", "delete", "rk:1", "read:key:0",
                    "close", "open:input", "rk:3", "read:key:0", "close"], None),
    ("rel_dynamic_start", ["org=rel", "access=dyn", "open:output", "rk:2", "write:b", "rk:4", "write:d", "rk:6",
                           "write:f", "close", "open:io", "rk:3", "start:ge:0", "read", "read", "read", "read",
                           "rk:6", "start:gt:0", "read", "rk:5", "start:eq:0", "rk:4", "start:eq:0", "read:prev",
                           "read:prev", "rk:5", "start:lt:0", "read", "rk:5", "start:le:0", "read", "close"], None),
    ("rel_rewrite_without_read", ["org=rel", "open:output", "write:a", "close", "open:io", "rewrite:x", "delete",
                                  "read", "rewrite:y", "delete", "read", "close", "open:input", "read", "close"],
     None),
    ("rel_absent", ["org=rel", "open:input", "close", "optional", "open:input", "read", "close"], None),
    ("rel_optional_io", ["org=rel", "optional", "access=dyn", "open:io", "rk:2", "write:b", "read:key:0", "close"],
     None),
    # indexed
    ("idx_duplicates", [*IDX_DYN, *LOADED, "open:input", *R5, "read", "read", "set:xxx11", "read:key:1", *R5,
                        "set:xxx22", "start:ge:1", *R5, "close"], None),
    ("idx_duplicate_keys_written", [*IDX_DYN, "open:output", "write:aaa11", "write:bbb11", "write:aaa22",
                                    "write:ccc11", "close", "open:io", "set:aaa", "read:key:0", "rewrite:aaa11",
                                    "rewrite:aaa33", "read:key:0", "set:xxx11", "read:key:1", "read", "read", "read",
                                    "close"], None),
    ("idx_unique_alternate", ["org=idx", "key=0:3", "key=3:2", "access=dyn", "open:output", "write:aaa11",
                              "write:bbb11", "write:bbb22", "close", "open:io", "set:bbb", "read:key:0",
                              "rewrite:bbb11", "rewrite:bbb33", "set:xxx33", "read:key:1", "close"], None),
    ("idx_sequence_error", ["org=idx", "key=0:3", "open:output", "write:bbb", "write:aaa", "write:bbb",
                            "write:ccc", "close", "open:input", *R5, "close"], None),
    ("idx_not_found", [*IDX_DYN, *LOADED, "open:io", "set:zzz", "read:key:0", "read", "start:eq:0", "read",
                       "set:zzz", "delete", "rewrite:zzz", "set:fff", "start:ge:0", "read", "set:aaa",
                       "start:lt:0", "read", "set:ccc", "start:eq:0", "read", "close"], None),
    ("idx_boundaries", [*IDX_DYN, *LOADED, "open:input", "set:eee", "start:gt:0", "set:eee", "start:ge:0", "read",
                        "read", "set:aaa", "start:le:0", "read", "read:prev", "read:prev", "set:ccc",
                        "start:lt:0", "read", "read", "set:ccc", "start:le:0", "read", "set:bbb", "start:gt:0",
                        "read:prev", "close"], None),
    ("idx_read_previous", [*IDX_DYN, *LOADED, "open:input", "read:prev", "read:prev", "read", "read", "close",
                           "open:input", "set:eee", "read:key:0", "read:prev", "read:prev", "read:prev", "read:prev",
                           "read:prev", "read:prev", "close"], None),
    ("idx_rewrite_without_read", [*IDX, *LOADED, "open:io", "rewrite:aaa99", "read", "rewrite:zzz99", "read",
                                  "rewrite:bbb99", "rewrite:bbb88", "read", "delete", "delete", "read", "close",
                                  "open:input", *R5, "close"], None),
    ("idx_not_found_then_start", [*IDX_DYN, *LOADED, "open:io", "set:zzz", "read:key:0", "set:bbb", "start:gt:0",
                                  "read", "set:zzz", "delete", "set:ccc", "read:key:0", "read", "read", "read",
                                  "close"], None),
    ("idx_sequential_rewrite_delete", [*IDX, *LOADED, "open:io", "read", "rewrite:bbb99", "read", "delete",
                                       "rewrite:eee33", "read", "rewrite:eee44", "read", "close", "open:input", *R5,
                                       "close"], None),
    ("idx_absent", [*IDX, "open:input", "close", "open:io", "optional", "open:input", "read", "read", "close",
                    "open:io", "write:a", "close"], None),
    ("idx_random", [*IDX, "access=rand", *LOADED, "open:io", "set:ccc", "read:key:0", "set:xxx33", "read:key:1",
                    "write:fff44", "write:fff55", "set:ddd", "delete", "read:key:0", "close"], None),
    ("idx_extend", [*IDX, *LOADED, "open:extend", "write:eee", "write:fff", "write:ggg", "close", "open:input",
                    "set:xxx", "close"], None),
    ("idx_verbs_out_of_mode", [*IDX_DYN, "open:output", "read", "start:eq:0", "rewrite:a", "delete", "close",
                               "open:input", "write:x", "delete", "close"], None),
]


def run(cmd, cwd, before):
    path = os.path.join(cwd, "stl.dat")
    if before is not None:
        pathlib.Path(path).write_bytes(before)
    env = dict(os.environ, COBRTOPT="TRAP=OFF")
    out = subprocess.run(cmd, cwd=cwd, env=env, capture_output=True, timeout=120).stdout
    lines = [l for l in out.split(b"\n") if l and not l.startswith(b"epilogue ")]
    # The files' bytes differ by design: only the statements' results count.
    return lines


known = {}
for line in (here / "known_differences.txt").read_text().splitlines():
    if line.strip() and not line.startswith("#"):
        name, _, why = line.partition(" ")
        known[name] = why.strip()

failed = False
with tempfile.TemporaryDirectory() as tmp:
    for name, args, before in CASES:
        ours_dir, theirs_dir = os.path.join(tmp, name, "ours"), os.path.join(tmp, name, "theirs")
        os.makedirs(ours_dir)
        os.makedirs(theirs_dir)
        source = os.path.join(tmp, name, "p.cbl")
        pathlib.Path(source).write_text(program(args))
        exe = os.path.join(tmp, name, "p")
        subprocess.run([cobc, "-x", "-free", "-o", exe, source], check=True)
        ours = run([scenarios, *args], ours_dir, before)
        theirs = run([exe], theirs_dir, before)
        if ours == theirs:
            print(f"{name}: same")
        elif name in known:
            print(f"{name}: differs, known: {known[name]}\n  ours   {ours}\n  theirs {theirs}")
        else:
            print(f"{name}: DIFFERS\n  ours   {ours}\n  theirs {theirs}")
            failed = True
    for name in known:
        if name not in {c[0] for c in CASES}:
            print(f"known_differences.txt names no scenario {name}")
            failed = True
sys.exit(1 if failed else 0)

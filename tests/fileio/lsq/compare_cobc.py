#!/usr/bin/env python3
"""The line-sequential module against another COBOL system: each scenario's
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

TEXT = b"ab\r\n\n0123456789ABCDEF\nx\ty\0z\nlast"
R8 = ["read"] * 8

# name, arguments, the file's bytes before the run (None: no file)
CASES = [
    ("plain_writes", ["open:output", "write:plain:ab  ", "write:plain:", "write:plain:0123456789", "close"], None),
    ("advancing_each_form", ["open:output", "write:plain:p1", "write:a2:a2", "write:b2:b2", "write:plain:p2",
                             "write:ap:ap", "write:bp:bp", "write:a0:a0", "write:a1:a1", "write:b1:b1",
                             "write:b0:b0", "write:plain:p3", "close"], None),
    ("after_line_ended_by_close", ["open:output", "write:a1:x", "close"], None),
    ("after_line_shared", ["open:output", "write:a1:x", "write:plain:y", "write:a2:z", "write:b1:w", "close"], None),
    ("page_and_blank_records", ["open:output", "write:b2:x", "write:ap:", "write:a1:", "write:b1:", "write:bp:",
                                "close"], None),
    ("extend_then_read", ["open:output", "write:plain:a", "close", "open:extend", "write:a1:b", "close",
                          "open:input", *["read"] * 4, "close"], None),
    ("extend_absent", ["open:extend", "write:plain:a", "close"], None),
    ("extend_optional_absent", ["optional", "open:extend", "write:plain:a", "close", "open:input", "read", "close"],
     None),
    ("input_absent", ["open:input", "read", "close"], None),
    ("input_optional_absent", ["optional", "open:input", "read", "read", "close"], None),
    ("read_lines", ["open:input", *R8, "close"], TEXT),
    ("read_short_record", ["record=5", "open:input", *R8, "close"], b"abcde\r\nabcdef\r\nab\r\n\r\nlong line"),
    ("read_empty_file", ["open:input", "read", "read", "close"], b""),
    ("read_empty_lines", ["open:input", "read", "read", "read", "read", "close"], b"\n\n\n"),
    ("verbs_out_of_mode", ["open:output", "read", "close", "open:input", "write:plain:x", "open:input", "close",
                           "close"], b"old\n"),
    ("close_with_lock", ["open:output", "close:lock", "open:input"], None),
    ("output_in_missing_directory", ["assign=no/such/dir/f.txt", "open:output", "close"], None),
    ("linage_plain", ["linage=5,4,1,2", "open:output", *[f"write:plain:r{i}" for i in range(1, 8)], "close"], None),
    ("linage_after", ["linage=5,4,1,2", "open:output", "write:a1:r1", "write:a1:r2", "write:a2:r3", "write:a2:r4",
                      "write:a1:r5", "write:plain:r6", "close"], None),
    ("linage_before_and_page", ["linage=5,4,1,2", "open:output", "write:b1:r1", "write:b2:r2", "write:b3:r3",
                                "write:bp:r4", "write:ap:r5", "write:a3:r6", "write:a0:r7", "close"], None),
    ("linage_past_a_page", ["linage=4,0,2,1", "open:output", "write:ap:r1", "write:a9:r2", "write:b9:r3",
                            "write:a1:r4", "close"], None),
    ("linage_extend", ["linage=3,2,1,1", "open:output", "write:a1:r1", "close", "open:extend", "write:plain:r2",
                       "write:plain:r3", "write:plain:r4", "close"], None),
    ("linage_no_margins", ["linage=2,0,0,0", "open:output", "write:plain:r1", "write:b0:r2", "write:a2:r3",
                           "write:bp:r4", "close"], None),
    ("directory_for_output", ["assign=.", "open:output", "close"], None),
    ("directory_for_input", ["assign=.", "open:input", "read", "close"], None),
    ("cr_inside_a_line", ["open:input", "read", "read", "read", "close"], b"a\rb\nc\r\r\nd"),
]


def run(cmd, cwd, before):
    path = os.path.join(cwd, "lsq.txt")
    if before is not None:
        pathlib.Path(path).write_bytes(before)
    env = dict(os.environ, COBRTOPT="TRAP=OFF")
    out = subprocess.run(cmd, cwd=cwd, env=env, capture_output=True, timeout=120).stdout
    lines = [l for l in out.split(b"\n") if l and not l.startswith(b"epilogue ")]
    data = pathlib.Path(path).read_bytes() if os.path.exists(path) else None
    return lines, data


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
        subprocess.run([cobc, "-x", "-o", exe, source], check=True)
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

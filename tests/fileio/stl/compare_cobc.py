#!/usr/bin/env python3
"""The record module against cobc (see ../cobc_compare.py): the COBOL
program below runs a scenario's statements, given as the argument list of
stl_scenarios (settings, then operations), each displaying the line
stl_scenarios prints for it.  The files' bytes differ by design: only the
statements' results count."""
import pathlib
import sys

here = pathlib.Path(__file__).parent
sys.path.insert(0, str(here.parent))
import cobc_compare  # noqa: E402

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



def program(args):
    org, access, assign, optional, length, minimum, keys, ops = "seq", "seq", "stl.dat", False, 10, None, [], []
    for a in args:
        if a.startswith("org="):
            org = a[4:]
        elif a.startswith("access="):
            access = a[7:]
        elif a.startswith("assign="):
            assign = a[7:]
        elif a == "optional":
            optional = True
        elif a.startswith("record="):
            length = int(a[7:])
        elif a.startswith("variable="):
            minimum = int(a[9:])
        elif a.startswith("key="):
            parts = a[4:].split(":")
            keys.append((int(parts[0]), int(parts[1]), len(parts) > 2))
        elif a in ("verbose", "nostatus"):
            pass
        else:
            ops.append(a)
    organization = {"seq": "SEQUENTIAL", "rel": "RELATIVE", "idx": "INDEXED"}[org]
    mode = {"seq": "SEQUENTIAL", "rand": "RANDOM", "dyn": "DYNAMIC"}[access]
    select = [f"           SELECT {'OPTIONAL ' if optional else ''}F ASSIGN TO \"{assign}\"",
              f"               ORGANIZATION IS {organization}",
              f"               ACCESS MODE IS {mode}"]
    for n, (_, _, dup) in enumerate(keys):
        if n == 0:
            select.append("               RECORD KEY IS K0")
        else:
            select.append(f"               ALTERNATE RECORD KEY IS K{n}" + (" WITH DUPLICATES" if dup else ""))
    if org == "rel":
        select.append("               RELATIVE KEY IS RK")
    select.append("               FILE STATUS IS FS.")
    fd = "       FD F"
    if minimum is not None:
        fd += f"\n           RECORD VARYING IN SIZE FROM {minimum} TO {length} DEPENDING ON RL"
    record = [f"       01 R PIC X({length})."]
    if keys:
        record = ["       01 R."]
        at = 0
        for n, (pos, ln, _) in sorted(enumerate(keys), key=lambda k: k[1][0]):
            if pos > at:
                record.append(f"           05 FILLER PIC X({pos - at}).")
            record.append(f"           05 K{n} PIC X({ln}).")
            at = pos + ln
        if at < length:
            record.append(f"           05 FILLER PIC X({length - at}).")
    out = []
    rk = ' " rk=" RK' if org == "rel" else ""
    shown = 'R(1:RL)' if minimum is not None else "R"
    relations = {"eq": "=", "gt": ">", "ge": ">=", "lt": "<", "le": "<="}

    def show_read(op):
        out.append(f"           IF FS < \"10\" DISPLAY \"{op} fs=\" FS \" rec=[\" {shown} \"]\"{rk}")
        out.append(f"           ELSE DISPLAY \"{op} fs=\" FS{rk} END-IF")

    def move(text):
        out.append(f"           MOVE \"{text}\" TO R" if text else "           MOVE SPACES TO R")
        if minimum is not None:
            out.append(f"           MOVE {min(len(text), length)} TO RL")

    for op in ops:
        if cobc_compare.open_close(op):
            out += cobc_compare.open_close(op)
        elif op == "read":
            out.append("           READ F" + (" NEXT" if access == "dyn" else ""))
            show_read(op)
        elif op == "read:prev":
            out.append("           READ F PREVIOUS")
            show_read(op)
        elif op.startswith("read:key:"):
            out.append("           READ F" + (f" KEY IS K{op[9:]}" if org == "idx" else ""))
            show_read(op)
        elif op.startswith("start:"):
            rel, key = op[6:].split(":")[:2]
            out.append(f"           START F KEY IS {relations[rel]} " + (f"K{key}" if org == "idx" else "RK"))
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op.startswith("write:"):
            move(op[6:])
            out.append("           WRITE R")
            out.append(f"           DISPLAY \"write fs=\" FS{rk}")
        elif op.startswith("rewrite:"):
            move(op[8:])
            out.append("           REWRITE R")
            out.append("           DISPLAY \"rewrite fs=\" FS")
        elif op == "delete":
            out.append("           DELETE F")
            out.append("           DISPLAY \"delete fs=\" FS")
        elif op.startswith("set:"):
            out.append(f"           MOVE \"{op[4:]}\" TO R")
        elif op.startswith("rk:"):
            out.append(f"           MOVE {int(op[3:])} TO RK")
    ws = ["       01 RK PIC 9(4) VALUE 0.", "       01 RL PIC 9(4) VALUE 0."]
    return cobc_compare.source("STL", select, fd, record, ws, out)



if __name__ == "__main__":
    cobc_compare.main(here, CASES, program, "stl.dat", ["-free"], keep_bytes=False)

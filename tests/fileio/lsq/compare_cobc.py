#!/usr/bin/env python3
"""The line-sequential module against cobc (see ../cobc_compare.py): the
COBOL program below runs a scenario's statements, given as the argument
list of lsq_scenarios (settings, then operations), each displaying the
line lsq_scenarios prints for it; the file's bytes are compared too."""
import pathlib
import sys

here = pathlib.Path(__file__).parent
sys.path.insert(0, str(here.parent))
import cobc_compare  # noqa: E402

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



def program(args):
    assign, optional, length, linage, ops = "lsq.txt", False, 10, None, []
    for a in args:
        if a.startswith("assign="):
            assign = a[7:]
        elif a == "optional":
            optional = True
        elif a.startswith("record="):
            length = int(a[7:])
        elif a.startswith("linage="):
            linage = [int(v) for v in a[7:].split(",")]
        else:
            ops.append(a)
    fd = "       FD F"
    if linage:
        lines, footing, top, bottom = linage
        fd += f"\n           LINAGE IS {lines} LINES"
        fd += f"\n           WITH FOOTING AT {footing}" if footing else ""
        fd += f"\n           LINES AT TOP {top}" if top else ""
        fd += f"\n           LINES AT BOTTOM {bottom}" if bottom else ""
    select = [f"           SELECT {'OPTIONAL ' if optional else ''}F ASSIGN TO \"{assign}\"",
              "               ORGANIZATION LINE SEQUENTIAL FILE STATUS IS FS."]
    out = []
    for op in ops:
        if cobc_compare.open_close(op):
            out += cobc_compare.open_close(op)
        elif op == "read":
            out += ["           MOVE ALL \"#\" TO R", "           READ F",
                    "           DISPLAY \"read fs=\" FS \" rec=[\" R \"]\""]
        elif op.startswith("write:"):
            _, how, text = op.split(":", 2)
            out.append(f"           MOVE \"{text}\" TO R" if text else "           MOVE SPACES TO R")
            phrase = ""
            if how != "plain":
                when = "BEFORE" if how[0] == "b" else "AFTER"
                phrase = f" {when} ADVANCING " + ("PAGE" if how[1:] == "p" else f"{int(how[1:])} LINES")
            out.append(f"           WRITE R{phrase}")
            if linage:
                out.append("           MOVE LINAGE-COUNTER TO LC")
            out.append(f"           DISPLAY \"write:{how} fs=\" FS" + (" \" lc=\" LC" if linage else ""))
    return cobc_compare.source("LSQ", select, fd, [f"       01 R PIC X({length})."], ["       01 LC PIC 9(4)."], out)


if __name__ == "__main__":
    cobc_compare.main(here, CASES, program, "lsq.txt")

#!/usr/bin/env python3
"""Makes the golden results of alphanumeric STRING and UNSTRING statements.

Random statements (fixed seed) are written as one COBOL program, compiled
and run with GnuCOBOL's cobc, and the results are stored with the cases in
tests/verbs/data/string_golden.txt, which the test replays through the
library.  Run once, by hand; the tests need only the committed file:

    python3 tests/verbs/string_golden.py

Line formats (strings in hex):
  S|targetLen|pointer or -|groups|target|pointer|overflow
    groups: ';'-joined 'delim or *' ':' ','-joined sources
  U|source|pointer or -|tally or -|delims|targets|results|pointer|tally|overflow
    delims: ','-joined ('A' or '_') + text
    targets: ','-joined kind:size:integer:justified:delimInSize or -:delimInJustified:count(0/1)
      kind X alphanumeric, N unsigned numeric DISPLAY (integer digits, then decimals)
    results: ','-joined target:delimIn or -:count or -
"""
import os
import re
import random
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
OUT = os.path.join(HERE, "data", "string_golden.txt")
ALPHABET = "ABC,;-xy1 "
rng = random.Random(20261122)


def word(lo, hi, alphabet=ALPHABET):
    return "".join(rng.choice(alphabet) for _ in range(rng.randint(lo, hi)))


def hx(s):
    return s.encode("latin-1").hex()


def lit(s):
    return '"' + s + '"'


def string_case():
    target = rng.randint(1, 14)
    pointer = None
    if rng.random() < 0.6:
        pointer = rng.choice([1, 1, 2, 3, target, target + 1, rng.randint(1, target + 1), 0, target + 2])
    groups = []
    for _ in range(rng.randint(1, 3)):
        delim = None if rng.random() < 0.35 else word(1, 3, "ABC,;-")
        groups.append((delim, [word(0, 8) for _ in range(rng.randint(1, 3))]))
    # A source of zero characters cannot be written as a literal.
    groups = [(d, [s if s else "A" for s in srcs]) for d, srcs in groups]
    return ("S", target, pointer, groups)


def unstring_case():
    # Numeric receivers only where the fields are digits: GnuCOBOL moves a
    # field to them as a number, this library copies its bytes.
    numeric = rng.random() < 0.3
    marks = rng.choice([",", ";", ",;", ""]) if numeric else ""
    src = word(0, 24, "0123456789" + marks if numeric else "ABC,;-x1 ")
    if not src:
        src = "1" if numeric else "A"
    pointer = None
    if rng.random() < 0.4:
        pointer = rng.choice([1, 2, 3, len(src), len(src) + 1, rng.randint(1, len(src)), 0, len(src) + 2])
    tally = rng.randint(0, 5) if rng.random() < 0.5 else None
    delims = []
    if numeric:
        # Every character that is no digit is a delimiter: the fields are digits.
        delims = [(rng.random() < 0.35, m) for m in marks]
    elif rng.random() < 0.85:
        for _ in range(rng.randint(1, 3)):
            delims.append((rng.random() < 0.35, word(1, 2, ",;" if numeric else "ABC,;-x ")))
    targets = []
    for _ in range(rng.randint(1, 4)):
        if numeric and rng.random() < 0.6:
            integer = rng.randint(1, 5)
            # Without delimiters a numeric field is as long as its integer
            # digits here and as long as the item in GnuCOBOL.
            dec = rng.randint(0, 2) if delims else 0
            targets.append(("N", integer + dec, integer, False, None, False, rng.random() < 0.5))
        else:
            size = rng.randint(1, 8)
            di = rng.randint(1, 3) if delims and rng.random() < 0.5 else None
            targets.append(("X", size, 0, rng.random() < 0.3, di, rng.random() < 0.3, rng.random() < 0.6))
    return ("U", src, pointer, tally, delims, targets)


def cobol(cases):
    ws, proc = [], []
    for i, c in enumerate(cases):
        if c[0] == "S":
            _, target, pointer, groups = c
            ws.append(f"       01 T{i} PIC X({target}).")
            ws.append(f"       01 P{i} PIC 9(4) VALUE {pointer if pointer is not None else 1}.")
            ws.append(f"       01 O{i} PIC 9 VALUE 0.")
            proc.append(f'           MOVE ALL "." TO T{i}')
            proc.append("           STRING")
            for delim, sources in groups:
                for s in sources:
                    proc.append(f"               {lit(s)}")
                proc.append("               DELIMITED BY " + ("SIZE" if delim is None else lit(delim)))
            proc.append(f"               INTO T{i}")
            if pointer is not None:
                proc.append(f"               WITH POINTER P{i}")
            proc.append(f"               ON OVERFLOW MOVE 1 TO O{i}")
            proc.append("           END-STRING")
            proc.append(f'           DISPLAY "S{i}:" T{i} ":" P{i} ":" O{i}')
        else:
            _, src, pointer, tally, delims, targets = c
            ws.append(f"       01 S{i} PIC X({len(src)}) VALUE {lit(src)}.")
            ws.append(f"       01 P{i} PIC 9(4) VALUE {pointer if pointer is not None else 1}.")
            ws.append(f"       01 L{i} PIC 9(4) VALUE {tally if tally is not None else 0}.")
            ws.append(f"       01 O{i} PIC 9 VALUE 0.")
            for k, (kind, size, integer, just, di, dij, cnt) in enumerate(targets):
                ws.append(f"       01 G{i}X{k}.")
                if kind == "X":
                    ws.append(f"          05 R{i}X{k} PIC X({size})" + (" JUSTIFIED RIGHT." if just else "."))
                else:
                    dec = size - integer
                    pic = f"9({integer})" + (f"V9({dec})" if dec else "")
                    ws.append(f"          05 R{i}X{k} PIC {pic}.")
                if di:
                    ws.append(f"       01 D{i}X{k} PIC X({di})" + (" JUSTIFIED RIGHT." if dij else "."))
                ws.append(f"       01 C{i}X{k} PIC 9(4) VALUE 9999.")
                proc.append(f'           MOVE ALL "#" TO G{i}X{k}')
                if di:
                    proc.append(f'           MOVE ALL "#" TO D{i}X{k}')
            proc.append(f"           UNSTRING S{i}")
            for n, (all_, d) in enumerate(delims):
                proc.append("               " + ("DELIMITED BY " if n == 0 else "OR ") + ("ALL " if all_ else "") + lit(d))
            if targets:
                proc.append("               INTO")
            for k, (kind, size, integer, just, di, dij, cnt) in enumerate(targets):
                line = f"                 R{i}X{k}"
                if di:
                    line += f" DELIMITER IN D{i}X{k}"
                if cnt:
                    line += f" COUNT IN C{i}X{k}"
                proc.append(line)
            if pointer is not None:
                proc.append(f"               WITH POINTER P{i}")
            if tally is not None:
                proc.append(f"               TALLYING IN L{i}")
            proc.append(f"               ON OVERFLOW MOVE 1 TO O{i}")
            proc.append("           END-UNSTRING")
            parts = [f'"U{i}"']
            for k, (kind, size, integer, just, di, dij, cnt) in enumerate(targets):
                parts.append(f'":" G{i}X{k}')
                if di:
                    parts.append(f'"!" D{i}X{k}')
                parts.append(f'"!" C{i}X{k}')
            parts.append(f'"=" P{i} ":" L{i} ":" O{i}')
            proc.append("           DISPLAY " + parts[0])
            for p in parts[1:]:
                proc.append("               " + p)
            proc.append("           END-DISPLAY")
    head = ["       IDENTIFICATION DIVISION.", "       PROGRAM-ID. GOLDEN.", "       DATA DIVISION.",
            "       WORKING-STORAGE SECTION."]
    return "\n".join(head + ws + ["       PROCEDURE DIVISION."] + proc + ["           STOP RUN."]) + "\n"


def main():
    cases = [string_case() for _ in range(400)] + [unstring_case() for _ in range(400)]
    with tempfile.TemporaryDirectory() as tmp:
        src = os.path.join(tmp, "golden.cob")
        exe = os.path.join(tmp, "golden")
        with open(src, "w") as f:
            f.write(cobol(cases))
        subprocess.run(["cobc", "-x", "-o", exe, src], check=True)
        out = subprocess.run([exe], check=True, capture_output=True).stdout.decode("latin-1")
    results = {}
    for line in out.splitlines():
        m = re.match(r"([SU]\d+)", line)
        if m:
            results[m.group(1)] = line[len(m.group(1)):]
    lines = []
    for i, c in enumerate(cases):
        if c[0] == "S":
            _, target, pointer, groups = c
            text, ptr, ov = results[f"S{i}"][1:].rsplit(":", 2)
            g = ";".join(("*" if d is None else hx(d)) + ":" + ",".join(hx(s) for s in srcs) for d, srcs in groups)
            lines.append("|".join(["S", str(target), "-" if pointer is None else str(pointer), g, hx(text),
                                   "-" if pointer is None else str(int(ptr)),
                                   ov]))
        else:
            _, src, pointer, tally, delims, targets = c
            body = results[f"U{i}"]
            fields, tail = body.rsplit("=", 1)
            ptr, tl, ov = tail.split(":")
            res = []
            rest = fields
            for k, (kind, size, integer, just, di, dij, cnt) in enumerate(targets):
                assert rest[0] == ":"
                rest = rest[1:]
                tv = rest[:size]
                rest = rest[size:]
                dv = "-"
                if di:
                    assert rest[0] == "!"
                    dv = hx(rest[1:1 + di])
                    rest = rest[1 + di:]
                assert rest[0] == "!"
                cv = rest[1:5]
                rest = rest[5:]
                res.append(hx(tv) + ":" + dv + ":" + (cv if cnt else "-"))
            assert rest == "", rest
            d = ",".join(("A" if a else "_") + hx(t) for a, t in delims)
            ts = ",".join(f"{kind}:{size}:{integer}:{int(just)}:{di if di else '-'}:{int(dij)}:{int(cnt)}"
                          for kind, size, integer, just, di, dij, cnt in targets)
            lines.append("|".join(["U", hx(src), "-" if pointer is None else str(pointer),
                                   "-" if tally is None else str(tally), d, ts, ",".join(res),
                                   "-" if pointer is None else str(int(ptr)), "-" if tally is None else str(int(tl)),
                                   ov]))
    os.makedirs(os.path.dirname(OUT), exist_ok=True)
    with open(OUT, "w") as f:
        f.write("# Golden results of STRING and UNSTRING, made by string_golden.py; see there for the format.\n")
        f.write("\n".join(lines) + "\n")
    print(f"{len(lines)} cases written to {OUT}")


if __name__ == "__main__":
    sys.exit(main())

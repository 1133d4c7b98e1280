#!/usr/bin/env python3
"""Generates tests/decimal/data/muldiv_golden.txt: byte images of MULTIPLY,
DIVIDE (with and without REMAINDER), COMPUTE ... ROUNDED and scaling MOVEs
as another COBOL compiler (GnuCOBOL's cobc, run once on a developer's
machine) lays them out.  The test reads the committed file; neither CI nor
the build needs cobc.

Usage: gen_muldiv_golden.py [output]   (cobc on PATH)

Line format (hex images, operands as the compiler stored them):
  MPY  P|Z n1 n2 nd          a b product
  DIV  P|Z n1 n2 nq          a b quotient
  DIVR P|Z n1 n2 nq nr       a b quotient remainder
  SHL|SHR|SHRR <form> sd dd k  source destination
forms: P (COMP-3), TO, LO, TS, LS (DISPLAY, sign trailing/leading,
embedded or separate), US (unsigned DISPLAY).  SHL is a MOVE to k more
decimal places, SHR a MOVE to k fewer, SHRR a COMPUTE ROUNDED to k fewer.
"""
import os
import random
import subprocess
import sys
import tempfile

rng = random.Random(20260522)
items, code, cases = [], [], []

USAGE = {
    "P": " COMP-3", "TO": "", "LO": " SIGN LEADING", "TS": " SIGN TRAILING SEPARATE",
    "LS": " SIGN LEADING SEPARATE", "US": "",
}


def size(form, n):
    return n // 2 + 1 if form == "P" else n + (1 if form in ("TS", "LS") else 0)


def item(form, ints, decs=0):
    name = f"I{len(items)}"
    pic = ("9" if form == "US" else "S9") + f"({ints})" + (f"V9({decs})" if decs else "")
    if ints == 0:
        pic = ("" if form == "US" else "S") + f"V9({decs})"
    items.append(f"01 G{name}. 05 {name} PIC {pic}{USAGE[form]}.")
    return name, size(form, ints + decs)


def literal(ints, decs, signed=True, zero_bias=True):
    n = ints + decs
    r = rng.randrange(8)
    if r == 0 and zero_bias:
        v = 0
    elif r == 1:
        v = 10 ** n - 1
    elif r == 2:
        v = 10 ** rng.randrange(n)
    else:
        v = rng.randrange(10 ** rng.randrange(1, n + 1))
    neg = signed and rng.randrange(2) == 1
    s = str(v).rjust(n, "0")
    text = (s[:ints] or "0") + ("." + s[ints:] if decs else "")
    return ("-" if neg else "") + text


def show(names):
    for name, length in names:
        code.append(f"MOVE G{name} TO HX-BUF MOVE {length} TO HX-LEN PERFORM HEX-IT")


def case(header, setup, stmt, shown):
    cases.append(header)
    code.append(f"DISPLAY \"{len(cases) - 1} \" WITH NO ADVANCING")
    code.extend(setup)
    code.append(stmt)
    show(shown)
    code.append("DISPLAY \" \"")


def digits():
    return rng.choice((1, 2, 3, 7, 8, 15, 16, 17, 30, 31)) if rng.randrange(3) == 0 else rng.randrange(1, 32)


for i in range(160):  # MULTIPLY
    f = "P" if i % 2 == 0 else "TO"
    n1, n2 = digits(), digits()
    nd = min(31, rng.choice((n1 + n2, rng.randrange(1, 32))))
    a, b, c = item(f, n1), item(f, n2), item(f, nd)
    case(f"MPY {'P' if f == 'P' else 'Z'} {n1} {n2} {nd}",
         [f"MOVE {literal(n1, 0)} TO {a[0]}", f"MOVE {literal(n2, 0)} TO {b[0]}"],
         f"MULTIPLY {a[0]} BY {b[0]} GIVING {c[0]}", [a, b, c])

for i in range(240):  # DIVIDE
    f = "P" if i % 2 == 0 else "TO"
    n1, n2 = digits(), digits()
    nq, nr = rng.randrange(1, 32), rng.randrange(1, 32)
    a, b, q = item(f, n1), item(f, n2), item(f, nq)
    lb = literal(n2, 0, zero_bias=False)
    if lb.strip("-0") == "":
        lb = "7"
    setup = [f"MOVE {literal(n1, 0)} TO {a[0]}", f"MOVE {lb} TO {b[0]}"]
    z = "P" if f == "P" else "Z"
    if i % 4 < 2:
        r = item(f, nr)
        case(f"DIVR {z} {n1} {n2} {nq} {nr}", setup, f"DIVIDE {a[0]} BY {b[0]} GIVING {q[0]} REMAINDER {r[0]}",
             [a, b, q, r])
    else:
        case(f"DIV {z} {n1} {n2} {nq}", setup, f"DIVIDE {a[0]} BY {b[0]} GIVING {q[0]}", [a, b, q])

for i in range(360):  # scaling moves
    f = ("P", "TO", "LO", "TS", "LS", "US")[i % 6]
    kind = ("SHL", "SHR", "SHRR")[(i // 6) % 3]
    sd = rng.randrange(1, 32)
    sdec = rng.randrange(0, sd + 1)
    k = rng.randrange(1, 12)
    if kind == "SHL":
        ddec = sdec + k
        if ddec > 31:
            continue
        dint = rng.randrange(0, 32 - ddec)
    else:
        if sdec < k:
            sdec = min(sd, k)
            if sdec < k:
                continue
        ddec = sdec - k
        dint = rng.randrange(0 if ddec else 1, 32 - ddec)
    if dint + ddec == 0:
        continue
    src, dst = item(f, sd - sdec, sdec), item(f, dint, ddec)
    lit = literal(sd - sdec, sdec, signed=f != "US")
    if kind == "SHRR" and rng.randrange(3) == 0 and sdec >= k:  # a 5 just past the cut
        body = list(lit.lstrip("-").replace(".", ""))
        body[len(body) - k] = "5"
        s = "".join(body)
        ints = sd - sdec
        lit = ("-" if lit.startswith("-") else "") + (s[:ints] or "0") + "." + s[ints:]
    stmt = f"COMPUTE {dst[0]} ROUNDED = {src[0]}" if kind == "SHRR" else f"MOVE {src[0]} TO {dst[0]}"
    case(f"{kind} {f} {sd} {dint + ddec} {k}", [f"MOVE {lit} TO {src[0]}"], stmt, [src, dst])

program = "\n".join([
    "IDENTIFICATION DIVISION.", "PROGRAM-ID. MULDIVGOLD.", "DATA DIVISION.", "WORKING-STORAGE SECTION.",
    "01 HX-BUF PIC X(40).", "01 HX-LEN PIC 9(4) COMP.", "01 HX-I PIC 9(4) COMP.", "01 HX-V PIC 9(4) COMP.",
    "01 HX-H PIC 9(4) COMP.", "01 HX-L PIC 9(4) COMP.", "01 HX-DIGITS PIC X(16) VALUE \"0123456789abcdef\".",
    *items, "PROCEDURE DIVISION.", *code, "STOP RUN.",
    "HEX-IT.",
    "DISPLAY \" \" WITH NO ADVANCING",
    "PERFORM VARYING HX-I FROM 1 BY 1 UNTIL HX-I > HX-LEN",
    "  COMPUTE HX-V = FUNCTION ORD(HX-BUF(HX-I:1)) - 1",
    "  COMPUTE HX-H = HX-V / 16",
    "  COMPUTE HX-L = HX-V - HX-H * 16",
    "  DISPLAY HX-DIGITS(HX-H + 1:1) HX-DIGITS(HX-L + 1:1) WITH NO ADVANCING",
    "END-PERFORM.", ""])

with tempfile.TemporaryDirectory() as tmp:
    src = os.path.join(tmp, "muldivgold.cob")
    with open(src, "w") as fh:
        fh.write(program)
    exe = os.path.join(tmp, "muldivgold")
    subprocess.run(["cobc", "-free", "-x", "-o", exe, src], check=True)
    out = subprocess.run([exe], check=True, capture_output=True, text=True).stdout
    version = subprocess.run(["cobc", "--version"], capture_output=True, text=True).stdout.splitlines()[0]

lines = [f"# Generated by gen_muldiv_golden.py with {version}; do not edit.",
         "# " + __doc__.splitlines()[0]]
for line in out.splitlines():
    parts = line.split()
    if not parts:
        continue
    lines.append(cases[int(parts[0])] + " " + " ".join(parts[1:]))
target = sys.argv[1] if len(sys.argv) > 1 else os.path.join(os.path.dirname(__file__), "data", "muldiv_golden.txt")
with open(target, "w") as fh:
    fh.write("\n".join(lines) + "\n")
print(f"{len(lines) - 2} cases written to {target}")

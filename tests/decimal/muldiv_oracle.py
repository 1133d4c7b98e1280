#!/usr/bin/env python3
"""Differential test of decimal multiplication, division, remainder and
scaling through the built library, against Python's int and decimal.

Usage: muldiv_oracle.py <libkvr2_64r.so> [cases per family]

Operands of 1 to 31 digits (results into up to 80), values biased to the
edges (zero, negative zero, all nines, powers of ten and their neighbours),
every accepted sign spelling, every address alignment 0 to 7 for each
operand and result.  Expectations follow this system's own rules, which
the names below spell out:
  - quotient_top_nibble: a packed quotient keeps the next digit of the true
    quotient in the unused top nibble of an even digit count, so its stored
    digits are q mod 10 ** (2 * bytes - 1);
  - product_sign / quotient_sign: 0xC for equal signs, else 0xD, kept on a
    zero result (-5 * 0 is -0);
  - remainder_sign: the dividend's, kept on a zero remainder on the long
    path (-6 / 3 leaves -0); +0 when the magnitudes are equal; the
    dividend moved as it is when it is the smaller;
  - smaller_dividend: the quotient is +0 and the worker returns 0;
  - shift_zero_rule: a right shift by at least the significant digits
    (more than them, rounded) gives +0; a left shift by at least the
    destination's digits gives +0;
  - negative_zero: shifts turn -0 into +0 (mode bit 0x002 clear).
Prints one line per failure (at most 20) and "N passed, N failed".
"""
import ctypes
import random
import sys
from decimal import Decimal, ROUND_HALF_UP, getcontext

getcontext().prec = 100

lib = ctypes.CDLL(sys.argv[1])
CASES = int(sys.argv[2]) if len(sys.argv) > 2 else 2500
rng = random.Random(0x6D756C64)

vp, i32 = ctypes.c_void_p, ctypes.c_int32
for name in ("MPY_Pckd", "MPY_Znd", "DIV_Pckd", "DIV_Znd", "MOD_Pckd", "MOD_Znd"):
    f = getattr(lib, "_zvkcBCD_" + name)
    f.argtypes, f.restype = [vp, vp, vp, i32, i32, i32], vp
lib._zvkcBCD_DIVR_Pckd.argtypes = [vp, vp, vp, vp, i32, i32, i32, i32]
lib._zvkcBCD_DIVR_Pckd.restype = ctypes.c_int
lib._zvkcBCD_DIVR_Znd.argtypes = [vp, vp, vp, vp, i32, i32, i32, i32]
lib._zvkcBCD_DIVR_Znd.restype = vp
FORMS = ("Pckd", "Znd", "ZndLO", "ZndUS", "ZndTS", "ZndLS")
for form in FORMS:
    for d in ("Left", "Right", "RightRnd"):
        f = getattr(lib, f"_zvkcBCD_SHFD_{form}_{d}")
        f.argtypes, f.restype = [vp, vp, i32, i32, i32], vp

passed = failed = 0


def check(ok, what):
    global passed, failed
    if ok:
        passed += 1
    else:
        failed += 1
        if failed <= 20:
            print("FAIL", what)


# ---- items at chosen alignments ----

class Item:
    """A byte image at a given offset from 8-byte alignment, fenced by
    canaries that must survive the call."""

    def __init__(self, image, align):
        self.size = len(image)
        self.buf = ctypes.create_string_buffer(self.size + 32)
        base = ctypes.addressof(self.buf)
        self.off = 8 + (align - (base + 8)) % 8
        ctypes.memset(base, 0xA5, self.size + 32)
        ctypes.memmove(base + self.off, bytes(image), self.size)
        self.addr = base + self.off

    def bytes(self):
        return ctypes.string_at(self.addr, self.size)

    def intact(self):
        raw = self.buf.raw
        return raw[:self.off] == b"\xa5" * self.off and raw[self.off + self.size:] == b"\xa5" * (32 - self.off)


def out(size, align):
    return Item(b"\xee" * size, align)


# ---- images ----

def pbytes(n):
    return n // 2 + 1


def packed(mag, n, sign):
    """Packed image of the low digits of mag in n digits' bytes, no nibble cleared."""
    b = pbytes(n)
    digits = str(mag % 10 ** (2 * b - 1)).rjust(2 * b - 1, "0")
    nib = [int(c) for c in digits] + [sign]
    return bytes(nib[2 * i] << 4 | nib[2 * i + 1] for i in range(b))


def packed_result(mag, n, neg):
    return packed(mag % 10 ** n, n, 0xD if neg else 0xC)


NEG_NIBBLES, POS_NIBBLES = (0xD, 0xD, 0xB), (0xC, 0xC, 0xF, 0xA, 0xE)


def zoned_digits(mag, n):
    return bytearray(str(mag % 10 ** n).rjust(n, "0").encode()) if n else bytearray()


def overpunch(digit, neg, spelling):
    if spelling == "letter":
        return (0x7D if neg else 0x7B) if digit == 0 else (0x49 if neg else 0x40) + digit
    zone = {"native": (0x70, 0x30), "ebcdic": (0xD0, 0xF0), "c": (0xD0, 0xC0)}[spelling][0 if neg else 1]
    return zone | digit


def zoned(form, mag, n, neg, spelling="native"):
    d = zoned_digits(mag, n)
    if form == "Znd" and n:
        d[-1] = overpunch(d[-1] & 15, neg, spelling)
    elif form == "ZndLO" and n:
        d[0] = overpunch(d[0] & 15, neg, spelling)
    elif form == "ZndTS":
        d.append(ord("-" if neg else "+"))
    elif form == "ZndLS":
        d.insert(0, ord("-" if neg else "+"))
    return bytes(d)


def zoned_result(mag, n, neg):
    d = zoned_digits(mag, n)
    if n and neg:
        d[-1] |= 0x70
    return bytes(d)


def magnitude(n):
    r = rng.randrange(10)
    if r == 0:
        return 0
    if r == 1:
        return 10 ** n - 1
    if r == 2:
        return 10 ** rng.randrange(n)
    if r == 3:
        return 10 ** rng.randrange(1, n + 1) - 1
    if r == 4:
        return int("".join(rng.choice("09") for _ in range(n)))
    return rng.randrange(10 ** rng.randrange(1, n + 1))


def digits():
    return rng.choice((1, 2, 3, 14, 15, 16, 17, 30, 31)) if rng.randrange(3) == 0 else rng.randrange(1, 32)


def aligns(i):
    return (i & 7, (i >> 3) & 7, (i >> 6) & 7, (i >> 9) & 7)


# ---- multiplication ----

def test_mpy(i):
    n1, n2 = digits(), digits()
    nd = rng.choice((n1 + n2, rng.randrange(1, 63), rng.randrange(1, n1 + n2 + 1), rng.randrange(63, 81)))
    a, b = magnitude(n1), magnitude(n2)
    na, nb = rng.randrange(2) == 1, rng.randrange(2) == 1
    al = aligns(i)
    if i % 2 == 0:
        x = Item(packed(a, n1, rng.choice(NEG_NIBBLES if na else POS_NIBBLES)), al[0])
        y = Item(packed(b, n2, rng.choice(NEG_NIBBLES if nb else POS_NIBBLES)), al[1])
        d = out(pbytes(nd), al[2])
        lib._zvkcBCD_MPY_Pckd(x.addr, y.addr, d.addr, nd, n2, n1)
        want = packed_result(a * b, nd, na != nb)  # product_sign, zero included
    else:
        sp = ("native", "ebcdic", "c")
        x = Item(zoned("Znd", a, n1, na, rng.choice(sp)), al[0])
        y = Item(zoned("Znd", b, n2, nb, rng.choice(sp)), al[1])
        d = out(nd, al[2])
        lib._zvkcBCD_MPY_Znd(x.addr, y.addr, d.addr, nd, n2, n1)
        want = zoned_result(a * b, nd, na != nb)
    check(d.bytes() == want and d.intact() and x.intact() and y.intact(),
          f"MPY {'Pckd' if i % 2 == 0 else 'Znd'} {'-' if na else ''}{a}({n1}) * {'-' if nb else ''}{b}({n2}) "
          f"into {nd}: {d.bytes().hex()} want {want.hex()}")


# ---- division ----

def divide_model(a, na, b, nb, packed_form, qd, rd, a_image):
    """Quotient and remainder images and the worker's result."""
    if a < b:  # smaller_dividend
        q = bytes(pbytes(qd) - 1) + b"\x0c" if packed_form else b"0" * qd
        if packed_form:
            r = packed_result(a, rd, na)  # the dividend moved as it is
        else:
            r = bytearray(zoned_digits(a, rd))
            if rd and na:
                r[-1] |= 0x70
            r = bytes(r)
        return q, r, 0
    if a == b:
        if packed_form:
            q = bytes(pbytes(qd) - 1) + (b"\x1d" if na != nb else b"\x1c")
            r = bytes(pbytes(rd) - 1) + b"\x0c"
        else:
            q = (b"0" * (qd - 1) + (b"q" if na != nb else b"1")) if qd else b""
            r = b"0" * rd
        return q, r, 1
    qv, rv = divmod(a, b)  # truncating on magnitudes; signs below
    if packed_form:
        qb = pbytes(qd)
        q = packed(qv % 10 ** (2 * qb - 1), qd, 0xD if na != nb else 0xC)  # quotient_top_nibble
        r = packed_result(rv, rd, na)  # remainder_sign
    else:
        q, r = zoned_result(qv, qd, na != nb), zoned_result(rv, rd, na)
    return q, r, 1


def test_div(i):
    n1, n2 = digits(), digits()
    a, b = magnitude(n1), magnitude(n2)
    if b == 0:
        b = 1 + rng.randrange(10 ** rng.randrange(1, n2 + 1) - 1) if n2 > 1 else rng.randrange(1, 10)
    if rng.randrange(6) == 0 and n1 >= n2:
        a = b * rng.randrange(1, 10 ** (n1 - n2 + 1)) % 10 ** n1  # exact quotients
    na, nb = rng.randrange(2) == 1, rng.randrange(2) == 1
    qd, rd = (rng.randrange(1, 32) if rng.randrange(8) else rng.randrange(32, 81) for _ in range(2))
    op = ("DIV", "MOD", "DIVR")[i % 3]
    packed_form = (i // 3) % 2 == 0
    al = aligns(i)
    if packed_form:
        xi = packed(a, n1, rng.choice(NEG_NIBBLES if na else POS_NIBBLES))
        yi = packed(b, n2, rng.choice(NEG_NIBBLES if nb else POS_NIBBLES))
        qsize, rsize = pbytes(qd), pbytes(rd)
    else:
        sp = ("native", "ebcdic", "c", "letter")
        xi, yi = zoned("Znd", a, n1, na, rng.choice(sp)), zoned("Znd", b, n2, nb, rng.choice(sp))
        qsize, rsize = qd, rd
    x, y = Item(xi, al[0]), Item(yi, al[1])
    q, r = out(qsize, al[2]), out(rsize, al[3])
    wq, wr, wres = divide_model(a, na, b, nb, packed_form, qd, rd, xi)
    form = "Pckd" if packed_form else "Znd"
    res = None
    if op == "DIV":
        getattr(lib, "_zvkcBCD_DIV_" + form)(x.addr, y.addr, q.addr, qd, n2, n1)
        ok = q.bytes() == wq
    elif op == "MOD":
        getattr(lib, "_zvkcBCD_MOD_" + form)(x.addr, y.addr, r.addr, rd, n2, n1)
        ok = r.bytes() == wr
    else:
        res = getattr(lib, "_zvkcBCD_DIVR_" + form)(x.addr, y.addr, q.addr, r.addr, rd, qd, n2, n1)
        ok = q.bytes() == wq and r.bytes() == wr
        ok = ok and (res == wres if packed_form else res == q.addr)
    ok = ok and all(t.intact() for t in (x, y, q, r))
    check(ok, f"{op}_{form} {'-' if na else ''}{a}({n1}) / {'-' if nb else ''}{b}({n2}) q{qd} r{rd}: "
              f"{q.bytes().hex()} {r.bytes().hex()} {res} want {wq.hex()} {wr.hex()} {wres}")


# ---- scaling ----

def shift_model(form, a, neg, sn, dn, k, how):
    """The magnitude and sign a shift leaves; None: +0 by the zero rule."""
    if k == 0:
        v = a
    elif how == "Left":
        if dn <= k:
            return 0, False  # shift_zero_rule
        v = a * 10 ** k
    else:
        c = max(1, len(str(a))) if a else 1
        if (k > c) if how == "RightRnd" else (k >= c):
            return 0, False  # shift_zero_rule
        if how == "RightRnd":
            v = int((Decimal(a) / Decimal(10) ** k).quantize(Decimal(1), rounding=ROUND_HALF_UP))
        else:
            v = a // 10 ** k
    v %= 10 ** dn
    return v, neg and v != 0  # negative_zero


def test_shift(i):
    form = FORMS[i % 6]
    how = ("Left", "Right", "RightRnd")[(i // 6) % 3]
    sn, dn = digits(), digits()
    k = rng.randrange(0, 32)
    a = magnitude(sn)
    if how == "RightRnd" and rng.randrange(3) == 0 and k and sn > k:  # 0.5 of 99..9: carries through every digit
        a = (10 ** (sn - k) - 1) * 10 ** k + 5 * 10 ** (k - 1)
    neg = form != "ZndUS" and rng.randrange(2) == 1
    al = aligns(i)
    if form == "Pckd":
        src = packed(a, sn, rng.choice(NEG_NIBBLES if neg else POS_NIBBLES))
        dsize = pbytes(dn)
    else:
        src = zoned(form, a, sn, neg, rng.choice(("native", "ebcdic", "c")))
        dsize = dn + (1 if form in ("ZndTS", "ZndLS") else 0)
    s, d = Item(src, al[0]), out(dsize, al[1])
    getattr(lib, f"_zvkcBCD_SHFD_{form}_{how}")(s.addr, d.addr, dn, sn, k)
    v, vneg = shift_model(form, a, neg, sn, dn, k, how)
    got = d.bytes()
    if form == "Pckd":
        ok = got == packed_result(v, dn, vneg)
        want = packed_result(v, dn, vneg).hex()
    elif form == "Znd":
        ok = got == zoned_result(v, dn, vneg)
        want = zoned_result(v, dn, vneg).hex()
    elif form == "ZndUS":
        ok = got == zoned_digits(v, dn)
        want = zoned_digits(v, dn).hex()
    elif form in ("ZndTS", "ZndLS"):
        w = zoned(form, v, dn, vneg)
        ok, want = got == w, w.hex()
    else:  # ZndLO: the digits by their low nibbles, the sign on the first byte
        ok = bytes(c & 15 for c in got) == bytes(c & 15 for c in zoned_digits(v, dn))
        ok = ok and ((got[0] & 0xF0) == (0x70 if vneg else 0x30))
        want = f"value {'-' if vneg else ''}{v}"
    ok = ok and s.intact() and d.intact()
    check(ok, f"SHFD_{form}_{how} {'-' if neg else ''}{a}({sn}) by {k} into {dn}: {got.hex()} want {want}")


for i in range(CASES):
    test_mpy(i)
for i in range(CASES):
    test_div(i)
for i in range(2 * CASES):
    test_shift(i)
print(f"{passed} passed, {failed} failed")
sys.exit(1 if failed else 0)

"""Value model of the table sort, and the random tables it is checked on.

Each key is decoded to its value (Decimal for zoned and packed, int,
float, bytes), with the orderings the library requires encoded on purpose:
a packed sign nibble other than 0xC is negative, a zoned overpunch zone
other than 3 is negative (so EBCDIC zones count as negative), national
units compare in stored byte order, and rows of equal keys are ordered by
the little-endian bytes of their position.

Usage: model.py SEED CASES -> lines "case EL COUNT COLL NKEYS off len type
sign order ...", then "coll HEX" if COLL, "in HEX", "out HEX".
"""
import functools
import random
import struct
import sys
from decimal import Decimal

ALNUM, ZONED, BINARY, PACKED, FLOAT, NATIONAL = 1, 2, 3, 4, 5, 6
LS, TS, LO, TO, SIGNED = 1, 2, 4, 8, 16


def zoned_value(b, sign):
    if sign & LS:
        neg, digits = b[0] != ord('+'), b[1:]
    elif sign & TS:
        neg, digits = b[-1] != ord('+'), b[:-1]
    elif sign & LO:
        neg, digits = (b[0] >> 4) != 3, b
    elif sign & TO:
        neg, digits = (b[-1] >> 4) != 3, b
    else:
        neg, digits = False, b
    v = Decimal(int(''.join(str(d & 0x0F) for d in digits)))
    return -v if neg else v


def packed_value(b):
    nibbles = ''.join('%02x' % x for x in b)
    v = Decimal(int(nibbles[:-1]))
    return -v if (b[-1] & 0x0F) != 0x0C else v


def value(key, elem, coll):
    off, n, typ, sign, _ = key
    b = elem[off:off + n]
    if typ == ALNUM:
        return bytes(coll[x] for x in b) if coll else b
    if typ == NATIONAL:
        return b
    if typ == ZONED:
        return zoned_value(b, sign)
    if typ == PACKED:
        return packed_value(b)
    if typ == BINARY:
        return int.from_bytes(b, 'little', signed=bool(sign & SIGNED))
    return struct.unpack('<f' if n == 4 else '<d', b)[0]


def sort_rows(datas, keys, coll, tie):
    """datas ordered by keys, equal keys by tie(index)."""
    rows = [([value(k, d, coll) for k in keys], tie(i), d) for i, d in enumerate(datas)]

    def cmp(a, b):
        for k, x, y in zip(keys, a[0], b[0]):
            if x != y:
                r = -1 if x < y else 1
                return r if k[4] & 1 else -r
        return -1 if a[1] < b[1] else 1 if a[1] > b[1] else 0

    return [r[2] for r in sorted(rows, key=functools.cmp_to_key(cmp))]


def model_sort(elems, keys, coll):
    return sort_rows(elems, keys, coll, lambda i: i.to_bytes(4, 'little'))


def random_item(rng, typ, n, sign, pool):
    """A value of the key; pool keeps values few so that ties occur."""
    if typ in (ALNUM, NATIONAL):
        return bytes(rng.choice(pool) for _ in range(n))
    if typ == BINARY:
        return bytes(rng.choice(pool) for _ in range(n))
    if typ == FLOAT:
        v = rng.choice([0.0, -0.0, 1.5, -1.5, 2.0, -2.0, 1e-30, -1e30, 3.25, -0.125, 7e10])
        return struct.pack('<f' if n == 4 else '<d', v * rng.choice([1, 1, 3]))
    if typ == PACKED:
        digits = [rng.choice([0, 0, 0, 1, 5, 9]) for _ in range(2 * n - 1)]
        nib = rng.choice([0xC, 0xC, 0xD, 0xF, 0xB, 0xA])
        s = ''.join(map(str, digits)) + '%x' % nib
        return bytes.fromhex(s)
    sep = 1 if sign & (LS | TS) else 0
    digits = [rng.choice([0, 0, 1, 5, 9]) for _ in range(n - sep)]
    body = bytearray(0x30 + d for d in digits)
    if sign & (LS | TS):
        ch = ord(rng.choice('+-'))
        return bytes([ch]) + bytes(body) if sign & LS else bytes(body) + bytes([ch])
    if sign & (LO | TO):
        i = 0 if sign & LO else len(body) - 1
        zone = rng.choice([0x30, 0x30, 0x70, 0xC0, 0xD0, 0xF0])
        body[i] = zone | digits[i]
    return bytes(body)


def random_key(rng, off, short, digits):
    """[off, length, type, sign, ascending]: alphanumeric and packed keys
    up to short bytes, zoned up to digits."""
    typ = rng.randint(1, 6)
    sign = 0
    if typ == ALNUM:
        n = rng.randint(1, short)
    elif typ == NATIONAL:
        n = 2 * rng.randint(1, 3)
    elif typ == BINARY:
        n, sign = rng.choice([1, 2, 4, 8]), rng.choice([0, SIGNED])
    elif typ == FLOAT:
        n = rng.choice([4, 8])
    elif typ == PACKED:
        n = rng.randint(1, short)
    else:
        sign = rng.choice([0, LS, TS, LO, TO])
        n = rng.randint(2 if sign & (LS | TS) else 1, digits)
    return [off, n, typ, sign, rng.choice([0, 1])]


def random_pools(rng, keys, few):
    """Per key, the bytes its values are drawn from: a few (so that ties
    occur) with probability few, else all."""
    return {id(k): ([0x00, 0x41, 0xFF, 0x80] if rng.random() < few else list(range(256))) for k in keys}


def write_case(out, a, b, coll, keys, data_in, data_out):
    flat = ' '.join('%d %d %d %d %d' % tuple(k) for k in keys)
    out.write('case %d %d %d %d %s\n' % (a, b, 1 if coll else 0, len(keys), flat))
    if coll:
        out.write('coll %s\n' % bytes(coll).hex())
    out.write('in %s\nout %s\n' % (data_in.hex(), data_out.hex()))


def random_case(rng):
    mode2 = rng.random() < 0.4
    count = rng.choice([2, 3, 17, 200, rng.randint(2, 200)]) if not mode2 else rng.choice([201, 300, 600])
    nkeys = rng.randint(0, 4)
    keys, off = [], rng.randint(0, 3)
    for _ in range(nkeys):
        keys.append(random_key(rng, off, 5, 7))
        off += keys[-1][1] + rng.randint(0, 2)
    el = off + rng.randint(0, 4)
    if mode2 and rng.random() < 0.5:
        el = max(el, 101 + rng.randint(0, 20))
    if el == 0:
        el = 1
    if el > 100 and not mode2:
        count = min(count, 200)
    coll = None
    if rng.random() < 0.5:
        coll = list(range(256))
        rng.shuffle(coll)
    pools = random_pools(rng, keys, 0.5)
    elems = []
    for _ in range(count):
        e = bytearray(rng.randbytes(el))
        for k in keys:
            e[k[0]:k[0] + k[1]] = random_item(rng, k[2], k[1], k[3], pools[id(k)])
        elems.append(bytes(e))
    return el, count, coll, keys, elems


def main():
    rng = random.Random(int(sys.argv[1]))
    for _ in range(int(sys.argv[2])):
        el, count, coll, keys, elems = random_case(rng)
        write_case(sys.stdout, el, count, coll, keys, b''.join(elems), b''.join(model_sort(elems, keys, coll)))


if __name__ == '__main__':
    main()

"""Value model of the sort engine: the table sort's value model of each key
type (../model.py), with the engine's own order of equal keys: stable, in
input order.  Records are given in the forms the runtime writes: fixed,
recordLength bytes; variable, a little-endian length word counting itself,
then the data.

Usage: engine_model.py SEED CASES -> lines "case FORMAT RECLEN COLL NKEYS
off len type sign order ...", "coll HEX" if COLL, "in HEX", "out HEX".
"""
import functools
import os
import random
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
import model  # noqa: E402


def random_key(rng, off):
    typ = rng.randint(1, 6)
    sign = 0
    if typ == model.ALNUM:
        n = rng.randint(1, 6)
    elif typ == model.NATIONAL:
        n = 2 * rng.randint(1, 3)
    elif typ == model.BINARY:
        n, sign = rng.choice([1, 2, 4, 8]), rng.choice([0, model.SIGNED])
    elif typ == model.FLOAT:
        n = rng.choice([4, 8])
    elif typ == model.PACKED:
        n = rng.randint(1, 6)
    else:
        sign = rng.choice([0, model.LS, model.TS, model.LO, model.TO])
        n = rng.randint(2 if sign & (model.LS | model.TS) else 1, 9)
    return [off, n, typ, sign, rng.choice([0, 1])]


def random_case(rng):
    variable = rng.random() < 0.5
    keys, off = [], rng.randint(0, 3)
    for _ in range(rng.randint(1, 4)):
        k = random_key(rng, off)
        keys.append(k)
        off += k[1] + rng.randint(0, 2)
    reach = off
    reclen = reach + rng.randint(0, 12)
    count = rng.choice([0, 1, 2, 50, 900, 3000, 6000])
    coll = None
    if rng.random() < 0.4:
        coll = list(range(256))
        rng.shuffle(coll)
    pools = {id(k): ([0x00, 0x41, 0xFF, 0x80] if rng.random() < 0.6 else list(range(256))) for k in keys}
    datas = []
    for _ in range(count):
        n = rng.randint(reach, reclen) if variable else reclen
        d = bytearray(rng.randbytes(n))
        for k in keys:
            d[k[0]:k[0] + k[1]] = model.random_item(rng, k[2], k[1], k[3], pools[id(k)])
        datas.append(bytes(d))
    return variable, reclen, coll, keys, datas


def stable_sort(datas, keys, coll):
    def cmp(a, b):
        for k, x, y in zip(keys, a[0], b[0]):
            if x != y:
                r = -1 if x < y else 1
                return r if k[4] & 1 else -r
        return 0
    rows = [([model.value(k, d, coll) for k in keys], d) for d in datas]
    return [r[1] for r in sorted(rows, key=functools.cmp_to_key(cmp))]


def form(d, variable):
    return struct.pack('<I', len(d) + 4) + d if variable else d


def main():
    rng = random.Random(int(sys.argv[1]))
    out = sys.stdout
    for _ in range(int(sys.argv[2])):
        variable, reclen, coll, keys, datas = random_case(rng)
        flat = ' '.join('%d %d %d %d %d' % tuple(k) for k in keys)
        out.write('case %d %d %d %d %s\n' % (2 if variable else 1, reclen, 1 if coll else 0, len(keys), flat))
        if coll:
            out.write('coll %s\n' % bytes(coll).hex())
        out.write('in %s\n' % b''.join(form(d, variable) for d in datas).hex())
        out.write('out %s\n' % b''.join(form(d, variable) for d in stable_sort(datas, keys, coll)).hex())


if __name__ == '__main__':
    main()

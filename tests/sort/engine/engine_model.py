"""Value model of the sort engine: the table sort's value model of each key
type (../model.py), with the engine's own order of equal keys: stable, in
input order.  Records are given in the forms the runtime writes: fixed,
recordLength bytes; variable, a little-endian length word counting itself,
then the data.

Usage: engine_model.py SEED CASES -> lines "case FORMAT RECLEN COLL NKEYS
off len type sign order ...", "coll HEX" if COLL, "in HEX", "out HEX".
"""
import os
import random
import struct
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
import model  # noqa: E402


def random_case(rng):
    variable = rng.random() < 0.5
    keys, off = [], rng.randint(0, 3)
    for _ in range(rng.randint(1, 4)):
        keys.append(model.random_key(rng, off, 6, 9))
        off += keys[-1][1] + rng.randint(0, 2)
    reach = off
    reclen = reach + rng.randint(0, 12)
    count = rng.choice([0, 1, 2, 50, 900, 3000, 6000])
    coll = None
    if rng.random() < 0.4:
        coll = list(range(256))
        rng.shuffle(coll)
    pools = model.random_pools(rng, keys, 0.6)
    datas = []
    for _ in range(count):
        n = rng.randint(reach, reclen) if variable else reclen
        d = bytearray(rng.randbytes(n))
        for k in keys:
            d[k[0]:k[0] + k[1]] = model.random_item(rng, k[2], k[1], k[3], pools[id(k)])
        datas.append(bytes(d))
    return variable, reclen, coll, keys, datas


def form(d, variable):
    return struct.pack('<I', len(d) + 4) + d if variable else d


def main():
    rng = random.Random(int(sys.argv[1]))
    for _ in range(int(sys.argv[2])):
        variable, reclen, coll, keys, datas = random_case(rng)
        ordered = model.sort_rows(datas, keys, coll, lambda i: i)
        model.write_case(sys.stdout, 2 if variable else 1, reclen, coll, keys,
                         b''.join(form(d, variable) for d in datas), b''.join(form(d, variable) for d in ordered))


if __name__ == '__main__':
    main()

#!/usr/bin/env python3
"""Indexed files against a model: random WRITE, REWRITE, DELETE, READ
NEXT/PREVIOUS/KEY and START sequences on a file of a prime key (bytes
0-2) and an alternate key with duplicates (bytes 3-4), dynamic access,
opened I-O, run through stl_scenarios; every line it prints must be the
model's.  The model is this module's reading of the rules: duplicates in
the order written (a REWRITE that changes the key is a new write), 02
when the next record by the key of reference has the same key, the
position kept across DELETE, 46 after a failed READ or START."""
import random
import subprocess
import sys
import tempfile

scenarios = sys.argv[1]
seeds = int(sys.argv[2]) if len(sys.argv) > 2 else 40
PRIMES = ["aaa", "aab", "abb", "bbb", "bcc", "ccc", "cdd", "ddd"]
ALTS = ["11", "22", "33"]


class Model:
    def __init__(self):
        self.records = {}      # prime -> record (10 characters)
        self.alt = {}          # prime -> (alt, counter)
        self.counter = 0
        self.area = " " * 10
        self.reopen()

    def reopen(self):
        self.ref, self.position, self.pending, self.positioned = 0, None, False, True

    def entries(self, ref):
        if ref == 0:
            return sorted((p.encode(), p) for p in self.records)
        return sorted((a.encode() + c.to_bytes(8, "big"), p) for p, (a, c) in self.alt.items())

    def write(self, text):
        self.area = text.ljust(10)
        prime, alt = self.area[:3], self.area[3:5]
        if prime in self.records:
            return "write fs=22"
        status = "02" if any(a == alt for a, _ in self.alt.values()) else "00"
        self.counter += 1
        self.records[prime] = self.area
        self.alt[prime] = (alt, self.counter)
        return f"write fs={status}"

    def rewrite(self, text):
        self.area = text.ljust(10)
        prime, alt = self.area[:3], self.area[3:5]
        if prime not in self.records:
            return "rewrite fs=23"
        status = "00"
        if self.alt[prime][0] != alt:
            if any(a == alt for p, (a, _) in self.alt.items() if p != prime):
                status = "02"
            self.counter += 1
            self.alt[prime] = (alt, self.counter)
        self.records[prime] = self.area
        return f"rewrite fs={status}"

    def delete(self):
        prime = self.area[:3]
        if prime not in self.records:
            return "delete fs=23"
        del self.records[prime], self.alt[prime]
        return "delete fs=00"

    def deliver(self, op, ref, entries, i):
        self.ref, self.position, self.pending, self.positioned = ref, entries[i][0], False, True
        prime = entries[i][1]
        self.area = self.records[prime]
        status = "00"
        if ref == 1 and not op.endswith("prev") and i + 1 < len(entries) and entries[i + 1][0][:2] == entries[i][0][:2]:
            status = "02"
        return f"{op} fs={status} rec=[{self.area}]"

    def fail(self, op, status):
        self.positioned = False
        return f"{op} fs={status}"

    def read_key(self, ref):
        op = f"read:key:{ref}"
        key = (self.area[:3] if ref == 0 else self.area[3:5]).encode()
        entries = self.entries(ref)
        for i, (k, _) in enumerate(entries):
            if k[:len(key)] == key:
                return self.deliver(op, ref, entries, i)
        return self.fail(op, "23")

    def read(self, previous):
        op = "read:prev" if previous else "read"
        if not self.positioned:
            return f"{op} fs=46"
        entries = self.entries(self.ref)
        if self.position is None:
            found = None if previous or not entries else 0
        elif previous:
            found = None
            for i, (k, _) in enumerate(entries):
                if k < self.position or (self.pending and k == self.position):
                    found = i
        else:
            found = next((i for i, (k, _) in enumerate(entries)
                          if k > self.position or (self.pending and k == self.position)), None)
        if found is None:
            return self.fail(op, "10")
        return self.deliver(op, self.ref, entries, found)

    def start(self, relation, ref):
        op = f"start:{relation}:{ref}"
        key = (self.area[:3] if ref == 0 else self.area[3:5]).encode()
        entries = self.entries(ref)
        test = {"eq": lambda p: p == key, "gt": lambda p: p > key, "ge": lambda p: p >= key,
                "lt": lambda p: p < key, "le": lambda p: p <= key}[relation]
        hits = [i for i, (k, _) in enumerate(entries) if test(k[:len(key)])]
        if not hits:
            return self.fail(op, "23")
        i = hits[-1] if relation in ("lt", "le") else hits[0]
        self.ref, self.position, self.pending, self.positioned = ref, entries[i][0], True, True
        return f"{op} fs=00"


def scenario(rng):
    model, ops, expected = Model(), ["open:output", "close", "open:io"], ["open:output fs=00", "close fs=00",
                                                                          "open:io fs=00"]
    for _ in range(rng.randint(20, 80)):
        kind = rng.choice(["write"] * 4 + ["rewrite", "delete", "read", "read", "read:prev", "key", "start", "reopen"])
        text = rng.choice(PRIMES) + rng.choice(ALTS) + rng.choice("xyz")
        if kind == "write":
            ops.append("write:" + text), expected.append(model.write(text))
        elif kind == "rewrite":
            ops.append("rewrite:" + text), expected.append(model.rewrite(text))
        elif kind == "delete":
            ops += ["set:" + text, "delete"]
            model.area = text.ljust(10)
            expected.append(model.delete())
        elif kind in ("read", "read:prev"):
            ops.append(kind), expected.append(model.read(kind == "read:prev"))
        elif kind == "key":
            ref = rng.randint(0, 1)
            ops += ["set:" + text, f"read:key:{ref}"]
            model.area = text.ljust(10)
            expected.append(model.read_key(ref))
        elif kind == "start":
            ref, relation = rng.randint(0, 1), rng.choice(["eq", "gt", "ge", "lt", "le"])
            ops += ["set:" + text, f"start:{relation}:{ref}"]
            model.area = text.ljust(10)
            expected.append(model.start(relation, ref))
        else:
            ops += ["close", "open:io"]
            expected += ["close fs=00", "open:io fs=00"]
            model.reopen()
    return ops, expected


failed = 0
with tempfile.TemporaryDirectory() as tmp:
    for seed in range(seeds):
        ops, expected = scenario(random.Random(seed))
        args = ["org=idx", "access=dyn", "key=0:3", "key=3:2:dup", f"assign={tmp}/m{seed}.dat", *ops]
        out = subprocess.run([scenarios, *args], capture_output=True, text=True, timeout=60).stdout
        got = [l for l in out.splitlines() if not l.startswith("epilogue ")]
        if got != expected:
            failed += 1
            first = next((i for i, (g, e) in enumerate(zip(got, expected)) if g != e), min(len(got), len(expected)))
            print(f"seed {seed}: line {first}\n  got      {got[first:first + 3]}\n  expected {expected[first:first + 3]}")
            print("  ops", " ".join(ops))
print(f"{seeds - failed} of {seeds} sequences as the model says")
sys.exit(1 if failed else 0)

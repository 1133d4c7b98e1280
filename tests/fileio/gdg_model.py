#!/usr/bin/env python3
"""The generation catalogue against an independent model.

Random sequences of create, alter, +1 and direct adds (numbers drawn near
the wrap at 9999 so that epochs, renumbering and the sort are reached) run
through gdg_driver; after every step the catalogue's 4096 bytes and the
generation files on disk must equal the model's.  Then a catalogue written
in the other byte order is listed with kvr2gdg: swapped, rewritten native,
Empty and Scratch lost.  Last, each of the tool's commands once."""
import os
import random
import struct
import subprocess
import sys
import tempfile

driver, tool = sys.argv[1], sys.argv[2]
EMPTY, SCRATCH, MASK, STEP = 1, 2, 0x3FFF, 0x8000
LAYOUT = "4s9I56s1000I"


class Model:
    def __init__(self):
        self.exists = False
        self.files = set()

    def create(self, limit, days, flags):
        if self.exists or limit > 1000:
            return -1
        self.exists = True
        self.limit = 255 if limit < 1 else limit
        self.days = max(days, 0)
        self.flags = SCRATCH if flags < 0 else flags & 3
        self.entries = []
        return 0

    def alter(self, limit, days, flags):
        if not self.exists or limit > 1000:
            return -1
        if limit >= 0:
            self.limit = 255 if limit == 0 else limit
        if days >= 0:
            self.days = days
        if flags >= 0:
            self.flags = flags & 3
        if len(self.entries) > self.limit:
            self.empty(0)
        return 0

    def empty(self, room):
        # Every file in the model is fresh: days > 0 holds all back.
        if not self.entries:
            return
        count = len(self.entries)
        if not self.flags & EMPTY:
            self.entries = [e for e in self.entries if e & MASK in self.files]
            if len(self.entries) + room <= self.limit:
                return
            count = min(len(self.entries) + room - self.limit, len(self.entries))
        gone = 0 if self.days else count
        for e in self.entries[:gone]:
            if self.flags & SCRATCH:
                self.files.discard(e & MASK)
        self.entries = self.entries[gone:]

    def newest(self):
        return self.entries[-1] & MASK if self.entries else 0

    def epoch(self):
        return self.entries[-1] & ~(STEP - 1) & 0xFFFFFFFF if self.entries else 0

    def renumber(self, start):
        epoch = start
        for i, e in enumerate(self.entries):
            if i and e & MASK < self.entries[i - 1] & MASK:
                epoch += STEP
            self.entries[i] = (e & MASK) | epoch
        return epoch

    def add(self, n):
        if any(e & MASK == n for e in self.entries):
            return True
        if len(self.entries) >= self.limit:
            self.empty(1)
        if len(self.entries) >= 1000:
            return False
        epoch = self.epoch()
        if self.entries and self.newest() >= 9000 and n < 1000:
            if epoch > 0xFFFFFFFF - STEP:
                epoch = self.renumber(0)
            value = n | (epoch + STEP)
        elif self.entries and self.newest() < 1000 and n >= 9000:
            if epoch == 0:
                epoch = self.renumber(STEP)
            value = n | (epoch - STEP)
        else:
            value = n | epoch
        self.entries.append(value)
        if len(self.entries) > 1 and value < self.entries[-2]:
            self.entries.sort()
        return True

    def plus_one(self):
        n = self.newest() + 1
        n = n - 9999 if n >= 10000 else n
        if self.add(n):
            self.files.add(n)
            return n
        return None

    def direct(self, n):
        self.files.add(n)
        return n if self.add(n) else None

    def image(self, order="<"):
        entries = self.entries + [0] * (1000 - len(self.entries))
        return struct.pack(order + LAYOUT, b"GDG\n", 1234, 1, self.limit, self.days, self.flags,
                           len(self.entries), self.newest(), self.epoch(), 0, bytes(56), *entries)


def on_disk(directory):
    return {int(f[-7:-3]) for f in os.listdir(directory) if f.startswith("grp.g") and f.endswith("v00")}


def run(seed, directory):
    rnd = random.Random(seed)
    group = os.path.join(directory, "grp")
    model = Model()
    p = subprocess.Popen([driver, group], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True)
    history = []

    def step(line):
        history.append(line)
        p.stdin.write(line + "\n")
        p.stdin.flush()
        return p.stdout.readline().split()

    limit = rnd.choice([0, 1, 2, 3, 5, 8, 1000])
    days = rnd.choice([0, 0, 0, 7])
    flags = rnd.choice([-1, 0, 1, 2, 3])
    rc, _ = step(f"create {limit} {days} {flags}")
    assert int(rc) == model.create(limit, days, flags), history
    for _ in range(rnd.randint(20, 80)):
        op = rnd.random()
        if op < 0.45:
            rc, name = step("add")
            want = model.plus_one()
        elif op < 0.85:
            n = rnd.choice([rnd.randint(1, 999), rnd.randint(9000, 9999), rnd.randint(1, 9999)])
            rc, name = step(f"direct {n}")
            want = model.direct(n)
        else:
            limit = rnd.choice([-1, 0, 1, 2, 4, 6])
            days = rnd.choice([-1, -1, 0, 7])
            flags = rnd.choice([-1, 0, 1, 2, 3])
            rc, _ = step(f"alter {limit} {days} {flags}")
            assert int(rc) == model.alter(limit, days, flags), history
            want = "alter"
        if want is None:
            assert rc == "0", (history, rc)
        elif want != "alter":
            assert rc == "1" and name == f"{group}.g{want:04d}v00", (history, rc, name, want)
        with open(group + ".catalogue", "rb") as f:
            got = f.read()
        if got != model.image():
            sys.exit(f"seed {seed}: catalogue differs after {history}\n"
                     f"got  {struct.unpack('<' + LAYOUT, got)[:9]} {list(struct.unpack('<' + LAYOUT, got)[11:11 + 12])}\n"
                     f"want {model.limit, model.days, model.flags, model.entries[:12]}")
        assert on_disk(directory) == model.files, (seed, history, sorted(on_disk(directory)), sorted(model.files))
    p.stdin.close()
    assert p.wait() == 0


def other_byte_order(directory):
    group = os.path.join(directory, "swapped")
    native = sys.byteorder == "little"
    foreign = ">" if native else "<"
    model = Model()
    model.create(4, 0, EMPTY | SCRATCH)
    model.entries = [9999, STEP | 1, STEP | 2]
    for n in (9999, 1, 2):
        open(f"{group}.g{n:04d}v00", "w").close()
    with open(group + ".catalogue", "wb") as f:
        f.write(model.image(foreign))
    r = subprocess.run([tool, "list", group], capture_output=True, text=True)
    assert r.returncode == 0, r
    assert r.stderr == "Info: Endian swapped!\n", r.stderr
    assert r.stdout == (f"GDG: {group}\n  Catalogue   = {group}.catalogue\n  Limit       = 4\n  Days        = 0\n"
                        f"  NoEmpty\n  NoScratch\n  Entries     = 3\n  GDS:\n"
                        f"0            0: {group}.g9999v00\n1            1: {group}.g0001v00\n"
                        f"2            1: {group}.g0002v00\n"), r.stdout
    model.flags = 0
    with open(group + ".catalogue", "rb") as f:
        assert f.read() == model.image("<" if native else ">"), "rewritten in native order"
    r = subprocess.run([tool, "list", group], capture_output=True, text=True)
    assert r.returncode == 0 and r.stderr == "", r


def cli_commands(directory):
    group = os.path.join(directory, "g")

    def gdg(*args, rc=0):
        r = subprocess.run([tool, *args], capture_output=True, text=True)
        assert r.returncode == rc, (args, r)
        return r

    def entries():
        with open(group + ".catalogue", "rb") as f:
            fields = struct.unpack("<" + LAYOUT, f.read())
        return fields[3:6], list(fields[11:11 + fields[6]])

    gdg("create", group, "-l", "2")
    assert entries() == ((2, 0, SCRATCH), [])
    gdg("create", group, rc=1)
    for n in (1, 3):
        open(f"{group}.g{n:04d}v00", "w").close()
    r = gdg("-D", "rebuild", group)
    assert "GDG_add: 1 as 1" in r.stderr and "GDG_add: 3 as 3" in r.stderr, r.stderr
    assert entries()[1] == [1, 3]
    os.unlink(f"{group}.g0001v00")
    gdg("verify", group)
    assert entries()[1] == [3]
    gdg("remove", f"{group}(0)")
    assert entries()[1] == [] and not os.path.exists(f"{group}.g0003v00")
    gdg("alter", group, "-l", "5", "-E")
    assert entries() == ((5, 0, EMPTY), [])
    gdg("alter", group, "-d", "3")
    assert entries() == ((5, 3, EMPTY), [])
    gdg("unlink", group)
    assert not os.path.exists(group + ".catalogue")
    gdg("list", group, rc=1)
    gdg("frobnicate", group, rc=2)


def main():
    seeds = range(int(os.environ.get("GDG_MODEL_SEEDS", "40")))
    for seed in seeds:
        with tempfile.TemporaryDirectory() as directory:
            run(seed, directory)
    with tempfile.TemporaryDirectory() as directory:
        other_byte_order(directory)
    with tempfile.TemporaryDirectory() as directory:
        cli_commands(directory)
    print(f"{len(seeds)} random sequences agree with the model; the other byte order is read; the tool's commands work")


main()

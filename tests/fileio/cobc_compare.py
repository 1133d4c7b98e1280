"""A file module against another COBOL system, shared by lsq/ and stl/:
each scenario's statements run through the module's scenario program and,
as a COBOL program compiled by cobc, through that system's runtime; both
must display the same lines (and, where asked, leave the same file bytes).
Scenarios named in known_differences.txt beside the caller are run but not
compared.  Exits 77 (skipped) without cobc."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

MODES = {"input": "INPUT", "output": "OUTPUT", "extend": "EXTEND", "io": "I-O"}


def source(program_id, select, fd, record, working_storage, body):
    """A whole program: F selected, FS its FILE STATUS, ending in STOP RUN."""
    return "\n".join([
        "       IDENTIFICATION DIVISION.",
        f"       PROGRAM-ID. {program_id}.",
        "       ENVIRONMENT DIVISION.",
        "       INPUT-OUTPUT SECTION.",
        "       FILE-CONTROL.",
        *select,
        "       DATA DIVISION.",
        "       FILE SECTION.",
        fd + ".",
        *record,
        "       WORKING-STORAGE SECTION.",
        "       01 FS PIC XX.",
        *working_storage,
        "       PROCEDURE DIVISION.",
        *body,
        "           STOP RUN.",
    ]) + "\n"


def open_close(op):
    """The statements of open:MODE, close and close:lock; None for others."""
    if op.startswith("open:"):
        verb = f"OPEN {MODES[op[5:]]} F"
    elif op in ("close", "close:lock"):
        verb = "CLOSE F" + (" WITH LOCK" if op == "close:lock" else "")
    else:
        return None
    return [f"           {verb}", f"           DISPLAY \"{op} fs=\" FS"]


def _run(cmd, cwd, data_file, before, keep_bytes):
    path = os.path.join(cwd, data_file)
    if before is not None:
        pathlib.Path(path).write_bytes(before)
    env = dict(os.environ, COBRTOPT="TRAP=OFF")
    out = subprocess.run(cmd, cwd=cwd, env=env, capture_output=True, timeout=120).stdout
    lines = [l for l in out.split(b"\n") if l and not l.startswith(b"epilogue ")]
    if not keep_bytes:
        return lines
    return lines, pathlib.Path(path).read_bytes() if os.path.exists(path) else None


def main(here, cases, program, data_file, cobc_flags=(), keep_bytes=True):
    """Runs cases (name, scenario arguments, the file's bytes before or
    None) with the scenario program named by argv[1]; exits with the verdict."""
    scenarios = sys.argv[1]
    cobc = shutil.which("cobc")
    if not cobc:
        print("cobc not installed: skipped")
        sys.exit(77)
    known = {}
    for line in (pathlib.Path(here) / "known_differences.txt").read_text().splitlines():
        if line.strip() and not line.startswith("#"):
            name, _, why = line.partition(" ")
            known[name] = why.strip()
    failed = False
    with tempfile.TemporaryDirectory() as tmp:
        for name, args, before in cases:
            ours_dir, theirs_dir = os.path.join(tmp, name, "ours"), os.path.join(tmp, name, "theirs")
            os.makedirs(ours_dir)
            os.makedirs(theirs_dir)
            cbl = os.path.join(tmp, name, "p.cbl")
            pathlib.Path(cbl).write_text(program(args))
            exe = os.path.join(tmp, name, "p")
            subprocess.run([cobc, "-x", *cobc_flags, "-o", exe, cbl], check=True)
            ours = _run([scenarios, *args], ours_dir, data_file, before, keep_bytes)
            theirs = _run([exe], theirs_dir, data_file, before, keep_bytes)
            if ours == theirs:
                print(f"{name}: same")
            elif name in known:
                print(f"{name}: differs, known: {known[name]}\n  ours   {ours}\n  theirs {theirs}")
            else:
                print(f"{name}: DIFFERS\n  ours   {ours}\n  theirs {theirs}")
                failed = True
        for name in known:
            if name not in {c[0] for c in cases}:
                print(f"known_differences.txt names no scenario {name}")
                failed = True
    sys.exit(1 if failed else 0)

#!/usr/bin/env python3
"""After `cmake --install`, a program using the installed library finds the
message catalog through the path the library derives from its own place,
with no NLSPATH of the caller's: installed to a prefix of its own, and
staged with DESTDIR for /usr as a package is built."""
import os
import shutil
import subprocess
import sys
import tempfile

build, scenario = sys.argv[1], sys.argv[2]


def check(lib, cat):
    assert os.path.exists(os.path.join(lib, "libkvr2_64r.so")), "library not installed"
    assert os.path.exists(cat), "catalog not installed where the library looks"
    env = {k: v for k, v in os.environ.items() if k not in ("NLSPATH", "LC_ALL", "LC_MESSAGES")}
    env.update(LD_LIBRARY_PATH=lib, COBRTOPT="TRAP=OFF", LANG="C.UTF-8")
    r = subprocess.run([scenario, "message", "warning"], env=env, capture_output=True, text=True)
    want = "ZVK171W  Runtime option FOO is not known and is ignored.\n\n"
    if r.returncode != 0 or r.stderr != want:
        sys.exit(f"installed library: rc={r.returncode} stderr={r.stderr!r}")


top = tempfile.mkdtemp(prefix="kvr2inst")
try:
    subprocess.run(["cmake", "--install", build, "--prefix", top], check=True, capture_output=True)
    check(os.path.join(top, "lib"), os.path.join(top, "usr/share/locale/C/kvr2run.cat"))
    stage = os.path.join(top, "stage")
    subprocess.run(["cmake", "--install", build, "--prefix", "/usr"], check=True, capture_output=True,
                   env=dict(os.environ, DESTDIR=stage))
    check(os.path.join(stage, "usr/lib"), os.path.join(stage, "usr/share/locale/C/kvr2run.cat"))
    print("installed and staged libraries find their catalog")
finally:
    shutil.rmtree(top, ignore_errors=True)

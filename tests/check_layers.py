#!/usr/bin/env python3
"""Layers only look down: from each subsystem's include root, a header of a
lower layer it uses is found and a header of any other subsystem is not.
An upward include (a frame file including a verbs header) fails the build."""
import pathlib, subprocess, sys, tempfile

source, layers, cxx = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), sys.argv[3]
folders = {p.name: p for p in source.iterdir() if p.is_dir() and list(p.glob("*.h"))}
folders.pop("include", None)
folders.pop("tests", None)
folders.pop("bench", None)
problems = []
with tempfile.TemporaryDirectory() as tmp:
    probe = pathlib.Path(tmp) / "probe.cpp"
    for root in sorted(layers.iterdir()):
        allowed = {p.name for p in root.iterdir()}
        for name, folder in sorted(folders.items()):
            header = sorted(folder.glob("*.h"))[0].name
            probe.write_text(f'#include "{name}/{header}"\n')
            # -M -MG lists where each include was found (a missing one is
            # listed bare), so a system header of the same name is no match.
            r = subprocess.run([cxx, "-std=c++20", "-M", "-MG", f"-I{source / 'include'}", f"-I{root}", str(probe)],
                               capture_output=True, text=True)
            found = f"{root}/{name}/{header}" in r.stdout.replace("\\\n", " ")
            if r.returncode or found != (name in allowed):
                problems.append(f"{root.name}: {name}/{header} {'found' if found else 'not found'} {r.stderr.strip()}")
if not (layers / "frame").exists():
    problems.append("no include root for the frame")
elif {p.name for p in (layers / "frame").iterdir()} != {"base", "frame"}:
    problems.append("the frame sees more than base/ and itself")
print("\n".join(problems))
sys.exit(1 if problems else 0)

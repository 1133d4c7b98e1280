#!/usr/bin/env python3
"""Every public header compiles on its own as strict C11, C99 and C++20:
compiled code includes them from C as well as from C++."""
import pathlib, subprocess, sys, tempfile

include, cc, cxx = pathlib.Path(sys.argv[1]), sys.argv[2], sys.argv[3]
modes = [(cc, "c", ["-std=c11", "-pedantic"]), (cc, "c", ["-std=c99"]), (cxx, "c++", ["-std=c++20", "-pedantic"])]
failed = 0
with tempfile.TemporaryDirectory() as tmp:
    for header in sorted((include / "kvr2").glob("*.h")):
        for compiler, lang, flags in modes:
            src = pathlib.Path(tmp) / ("probe." + ("c" if lang == "c" else "cpp"))
            # Something after the include: an empty unit is an error of its own in ISO C.
            src.write_text(f'#include "kvr2/{header.name}"\ntypedef int probe_unit;\n')
            r = subprocess.run([compiler, *flags, "-Wall", "-Wextra", "-Werror", "-fsyntax-only",
                                f"-I{include}", str(src)], capture_output=True, text=True)
            if r.returncode:
                failed += 1
                print(f"{header.name} as {' '.join(flags)}:\n{r.stderr}")
sys.exit(1 if failed else 0)

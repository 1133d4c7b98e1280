"""The COBOL program that runs a scenario's statements, for cobc.  A
scenario is the argument list of stl_scenarios: settings, then operations
(see stl_scenarios.cpp).  Each statement displays the line the scenario
program prints for it."""


def program(args):
    org, access, assign, optional, length, minimum, keys, ops = "seq", "seq", "stl.dat", False, 10, None, [], []
    for a in args:
        if a.startswith("org="):
            org = a[4:]
        elif a.startswith("access="):
            access = a[7:]
        elif a.startswith("assign="):
            assign = a[7:]
        elif a == "optional":
            optional = True
        elif a.startswith("record="):
            length = int(a[7:])
        elif a.startswith("variable="):
            minimum = int(a[9:])
        elif a.startswith("key="):
            parts = a[4:].split(":")
            keys.append((int(parts[0]), int(parts[1]), len(parts) > 2))
        elif a in ("verbose", "nostatus"):
            pass
        else:
            ops.append(a)
    organization = {"seq": "SEQUENTIAL", "rel": "RELATIVE", "idx": "INDEXED"}[org]
    mode = {"seq": "SEQUENTIAL", "rand": "RANDOM", "dyn": "DYNAMIC"}[access]
    select = [f"           SELECT {'OPTIONAL ' if optional else ''}F ASSIGN TO \"{assign}\"",
              f"               ORGANIZATION IS {organization}",
              f"               ACCESS MODE IS {mode}"]
    for n, (_, _, dup) in enumerate(keys):
        if n == 0:
            select.append("               RECORD KEY IS K0")
        else:
            select.append(f"               ALTERNATE RECORD KEY IS K{n}" + (" WITH DUPLICATES" if dup else ""))
    if org == "rel":
        select.append("               RELATIVE KEY IS RK")
    select.append("               FILE STATUS IS FS.")
    fd = "       FD F"
    if minimum is not None:
        fd += f"\n           RECORD VARYING IN SIZE FROM {minimum} TO {length} DEPENDING ON RL"
    record = [f"       01 R PIC X({length})."]
    if keys:
        record = ["       01 R."]
        at = 0
        for n, (pos, ln, _) in sorted(enumerate(keys), key=lambda k: k[1][0]):
            if pos > at:
                record.append(f"           05 FILLER PIC X({pos - at}).")
            record.append(f"           05 K{n} PIC X({ln}).")
            at = pos + ln
        if at < length:
            record.append(f"           05 FILLER PIC X({length - at}).")
    out = [
        "       IDENTIFICATION DIVISION.",
        "       PROGRAM-ID. STL.",
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
        "       01 RK PIC 9(4) VALUE 0.",
        "       01 RL PIC 9(4) VALUE 0.",
        "       PROCEDURE DIVISION.",
    ]
    rk = ' " rk=" RK' if org == "rel" else ""
    shown = 'R(1:RL)' if minimum is not None else "R"
    modes = {"input": "INPUT", "output": "OUTPUT", "extend": "EXTEND", "io": "I-O"}
    relations = {"eq": "=", "gt": ">", "ge": ">=", "lt": "<", "le": "<="}

    def show_read(op):
        out.append(f"           IF FS < \"10\" DISPLAY \"{op} fs=\" FS \" rec=[\" {shown} \"]\"{rk}")
        out.append(f"           ELSE DISPLAY \"{op} fs=\" FS{rk} END-IF")

    def move(text):
        out.append(f"           MOVE \"{text}\" TO R" if text else "           MOVE SPACES TO R")
        if minimum is not None:
            out.append(f"           MOVE {min(len(text), length)} TO RL")

    for op in ops:
        if op.startswith("open:"):
            out.append(f"           OPEN {modes[op[5:]]} F")
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op == "close":
            out.append("           CLOSE F")
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op == "read":
            out.append("           READ F" + (" NEXT" if access == "dyn" else ""))
            show_read(op)
        elif op == "read:prev":
            out.append("           READ F PREVIOUS")
            show_read(op)
        elif op.startswith("read:key:"):
            out.append("           READ F" + (f" KEY IS K{op[9:]}" if org == "idx" else ""))
            show_read(op)
        elif op.startswith("start:"):
            rel, key = op[6:].split(":")[:2]
            out.append(f"           START F KEY IS {relations[rel]} " + (f"K{key}" if org == "idx" else "RK"))
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op.startswith("write:"):
            move(op[6:])
            out.append("           WRITE R")
            out.append(f"           DISPLAY \"write fs=\" FS{rk}")
        elif op.startswith("rewrite:"):
            move(op[8:])
            out.append("           REWRITE R")
            out.append("           DISPLAY \"rewrite fs=\" FS")
        elif op == "delete":
            out.append("           DELETE F")
            out.append("           DISPLAY \"delete fs=\" FS")
        elif op.startswith("set:"):
            out.append(f"           MOVE \"{op[4:]}\" TO R")
        elif op.startswith("rk:"):
            out.append(f"           MOVE {int(op[3:])} TO RK")
    out.append("           STOP RUN.")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    import sys
    sys.stdout.write(program(sys.argv[1:]))

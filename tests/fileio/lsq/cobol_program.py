"""The COBOL program that runs a scenario's statements, for cobc.  A
scenario is the argument list of lsq_scenarios: settings, then operations
(see lsq_scenarios.cpp).  Each statement displays the line the scenario
program prints for it."""


def program(args):
    assign, optional, length, linage, ops = "lsq.txt", False, 10, None, []
    for a in args:
        if a.startswith("assign="):
            assign = a[7:]
        elif a == "optional":
            optional = True
        elif a.startswith("record="):
            length = int(a[7:])
        elif a.startswith("linage="):
            linage = [int(v) for v in a[7:].split(",")]
        else:
            ops.append(a)
    fd = "       FD F"
    if linage:
        lines, footing, top, bottom = linage
        fd += f"\n           LINAGE IS {lines} LINES"
        if footing:
            fd += f"\n           WITH FOOTING AT {footing}"
        if top:
            fd += f"\n           LINES AT TOP {top}"
        if bottom:
            fd += f"\n           LINES AT BOTTOM {bottom}"
    out = [
        "       IDENTIFICATION DIVISION.",
        "       PROGRAM-ID. LSQ.",
        "       ENVIRONMENT DIVISION.",
        "       INPUT-OUTPUT SECTION.",
        "       FILE-CONTROL.",
        f"           SELECT {'OPTIONAL ' if optional else ''}F ASSIGN TO \"{assign}\"",
        "               ORGANIZATION LINE SEQUENTIAL FILE STATUS IS FS.",
        "       DATA DIVISION.",
        "       FILE SECTION.",
        fd + ".",
        f"       01 R PIC X({length}).",
        "       WORKING-STORAGE SECTION.",
        "       01 FS PIC XX.",
        "       01 LC PIC 9(4).",
        "       PROCEDURE DIVISION.",
    ]
    modes = {"input": "INPUT", "output": "OUTPUT", "extend": "EXTEND", "io": "I-O"}
    for op in ops:
        if op.startswith("open:"):
            out.append(f"           OPEN {modes[op[5:]]} F")
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op in ("close", "close:lock"):
            out.append("           CLOSE F" + (" WITH LOCK" if op == "close:lock" else ""))
            out.append(f"           DISPLAY \"{op} fs=\" FS")
        elif op == "read":
            out.append("           MOVE ALL \"#\" TO R")
            out.append("           READ F")
            out.append("           DISPLAY \"read fs=\" FS \" rec=[\" R \"]\"")
        elif op.startswith("write:"):
            _, how, text = op.split(":", 2)
            out.append(f"           MOVE \"{text}\" TO R" if text else "           MOVE SPACES TO R")
            phrase = ""
            if how != "plain":
                when = "BEFORE" if how[0] == "b" else "AFTER"
                what = "PAGE" if how[1:] == "p" else f"{int(how[1:])} LINES"
                phrase = f" {when} ADVANCING {what}"
            out.append(f"           WRITE R{phrase}")
            if linage:
                out.append("           MOVE LINAGE-COUNTER TO LC")
                out.append(f"           DISPLAY \"{op.split(':')[0]}:{how} fs=\" FS \" lc=\" LC")
            else:
                out.append(f"           DISPLAY \"{op.split(':')[0]}:{how} fs=\" FS")
    out.append("           STOP RUN.")
    return "\n".join(out) + "\n"


if __name__ == "__main__":
    import sys
    sys.stdout.write(program(sys.argv[1:]))

// Binding of the device streams (console, SYSIN, SYSOUT, SYSPUNCH and the
// message stream).  Until the device names are read from the environment
// each stream is bound to its standard default.

#include "frame/frame.h"

extern "C" FILE* openDeviceStream(uint8_t letter) {
    Proccom* pc = _zvkProccom;
    if (!pc) return letter == 'M' ? stderr : nullptr;
    zvkLockMt(&streamMutex);
    FILE* f = nullptr;
    switch (letter) {
        case 'A': f = pc->conIn ? pc->conIn : (pc->conIn = stdin); break;
        case 'D': f = pc->conOut ? pc->conOut : (pc->conOut = stdout); break;
        case 'I': f = pc->sysin ? pc->sysin : (pc->sysin = stdin); break;
        case 'M': f = pc->msgs ? pc->msgs : (pc->msgs = stderr); break;
        case 'O': f = pc->sysout ? pc->sysout : (pc->sysout = stdout); break;
        case 'P': f = pc->syspunch; break;
        default: break;
    }
    zvkUnlockMt(&streamMutex);
    return f;
}

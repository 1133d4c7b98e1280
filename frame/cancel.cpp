// CANCEL: a program that is not active goes back to its initial state, its
// files closed; an active one is left alone.

#include <string.h>

#include "frame/programs.h"
#include "frame/rununit.h"
#include "frame/threads.h"
#include "frame/hooks.h"
#include "frame/hashtable.h"
#include "kvr2/programs.h"

extern "C" {

KVR2_API void _zvkCloseReset(int32_t* ipcbWords) {
    IPCB* ipcb = reinterpret_cast<IPCB*>(ipcbWords);
    if (!ipcb || ipcb[0].nested < 0) return;
    const int n = ipcb[0].nested + 1;
    for (int i = 0; i < n; ++i) {
        ipcb[i].ent = 0;
        ipcb[i].status &= ~0xC0000000u;
        if (PCB* p = ipcb[i].pcb) {
            p->flag &= ~PCB_FLAG_MAIN;
            p->lle = nullptr;
        }
    }
    // The run goes on: files are closed as a CLOSE statement would, USE
    // procedures included; EXTERNAL files stay open for the other programs.
    for (int i = 0; i < n; ++i) zvkCloseProgramFiles(&ipcb[i], true);
}

KVR2_API int32_t _zvkCancel(int32_t* names, int64_t length, uint8_t* name, PCB* caller) {
    Proccom* pc = _zvkProccom;
    if (!pc) return 0;
    char text[161];
    const size_t n = zvkTakeProgramName(name, length, caller, text);
    if (n == 0) return 0;

    IPCB* target = nullptr;
    if (names && names[0] > 0) {
        // A nested program: its row gives its place in the caller's IPCB
        // array, the caller itself being element 0.
        int32_t row = zvkFindInNames(names, text, n);
        if (row >= 0 && zvkIsRealPcb(caller) && caller->ipcb) {
            const int32_t index = names[1 + 3 * row];
            if (index >= 1 && index <= caller->ipcb[0].nested) target = &caller->ipcb[index];
        }
    }
    if (!target) {
        int lockHeld = 0;
        HashState state{};
        LLE* lle = zvkFindProgram(text, static_cast<uint32_t>(n), &state, &lockHeld, caller, "CANCEL");
        if (lockHeld) zvkUnlockMt(&programMutex);
        if (!lle || !lle->pcb || !lle->pcb->ipcb) return 0;
        target = lle->pcb->ipcb;
    }

    zvkLockMt(&enterMutex);
    const bool active = target->ent >= 1;
    zvkUnlockMt(&enterMutex);
    // The reset runs after the lock is given back: closing files may run a
    // USE procedure, whose program entry takes the same lock.
    if (active) return 1;
    _zvkCloseReset(reinterpret_cast<int32_t*>(target));
    return 0;
}

}  // extern "C"

/*
 * A main program as the compiler emits it: its PCB and IPCB in static
 * data, the prologue (_zvkPgmInit), the epilogue armed on the run unit's
 * jump buffer, a CALL of a statically bound subprogram, and STOP RUN.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOMAIN.
 *   WORKING-STORAGE SECTION.  01 COUNTER PIC S9(9) COMP-5.
 *   PROCEDURE DIVISION.
 *       CALL 'DEMOSUB' USING COUNTER.
 *       CALL 'DEMOSUB' USING COUNTER.
 *       STOP RUN.
 */
#include <kvr2/kvr2.h>
#include <setjmp.h>
#include <stdio.h>

extern void DEMOSUB(int32_t* counter);

static IPCB demomain_ipcb[1];
static PCB demomain_pcb = {
    .version = {6, 1, 0},
    .ipcb = demomain_ipcb,
    .name = "DEMOMAIN",
    .nameLength = 8,
    .yearWindow = 9999,
};

int main(void) {
    static int32_t counter; /* WORKING-STORAGE */
    demomain_ipcb[0].entry = (void*)&main;

    _zvkPgmInit(&demomain_pcb);
    volatile int jumped = sigsetjmp(*_zvkGetJmpBuffer(), 1);
    if (jumped) goto epilogue;

    DEMOSUB(&counter);
    DEMOSUB(&counter);
    printf("DEMOMAIN: DEMOSUB was entered %d times, run unit %u\n", counter, _zvkProccom->runcom->id);
    fflush(stdout);
    _zvkRunUnitTerm(0); /* STOP RUN */

epilogue:
    _zvkPgmTerm(&demomain_pcb);
    return jumped == 255 ? 0 : jumped;
}

/*
 * A called program as the compiler emits it.  Its year window (-80: the
 * hundred years starting 80 years ago) is resolved at its first entry.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOSUB.
 *   LINKAGE SECTION.  01 COUNTER PIC S9(9) COMP-5.
 *   PROCEDURE DIVISION USING COUNTER.
 *       ADD 1 TO COUNTER.
 *       GOBACK.
 */
#include <kvr2/kvr2.h>
#include <stdio.h>

void DEMOSUB(int32_t* counter);

static IPCB demosub_ipcb[1];
static PCB demosub_pcb = {
    .version = {6, 1, 0},
    .ipcb = demosub_ipcb,
    .name = "DEMOSUB",
    .nameLength = 7,
    .yearWindow = -80,
};

void DEMOSUB(int32_t* counter) {
    demosub_ipcb[0].entry = (void*)&DEMOSUB;
    _zvkPgmInit(&demosub_pcb);
    *counter += 1;
    printf("DEMOSUB: entry %d, year window starts %d\n", *counter, demosub_pcb.yearWindow);
    fflush(stdout);
    _zvkPgmExit(&demosub_ipcb[0].ent); /* GOBACK */
}

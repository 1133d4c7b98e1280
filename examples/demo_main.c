/*
 * A main program as the compiler emits it: its PCB and IPCB in static
 * data, the prologue (_zvkPgmInit), the epilogue armed on the run unit's
 * jump buffer, an EXTERNAL item, CALLs of a statically bound subprogram,
 * ACCEPT from the clock, DISPLAY, and STOP RUN.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOMAIN.
 *   WORKING-STORAGE SECTION.
 *   01 COUNTER PIC S9(9) COMP-5 EXTERNAL.
 *   01 TODAY   PIC 9(8).
 *   PROCEDURE DIVISION.
 *       ACCEPT TODAY FROM DATE YYYYMMDD.
 *       DISPLAY "DEMOMAIN: RUN OF " TODAY.
 *       CALL 'DEMOSUB'.
 *       CALL 'DEMOSUB'.
 *       DISPLAY "DEMOMAIN: DEMOSUB WAS ENTERED " COUNTER " TIMES".
 *       STOP RUN.
 */
#include <kvr2/kvr2.h>
#include <setjmp.h>
#include <string.h>

extern void DEMOSUB(void);

static IPCB demomain_ipcb[1];
static PCB demomain_pcb = {
    .version = {6, 1, 0},
    .ipcb = demomain_ipcb,
    .name = "DEMOMAIN",
    .nameLength = 8,
    .yearWindow = 9999,
};

/* The program's EXTERNAL items: count, then 36-byte rows from byte 36. */
static struct {
    uint32_t count;
    uint8_t reserved[32];
    struct {
        uint32_t length;
        char name[32];
    } row[1];
} demomain_external = {1, {0}, {{4, "COUNTER"}}};

static void display(const DisplayItem* items, int count) {
    DisplayRequest request = {.itemCount = count, .device = ZVK_DISPLAY_SYSOUT, .decimalPoint = '.'};
    DisplayItem copy[4];
    /* width is rewritten by each call: every run of a statement sets it afresh */
    memcpy(copy, items, sizeof(DisplayItem) * (size_t)count);
    _zvkcDisplay(&request, copy);
}

int main(void) {
    static int32_t* counter; /* EXTERNAL COUNTER */
    static uint8_t today[8];  /* TODAY */
    demomain_ipcb[0].entry = (void*)&main;

    _zvkPgmInit(&demomain_pcb);
    volatile int jumped = sigsetjmp(*_zvkGetJmpBuffer(), 1);
    if (jumped) goto epilogue;
    _zvkExtVarInit(&demomain_external.count, (void**)&counter);

    _zvkcAccept(ZVK_ACCEPT_DATE | ZVK_ACCEPT_YYYY, sizeof today, today);
    {
        const DisplayItem s[] = {{"DEMOMAIN: RUN OF ", 17, 0, ZVK_ITEM_ALPHA, 0}, {today, 8, 0, ZVK_ITEM_ALPHA, 0}};
        display(s, 2);
    }

    DEMOSUB();
    DEMOSUB();
    {
        const DisplayItem s[] = {{"DEMOMAIN: DEMOSUB WAS ENTERED ", 30, 0, ZVK_ITEM_ALPHA, 0},
                                 {counter, 4, 9, ZVK_ITEM_BINARY, 0},
                                 {" TIMES", 6, 0, ZVK_ITEM_ALPHA, 0}};
        display(s, 3);
    }
    _zvkRunUnitTerm(0); /* STOP RUN */

epilogue:
    _zvkPgmTerm(&demomain_pcb);
    return jumped == 255 ? 0 : jumped;
}

/*
 * A called program as the compiler emits it.  It shares COUNTER with its
 * caller as an EXTERNAL item; its year window (-80: the hundred years
 * starting 80 years ago) is resolved at its first entry.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOSUB.
 *   WORKING-STORAGE SECTION.
 *   01 COUNTER PIC S9(9) COMP-5 EXTERNAL.
 *   01 AVERAGE COMP-2.
 *   PROCEDURE DIVISION.
 *       ADD 1 TO COUNTER.
 *       COMPUTE AVERAGE = 1 / COUNTER.
 *       DISPLAY "DEMOSUB: ENTRY " COUNTER ", 1/ENTRY " AVERAGE
 *               ", YEAR WINDOW STARTS " WINDOW-START.
 *       GOBACK.
 */
#include <kvr2/kvr2.h>

void DEMOSUB(void);

static IPCB demosub_ipcb[1];
static PCB demosub_pcb = {
    .version = {6, 1, 0},
    .ipcb = demosub_ipcb,
    .name = "DEMOSUB",
    .nameLength = 7,
    .yearWindow = -80,
};

static struct {
    uint32_t count;
    uint8_t reserved[32];
    struct {
        uint32_t length;
        char name[32];
    } row[1];
} demosub_external = {1, {0}, {{4, "COUNTER"}}};

void DEMOSUB(void) {
    static int32_t* counter;
    static double average;
    demosub_ipcb[0].entry = (void*)&DEMOSUB;
    _zvkPgmInit(&demosub_pcb);
    if (!counter) _zvkExtVarInit(&demosub_external.count, (void**)&counter);

    *counter += 1;
    average = 1.0 / *counter;
    DisplayRequest request = {.itemCount = 6, .device = ZVK_DISPLAY_SYSOUT, .decimalPoint = '.'};
    DisplayItem items[] = {
        {"DEMOSUB: ENTRY ", 15, 0, ZVK_ITEM_ALPHA, 0},
        {counter, 4, 2, ZVK_ITEM_BINARY, 0},
        {", 1/ENTRY ", 10, 0, ZVK_ITEM_ALPHA, 0},
        {&average, 8, 4, ZVK_ITEM_FLOAT, 0},
        {", YEAR WINDOW STARTS ", 21, 0, ZVK_ITEM_ALPHA, 0},
        {&demosub_pcb.yearWindow, 4, 4, ZVK_ITEM_BINARY, 0},
    };
    _zvkcDisplay(&request, items);
    _zvkPgmExit(&demosub_ipcb[0].ent); /* GOBACK */
}

/*
 * A batch program as the compiler emits it: it reads a line-sequential
 * file of transactions, adds their amounts in packed decimal, and writes
 * an edited report, one line per transaction and a total.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOBATCH.
 *   FILE-CONTROL.
 *       SELECT TRANS  ASSIGN TO TRANSIN   ORGANIZATION LINE SEQUENTIAL
 *                     FILE STATUS IS TRANS-STATUS.
 *       SELECT REPORT ASSIGN TO REPORTOUT ORGANIZATION LINE SEQUENTIAL
 *                     FILE STATUS IS REPORT-STATUS.
 *   FD TRANS.   01 TRANS-REC.   05 T-ACCOUNT PIC X(8).  05 FILLER PIC X.
 *                               05 T-AMOUNT  PIC S9(7)V99 SIGN LEADING SEPARATE.
 *   FD REPORT.  01 REPORT-LINE  PIC X(40).
 *   WORKING-STORAGE SECTION.
 *   01 AMOUNT  PIC S9(7)V99  COMP-3.
 *   01 TOTAL   PIC S9(11)V99 COMP-3 VALUE 0.
 *   01 EDITED  PIC -ZZ,ZZZ,ZZZ,ZZ9.99.
 *   PROCEDURE DIVISION.
 *       OPEN INPUT TRANS OUTPUT REPORT.
 *       WRITE REPORT-LINE FROM "ACCOUNT                 AMOUNT".
 *       PERFORM UNTIL TRANS-STATUS = "10"
 *         READ TRANS AT END EXIT PERFORM END-READ
 *         MOVE T-AMOUNT TO AMOUNT.  ADD AMOUNT TO TOTAL.
 *         MOVE AMOUNT TO EDITED.
 *         STRING T-ACCOUNT EDITED INTO REPORT-LINE.
 *         WRITE REPORT-LINE
 *       END-PERFORM.
 *       MOVE TOTAL TO EDITED.
 *       STRING "TOTAL   " EDITED INTO REPORT-LINE.
 *       WRITE REPORT-LINE AFTER ADVANCING 1 LINE.
 *       CLOSE TRANS REPORT.
 *       DISPLAY "DEMOBATCH: " COUNT " TRANSACTIONS, TOTAL " EDITED.
 *       STOP RUN.
 *
 * TRANSIN and REPORTOUT name the files through the environment.
 */
#include <kvr2/kvr2.h>
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

enum { TRANS = 0, REPORT = 1, TRANS_LENGTH = 19, REPORT_LENGTH = 40 };

static IPCB batch_ipcb[1];
static FIB fibs[2];
static FIB* fib_list[2] = {&fibs[0], &fibs[1]};
static FCB fcbs[2];
static void* fcb_list[2] = {&fcbs[0], &fcbs[1]};
static PCB batch_pcb = {
    .version = {6, 1, 0},
    .ipcb = batch_ipcb,
    .name = "DEMOBATCH",
    .nameLength = 9,
    .fib = fib_list,
    .yearWindow = 9999,
};

/* Record areas: a 32-byte header, then the record. */
static struct { uint8_t header[32]; uint8_t record[TRANS_LENGTH]; } trans_area;
static struct { uint8_t header[32]; uint8_t record[REPORT_LENGTH]; } report_area;
static void* trans_cell = &trans_area;
static void* report_cell = &report_area;
static char statuses[4];           /* TRANS-STATUS, REPORT-STATUS */
static void* status_cell = statuses;

static uint8_t amount[5];                                     /* S9(7)V99 COMP-3 */
static uint8_t total[7] = {0, 0, 0, 0, 0, 0, 0x0C};           /* S9(11)V99 COMP-3 */
static uint8_t edited[18];                                    /* -ZZ,ZZZ,ZZZ,ZZ9.99 */

static void declare(FIB* fib, FCB* fcb, const char* name, const char* assignment, uint32_t length,
                    void** cell, uint32_t statusOffset) {
    fib->index = (uint32_t)(fib - fibs) + 1;
    memcpy(fib->defaultPrefix, "???", 3);
    fib->organization = ZVK_ORG_LINE_SEQUENTIAL;
    fib->access = ZVK_ACCESS_SEQUENTIAL;
    fib->flags = ZVK_FIB_ASSIGN_ENV;
    fib->maxLength = fib->minLength = length;
    snprintf(fib->name, sizeof fib->name, "%s", name);
    fib->assignment = (char*)assignment;
    fib->assignLength = (uint16_t)strlen(assignment);
    fib->recordCell = cell;
    fib->statusCell = &status_cell;
    fib->statusOffset = statusOffset;
    memcpy(fcb->eye, "FCB", 3);
    fcb->index = fib->index;
    fcb->maxLength = length;
}

/* MOVE of a packed item of `digits` digits (two decimals) to EDITED. */
static void edit(const uint8_t* packed, int32_t digits) {
    static const char picture[] = "-ZZ,ZZZ,ZZZ,ZZ9.99";
    static uint8_t record[5 + sizeof picture - 1];
    uint8_t signed_digits[1 + 13];
    int16_t length = (int16_t)(sizeof picture - 1);
    memcpy(record, &length, 2);
    record[2] = '.';
    record[3] = '$';
    record[4] = ZVK_EDIT_FLOAT_MINUS;
    memcpy(record + 5, picture, sizeof picture - 1);
    _zvkcBCD_CONV_Pckd_To_ZndLS(packed, signed_digits, 13, digits);
    _zvkcMoveNumToNumEdit((const NumericEditRecord*)record, signed_digits, edited);
}

/* REPORT-LINE from a text and, but for the heading, EDITED. */
static int32_t write_line(const char* front, uint32_t how, int heading) {
    memset(report_area.record, ' ', REPORT_LENGTH);
    memcpy(report_area.record, front, strlen(front));
    if (!heading) memcpy(report_area.record + 8, edited, sizeof edited);
    return fcbs[REPORT].write(&fcbs[REPORT], batch_ipcb, how, REPORT_LENGTH);
}

static void display_total(int count) {
    char number[12];
    snprintf(number, sizeof number, "%d", count);
    DisplayRequest request = {.itemCount = 4, .device = ZVK_DISPLAY_SYSOUT, .decimalPoint = '.'};
    DisplayItem items[] = {
        {"DEMOBATCH: ", 11, 0, ZVK_ITEM_ALPHA, 0},
        {number, strlen(number), 0, ZVK_ITEM_ALPHA, 0},
        {" TRANSACTIONS, TOTAL ", 21, 0, ZVK_ITEM_ALPHA, 0},
        {edited, sizeof edited, 0, ZVK_ITEM_ALPHA, 0},
    };
    _zvkcDisplay(&request, items);
}

int main(void) {
    declare(&fibs[TRANS], &fcbs[TRANS], "TRANS", "TRANSIN", TRANS_LENGTH, &trans_cell, 0);
    declare(&fibs[REPORT], &fcbs[REPORT], "REPORT", "REPORTOUT", REPORT_LENGTH, &report_cell, 2);
    batch_ipcb[0].fcbs = fcb_list;
    batch_ipcb[0].fileCount = 2;
    batch_ipcb[0].entry = (void*)&main;
    _zvkPgmInit(&batch_pcb);
    if (sigsetjmp(*_zvkGetJmpBuffer(), 1) != 0) {
        _zvkPgmTerm(&batch_pcb);
        return 0;
    }
    FCB* trans = &fcbs[TRANS];
    FCB* report = &fcbs[REPORT];
    trans->openMode = ZVK_OPEN_INPUT;
    report->openMode = ZVK_OPEN_OUTPUT;
    if (trans->open(trans, batch_ipcb) > 9 || report->open(report, batch_ipcb) > 9) {
        printf("DEMOBATCH: OPEN FAILED, STATUS %.2s %.2s\n", statuses, statuses + 2);
        _zvkRunUnitTerm(16);
    }
    write_line("ACCOUNT                 AMOUNT", ZVK_WRITE_PLAIN, 1);
    int count = 0;
    for (;;) {
        trans->clauses = ZVK_CLAUSE_AT_END;
        if (trans->read(trans, batch_ipcb, ZVK_READ_NEXT, 0) == 10) break;
        _zvkcBCD_CONV_ZndLS_To_Pckd(trans_area.record + 9, amount, 9, 9);
        _zvkcBCD_ADD_Pckd(amount, total, total, 13, 13, 9);
        edit(amount, 9);
        char account[9] = {0};
        memcpy(account, trans_area.record, 8);
        write_line(account, ZVK_WRITE_PLAIN, 0);
        ++count;
    }
    edit(total, 13);
    write_line("TOTAL", ZVK_WRITE_AFTER | ZVK_WRITE_LINES(1), 0);
    trans->closeOptions = report->closeOptions = 0;
    trans->close(trans, batch_ipcb);
    report->close(report, batch_ipcb);
    display_total(count);
    _zvkRunUnitTerm(0);
}

/*
 * An indexed-file program as the compiler emits it: it loads a file of
 * accounts with a prime key and an alternate key WITH DUPLICATES, reads it
 * by either key, STARTs, reads NEXT and PREVIOUS, REWRITEs and DELETEs,
 * and prints what it found into a line-sequential report, the next
 * generation of a generation data group.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOINDEXED.
 *   FILE-CONTROL.
 *       SELECT ACCOUNTS ASSIGN TO ACCTFILE ORGANIZATION INDEXED
 *              ACCESS DYNAMIC RECORD KEY IS A-ID
 *              ALTERNATE RECORD KEY IS A-BRANCH WITH DUPLICATES
 *              FILE STATUS IS ACCT-STATUS.
 *       SELECT REPORT ASSIGN TO REPORTOUT ORGANIZATION LINE SEQUENTIAL
 *              FILE STATUS IS REPORT-STATUS.
 *   FD ACCOUNTS.  01 ACCT-REC.  05 A-ID      PIC X(6).
 *                               05 A-BRANCH  PIC X(4).
 *                               05 A-NAME    PIC X(20).
 *                               05 A-BALANCE PIC 9(8)V99.
 *   FD REPORT.    01 REPORT-LINE PIC X(64).
 *   PROCEDURE DIVISION.
 *       OPEN OUTPUT ACCOUNTS REPORT.
 *       PERFORM VARYING I FROM 1 BY 1 UNTIL I > 8
 *         WRITE ACCT-REC FROM ACCOUNT(I) INVALID KEY ... END-WRITE
 *       END-PERFORM.
 *       WRITE ACCT-REC FROM ACCOUNT(3) INVALID KEY ...     *> 22
 *       CLOSE ACCOUNTS.  OPEN I-O ACCOUNTS.
 *       MOVE "A00005" TO A-ID.  READ ACCOUNTS KEY IS A-ID.
 *       MOVE "EAST" TO A-BRANCH.  READ ACCOUNTS KEY IS A-BRANCH.
 *       PERFORM UNTIL A-BRANCH NOT = "EAST"  READ ACCOUNTS NEXT ...
 *       MOVE "A00004" TO A-ID.  START ACCOUNTS KEY >= A-ID.
 *       READ ACCOUNTS NEXT (three times), READ ACCOUNTS PREVIOUS (twice).
 *       MOVE "A00002" TO A-ID.  READ ACCOUNTS.  MOVE "WEST" TO A-BRANCH.
 *       ADD 25 TO A-BALANCE.  REWRITE ACCT-REC.
 *       MOVE "A00004" TO A-ID.  DELETE ACCOUNTS.  READ ACCOUNTS KEY IS A-ID.
 *       MOVE LOW-VALUES TO A-BRANCH.  START ACCOUNTS KEY >= A-BRANCH.
 *       PERFORM UNTIL ACCT-STATUS = "10"  READ ACCOUNTS NEXT ...
 *       CLOSE ACCOUNTS REPORT.
 *       DISPLAY "DEMOINDEXED: " COUNT " ACCOUNTS BY BRANCH".
 *       STOP RUN.
 *
 * ACCTFILE and REPORTOUT name the files through the environment;
 * REPORTOUT may be a generation, such as "report(+1)".
 */
#include <kvr2/kvr2.h>
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

enum { ACCOUNTS = 0, REPORT = 1, ACCT_LENGTH = 40, REPORT_LENGTH = 64 };
enum { ID = 0, ID_LENGTH = 6, BRANCH = 6, BRANCH_LENGTH = 4, NAME = 10, BALANCE = 30 };

static IPCB indexed_ipcb[1];
/* The FIB of an indexed file has its key table behind it. */
static struct {
    FIB fib;
    ZvkFileKey keys[2];
} accounts_fib = {.keys = {{ID_LENGTH, ID, 0, {0}}, {BRANCH_LENGTH, BRANCH, 1, {0}}}};
static FIB report_fib;
static FIB* fib_list[2] = {&accounts_fib.fib, &report_fib};
static FCB fcbs[2];
static void* fcb_list[2] = {&fcbs[0], &fcbs[1]};
static PCB indexed_pcb = {
    .version = {6, 1, 0},
    .ipcb = indexed_ipcb,
    .name = "DEMOINDEXED",
    .nameLength = 11,
    .fib = fib_list,
    .yearWindow = 9999,
};

static struct { uint8_t header[32]; char record[ACCT_LENGTH]; } acct_area;
static struct { uint8_t header[32]; char record[REPORT_LENGTH]; } report_area;
static void* acct_cell = &acct_area;
static void* report_cell = &report_area;
static char statuses[4];           /* ACCT-STATUS, REPORT-STATUS */
static void* status_cell = statuses;

/* ACCOUNT(1..8): A-ID, A-BRANCH, A-NAME, A-BALANCE. */
static const char* const accounts[8] = {
    "A00003EASTCAROL CHEN          0000120050",
    "A00001NORTALICE ADAMS         0000150000",
    "A00006EASTFRANK OSEI          0000009999",
    "A00002SOUTBOB BRANDT          0000002500",
    "A00008WESTHELEN IKEDA         0001000000",
    "A00005EASTERIN DUBOIS         0000073010",
    "A00004NORTDAVID FISCHER       0000000001",
    "A00007SOUTGRACE HOLM          0000450000",
};

static void declare(FIB* fib, FCB* fcb, uint32_t index, const char* name, const char* assignment,
                    uint8_t organization, uint32_t length, void** cell, uint32_t statusOffset) {
    fib->index = index;
    memcpy(fib->defaultPrefix, "???", 3);
    fib->organization = organization;
    fib->access = organization == ZVK_ORG_INDEXED ? ZVK_ACCESS_DYNAMIC : ZVK_ACCESS_SEQUENTIAL;
    fib->recordFormat = ZVK_RECORD_FIXED;
    fib->flags = ZVK_FIB_ASSIGN_ENV;
    fib->maxLength = fib->minLength = length;
    snprintf(fib->name, sizeof fib->name, "%s", name);
    fib->assignment = (char*)assignment;
    fib->assignLength = (uint16_t)strlen(assignment);
    fib->recordCell = cell;
    fib->statusCell = &status_cell;
    fib->statusOffset = statusOffset;
    memcpy(fcb->eye, "FCB", 3);
    fcb->index = index;
    fcb->maxLength = length;
}

/* REPORT-LINE: a text, then, when asked, the account in the record area
 * with its fields apart, or ACCT-STATUS. */
enum { TEXT_ONLY, WITH_RECORD, WITH_STATUS };
static void report(const char* text, int what) {
    FCB* fcb = &fcbs[REPORT];
    char* line = report_area.record;
    memset(line, ' ', REPORT_LENGTH);
    memcpy(line, text, strlen(text));
    if (what == WITH_RECORD) {
        const char* r = acct_area.record;
        memcpy(line + 18, r + ID, ID_LENGTH);
        memcpy(line + 25, r + BRANCH, BRANCH_LENGTH);
        memcpy(line + 30, r + NAME, 20);
        memcpy(line + 50, r + BALANCE, 8);
        line[58] = '.';
        memcpy(line + 59, r + BALANCE + 8, 2);
    } else if (what == WITH_STATUS) {
        memcpy(line + 18, "STATUS ", 7);
        memcpy(line + 25, statuses, 2);
    }
    fcb->write(fcb, indexed_ipcb, ZVK_WRITE_PLAIN, REPORT_LENGTH);
}

/* The verbs on ACCOUNTS, with INVALID KEY or AT END phrases: the program
 * looks at ACCT-STATUS after each. */
static int32_t acct_read(uint32_t how) {
    FCB* fcb = &fcbs[ACCOUNTS];
    fcb->clauses = (how & 0xFF) == ZVK_READ_KEY ? ZVK_CLAUSE_INVALID_KEY : ZVK_CLAUSE_AT_END;
    return fcb->read(fcb, indexed_ipcb, how, 0);
}
static int32_t acct_verb(zvkFileVerb verb, uint32_t how) {
    FCB* fcb = &fcbs[ACCOUNTS];
    fcb->clauses = ZVK_CLAUSE_INVALID_KEY;
    return verb(fcb, indexed_ipcb, how, ACCT_LENGTH);
}

static void display_count(int count) {
    char number[12];
    snprintf(number, sizeof number, "%d", count);
    DisplayRequest request = {.itemCount = 3, .device = ZVK_DISPLAY_SYSOUT, .decimalPoint = '.'};
    DisplayItem items[] = {
        {"DEMOINDEXED: ", 13, 0, ZVK_ITEM_ALPHA, 0},
        {number, strlen(number), 0, ZVK_ITEM_ALPHA, 0},
        {" ACCOUNTS BY BRANCH", 19, 0, ZVK_ITEM_ALPHA, 0},
    };
    _zvkcDisplay(&request, items);
}

int main(void) {
    accounts_fib.fib.keyCount = 2;
    accounts_fib.fib.keyTableOffset = (uint32_t)((char*)&accounts_fib.keys - (char*)&accounts_fib);
    declare(&accounts_fib.fib, &fcbs[ACCOUNTS], 1, "ACCOUNTS", "ACCTFILE", ZVK_ORG_INDEXED, ACCT_LENGTH,
            &acct_cell, 0);
    declare(&report_fib, &fcbs[REPORT], 2, "REPORT", "REPORTOUT", ZVK_ORG_LINE_SEQUENTIAL, REPORT_LENGTH,
            &report_cell, 2);
    indexed_ipcb[0].fcbs = fcb_list;
    indexed_ipcb[0].fileCount = 2;
    indexed_ipcb[0].entry = (void*)&main;
    _zvkPgmInit(&indexed_pcb);
    if (sigsetjmp(*_zvkGetJmpBuffer(), 1) != 0) {
        _zvkPgmTerm(&indexed_pcb);
        return 0;
    }
    FCB* acct = &fcbs[ACCOUNTS];
    FCB* rep = &fcbs[REPORT];
    acct->openMode = ZVK_OPEN_OUTPUT;
    rep->openMode = ZVK_OPEN_OUTPUT;
    if (acct->open(acct, indexed_ipcb) > 9 || rep->open(rep, indexed_ipcb) > 9) {
        printf("DEMOINDEXED: OPEN FAILED, STATUS %.2s %.2s\n", statuses, statuses + 2);
        _zvkRunUnitTerm(16);
    }
    for (int i = 0; i < 8; ++i) {
        memcpy(acct_area.record, accounts[i], ACCT_LENGTH);
        if (acct_verb(acct->write, ZVK_WRITE_PLAIN) > 9) report("WRITE FAILED", WITH_STATUS);
    }
    report("LOADED 8 ACCOUNTS", TEXT_ONLY);
    memcpy(acct_area.record, accounts[0], ACCT_LENGTH);
    acct_verb(acct->write, ZVK_WRITE_PLAIN);
    report("DUPLICATE A00003", WITH_STATUS);
    acct->closeOptions = 0;
    acct->close(acct, indexed_ipcb);

    acct->openMode = ZVK_OPEN_IO;
    if (acct->open(acct, indexed_ipcb) > 9) report("OPEN I-O FAILED", WITH_STATUS);
    memcpy(acct_area.record + ID, "A00005", ID_LENGTH);
    if (acct_read(ZVK_READ_KEY | ZVK_HOW_KEY(0)) < 10) report("BY ID A00005", WITH_RECORD);

    memcpy(acct_area.record + BRANCH, "EAST", BRANCH_LENGTH);
    if (acct_read(ZVK_READ_KEY | ZVK_HOW_KEY(1)) < 10) report("BY BRANCH EAST", WITH_RECORD);
    while (acct_read(ZVK_READ_NEXT) < 10 && memcmp(acct_area.record + BRANCH, "EAST", BRANCH_LENGTH) == 0)
        report("  NEXT", WITH_RECORD);

    memcpy(acct_area.record + ID, "A00004", ID_LENGTH);
    acct_verb(acct->start, ZVK_START_NOT_LESS | ZVK_HOW_KEY(0));
    report("START ID>=A00004", WITH_STATUS);
    for (int i = 0; i < 3; ++i)
        if (acct_read(ZVK_READ_NEXT) < 10) report("  NEXT", WITH_RECORD);
    for (int i = 0; i < 2; ++i)
        if (acct_read(ZVK_READ_PREVIOUS) < 10) report("  PREVIOUS", WITH_RECORD);

    memcpy(acct_area.record + ID, "A00002", ID_LENGTH);
    if (acct_read(ZVK_READ_KEY | ZVK_HOW_KEY(0)) < 10) {
        memcpy(acct_area.record + BRANCH, "WEST", BRANCH_LENGTH);
        memcpy(acct_area.record + BALANCE, "0000005000", 10);   /* ADD 25 TO A-BALANCE */
        acct_verb(acct->rewrite, 0);
        report("REWRITE A00002", WITH_STATUS);
    }
    memcpy(acct_area.record + ID, "A00004", ID_LENGTH);
    acct_verb(acct->deleteRecord, 0);
    report("DELETE A00004", WITH_STATUS);
    acct_read(ZVK_READ_KEY | ZVK_HOW_KEY(0));
    report("BY ID A00004", WITH_STATUS);

    memset(acct_area.record + BRANCH, 0, BRANCH_LENGTH);
    acct_verb(acct->start, ZVK_START_NOT_LESS | ZVK_HOW_KEY(1));
    report("ALL BY BRANCH", TEXT_ONLY);
    int count = 0;
    while (acct_read(ZVK_READ_NEXT) < 10) {
        report("", WITH_RECORD);
        ++count;
    }
    report("END OF ACCOUNTS", WITH_STATUS);
    acct->closeOptions = rep->closeOptions = 0;
    acct->close(acct, indexed_ipcb);
    rep->close(rep, indexed_ipcb);
    display_count(count);
    _zvkRunUnitTerm(0);
}

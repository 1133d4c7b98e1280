/*
 * A sorting program as the compiler emits it.  The first SORT takes the
 * transactions through an INPUT PROCEDURE, which turns their amounts into
 * packed decimal, and hands them sorted by account, largest amount first,
 * to an OUTPUT PROCEDURE that prints them with a packed total per account.
 * The second SORT takes the indexed file of accounts the indexed demo
 * wrote and gives it, by branch and largest balance first, to a
 * line-sequential file.
 *
 *   IDENTIFICATION DIVISION.  PROGRAM-ID. DEMOSORT.
 *   FILE-CONTROL.
 *       SELECT TRANS    ASSIGN TO TRANSIN    ORGANIZATION LINE SEQUENTIAL.
 *       SELECT SUMMARY  ASSIGN TO SUMMARYOUT ORGANIZATION LINE SEQUENTIAL.
 *       SELECT ACCOUNTS ASSIGN TO ACCTFILE   ORGANIZATION INDEXED
 *              ACCESS SEQUENTIAL RECORD KEY IS A-ID
 *              ALTERNATE RECORD KEY IS A-BRANCH WITH DUPLICATES.
 *       SELECT BYBRANCH ASSIGN TO BRANCHOUT  ORGANIZATION LINE SEQUENTIAL.
 *       SELECT WORK1 ASSIGN TO "W1".   SELECT WORK2 ASSIGN TO "W2".
 *   FD TRANS.     01 TRANS-REC.  05 T-ACCOUNT PIC X(8).  05 FILLER PIC X.
 *                                05 T-AMOUNT  PIC S9(7)V99 SIGN LEADING SEPARATE.
 *   FD SUMMARY.   01 SUMMARY-LINE PIC X(40).
 *   FD ACCOUNTS.  01 ACCT-REC    PIC X(40).
 *   FD BYBRANCH.  01 BRANCH-REC  PIC X(40).
 *   SD WORK1.     01 W1-REC.     05 W1-ACCOUNT PIC X(8).
 *                                05 W1-AMOUNT  PIC S9(7)V99 COMP-3.
 *   SD WORK2.     01 W2-REC.     05 W2-ID PIC X(6).  05 W2-BRANCH PIC X(4).
 *                                05 FILLER PIC X(20).  05 W2-BALANCE PIC 9(8)V99.
 *   WORKING-STORAGE SECTION.
 *   01 SUBTOTAL PIC S9(11)V99 COMP-3.   01 TOTAL PIC S9(11)V99 COMP-3.
 *   01 EDITED   PIC -ZZ,ZZZ,ZZZ,ZZ9.99.
 *   PROCEDURE DIVISION.
 *       SORT WORK1 ON ASCENDING KEY W1-ACCOUNT DESCENDING KEY W1-AMOUNT
 *            INPUT PROCEDURE TAKE-TRANSACTIONS
 *            OUTPUT PROCEDURE PRINT-SUMMARY.
 *       SORT WORK2 ON ASCENDING KEY W2-BRANCH DESCENDING KEY W2-BALANCE
 *            USING ACCOUNTS GIVING BYBRANCH.
 *       DISPLAY "DEMOSORT: " COUNT " TRANSACTIONS IN " ACCOUNTS
 *               " ACCOUNTS, SORT-RETURN " SORT-RETURN.
 *       STOP RUN.
 *   TAKE-TRANSACTIONS.
 *       OPEN INPUT TRANS.
 *       PERFORM UNTIL end of TRANS
 *         READ TRANS  MOVE T-ACCOUNT TO W1-ACCOUNT  MOVE T-AMOUNT TO W1-AMOUNT
 *         RELEASE W1-REC
 *       END-PERFORM.  CLOSE TRANS.
 *   PRINT-SUMMARY.
 *       OPEN OUTPUT SUMMARY.
 *       PERFORM UNTIL end of WORK1
 *         RETURN WORK1; at a new account, the last one's SUBTOTAL line
 *         ADD W1-AMOUNT TO SUBTOTAL TOTAL; a line with the amount
 *       END-PERFORM.  the last SUBTOTAL line, the TOTAL line.  CLOSE SUMMARY.
 *
 * TRANSIN, SUMMARYOUT, ACCTFILE and BRANCHOUT name the files through the
 * environment.
 */
#include <kvr2/kvr2.h>
#include <kvr2/sortengine.h>
#include <setjmp.h>
#include <stdio.h>
#include <string.h>

enum { TRANS, SUMMARY, ACCOUNTS, BYBRANCH, FILES };
enum { TRANS_LENGTH = 19, LINE_LENGTH = 40, ACCT_LENGTH = 40, W1_LENGTH = 13 };

static IPCB sort_ipcb[1];
static struct {
    FIB fib;
    ZvkFileKey keys[2];
} accounts_fib = {.keys = {{6, 0, 0, {0}}, {4, 6, 1, {0}}}};
static FIB trans_fib, summary_fib, branch_fib;
static FIB* fib_list[FILES] = {&trans_fib, &summary_fib, &accounts_fib.fib, &branch_fib};
static FCB fcbs[FILES];
static void* fcb_list[FILES] = {&fcbs[0], &fcbs[1], &fcbs[2], &fcbs[3]};
static PCB sort_pcb = {
    .version = {6, 1, 0},
    .ipcb = sort_ipcb,
    .name = "DEMOSORT",
    .nameLength = 8,
    .fib = fib_list,
    .yearWindow = 9999,
};

static struct { uint8_t header[32]; uint8_t record[TRANS_LENGTH]; } trans_area;
static struct { uint8_t header[32]; uint8_t record[LINE_LENGTH]; } summary_area;
static struct { uint8_t header[32]; uint8_t record[ACCT_LENGTH]; } acct_area;
static struct { uint8_t header[32]; uint8_t record[ACCT_LENGTH]; } branch_area;
static void* cells[FILES] = {&trans_area, &summary_area, &acct_area, &branch_area};

static uint8_t w1_rec[W1_LENGTH];                                /* W1-ACCOUNT, W1-AMOUNT */
static uint8_t subtotal[7] = {0, 0, 0, 0, 0, 0, 0x0C};          /* S9(11)V99 COMP-3 */
static uint8_t total[7] = {0, 0, 0, 0, 0, 0, 0x0C};
static uint8_t edited[18];                                       /* -ZZ,ZZZ,ZZZ,ZZ9.99 */
static uint16_t sort_return;

/* The sort descriptions: record form and keys, as the compiler lays them out. */
static SortRecordDesc w1_desc = {.recordFormat = ZVK_SORT_FIXED_BLANK, .recordLength = W1_LENGTH};
static SortRecordDesc w2_desc = {.recordFormat = ZVK_SORT_FIXED_BLANK, .recordLength = ACCT_LENGTH};
static struct {
    ZvkSortKeyBlock head;
    TableSortKey keys[2];
} w1_keys = {{ZVK_SORTENG_KEY_MAGIC, ZVK_SORTENG_KEY_VERSION, 0, 2, 0},
             {{0, 8, ZVK_TSORT_ALPHANUMERIC, 0, ZVK_TSORT_ASCENDING, {0}},
              {8, 5, ZVK_TSORT_PACKED, 0, 0, {0}}}},
  w2_keys = {{ZVK_SORTENG_KEY_MAGIC, ZVK_SORTENG_KEY_VERSION, 0, 2, 0},
             {{6, 4, ZVK_TSORT_ALPHANUMERIC, 0, ZVK_TSORT_ASCENDING, {0}},
              {30, 10, ZVK_TSORT_ZONED, 0, 0, {0}}}};

static void declare(int file, const char* name, const char* assignment, uint8_t organization,
                    uint32_t length) {
    FIB* fib = fib_list[file];
    fib->index = (uint32_t)file + 1;
    memcpy(fib->defaultPrefix, "???", 3);
    fib->organization = organization;
    fib->access = ZVK_ACCESS_SEQUENTIAL;
    fib->recordFormat = ZVK_RECORD_FIXED;
    fib->flags = ZVK_FIB_ASSIGN_ENV;
    fib->maxLength = fib->minLength = length;
    if (organization == ZVK_ORG_INDEXED) {
        fib->keyCount = 2;
        fib->keyTableOffset = (uint32_t)((char*)&accounts_fib.keys - (char*)&accounts_fib);
    }
    snprintf(fib->name, sizeof fib->name, "%s", name);
    fib->assignment = (char*)assignment;
    fib->assignLength = (uint16_t)strlen(assignment);
    fib->recordCell = &cells[file];
    FCB* fcb = &fcbs[file];
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

/* SUMMARY-LINE: an account or a word, then EDITED. */
static void print(const uint8_t* front, size_t length) {
    FCB* fcb = &fcbs[SUMMARY];
    memset(summary_area.record, ' ', LINE_LENGTH);
    memcpy(summary_area.record, front, length);
    memcpy(summary_area.record + LINE_LENGTH - sizeof edited, edited, sizeof edited);
    fcb->write(fcb, sort_ipcb, ZVK_WRITE_PLAIN, LINE_LENGTH);
}

static int count;

static void take_transactions(void) {
    FCB* trans = &fcbs[TRANS];
    trans->openMode = ZVK_OPEN_INPUT;
    if (trans->open(trans, sort_ipcb) > 9) return;
    for (;;) {
        trans->clauses = ZVK_CLAUSE_AT_END;
        if (trans->read(trans, sort_ipcb, ZVK_READ_NEXT, 0) == 10) break;
        memcpy(w1_rec, trans_area.record, 8);
        _zvkcBCD_CONV_ZndLS_To_Pckd(trans_area.record + 9, w1_rec + 8, 9, 9);
        uint16_t status = 0;
        _zvkRelease(W1_LENGTH, w1_rec, &status);
        if (status) sort_return = status;
        ++count;
    }
    trans->closeOptions = 0;
    trans->close(trans, sort_ipcb);
}

static int print_summary(void) {
    FCB* summary = &fcbs[SUMMARY];
    summary->openMode = ZVK_OPEN_OUTPUT;
    if (summary->open(summary, sort_ipcb) > 9) return 0;
    static const uint8_t zero[7] = {0, 0, 0, 0, 0, 0, 0x0C};
    static uint8_t account[8];
    static int accounts;
    for (;;) {
        uint32_t length = 0;
        uint16_t status = 0;
        _zvkReturn(&length, w1_rec, &status);
        if (status == 1 || memcmp(account, w1_rec, 8) != 0) {
            if (accounts) {
                edit(subtotal, 13);
                print((const uint8_t*)"  SUBTOTAL", 10);
            }
            if (status == 1) break;
            memcpy(account, w1_rec, 8);
            memcpy(subtotal, zero, sizeof subtotal);
            ++accounts;
        }
        _zvkcBCD_ADD_Pckd(w1_rec + 8, subtotal, subtotal, 13, 13, 9);
        _zvkcBCD_ADD_Pckd(w1_rec + 8, total, total, 13, 13, 9);
        edit(w1_rec + 8, 9);
        print(w1_rec, 8);
    }
    edit(total, 13);
    print((const uint8_t*)"TOTAL", 5);
    summary->closeOptions = 0;
    summary->close(summary, sort_ipcb);
    return accounts;
}

static void display_counts(int accounts) {
    char numbers[3][12];
    snprintf(numbers[0], sizeof numbers[0], "%d", count);
    snprintf(numbers[1], sizeof numbers[1], "%d", accounts);
    snprintf(numbers[2], sizeof numbers[2], "%u", sort_return);
    DisplayRequest request = {.itemCount = 6, .device = ZVK_DISPLAY_SYSOUT, .decimalPoint = '.'};
    DisplayItem items[] = {
        {"DEMOSORT: ", 10, 0, ZVK_ITEM_ALPHA, 0},
        {numbers[0], strlen(numbers[0]), 0, ZVK_ITEM_ALPHA, 0},
        {" TRANSACTIONS IN ", 17, 0, ZVK_ITEM_ALPHA, 0},
        {numbers[1], strlen(numbers[1]), 0, ZVK_ITEM_ALPHA, 0},
        {" ACCOUNTS, SORT-RETURN ", 23, 0, ZVK_ITEM_ALPHA, 0},
        {numbers[2], strlen(numbers[2]), 0, ZVK_ITEM_ALPHA, 0},
    };
    _zvkcDisplay(&request, items);
}

int main(void) {
    declare(TRANS, "TRANS", "TRANSIN", ZVK_ORG_LINE_SEQUENTIAL, TRANS_LENGTH);
    declare(SUMMARY, "SUMMARY", "SUMMARYOUT", ZVK_ORG_LINE_SEQUENTIAL, LINE_LENGTH);
    declare(ACCOUNTS, "ACCOUNTS", "ACCTFILE", ZVK_ORG_INDEXED, ACCT_LENGTH);
    declare(BYBRANCH, "BYBRANCH", "BRANCHOUT", ZVK_ORG_LINE_SEQUENTIAL, ACCT_LENGTH);
    sort_ipcb[0].fcbs = fcb_list;
    sort_ipcb[0].fileCount = FILES;
    sort_ipcb[0].entry = (void*)&main;
    _zvkPgmInit(&sort_pcb);
    if (sigsetjmp(*_zvkGetJmpBuffer(), 1) != 0) {
        _zvkPgmTerm(&sort_pcb);
        return 0;
    }

    /* The compiler passes the option text in writable storage: the library
     * cuts it at its first blank. */
    char options[] = "MEMORY=1M  ";
    uint64_t eighth[3] = {0, ZVK_SORTENG_DUPLICATES_IN_ORDER, 0};
    SortVerbBlock block = {.sortReturn = &sort_return, .lineNumber = 37, .program = &sort_pcb};
    SortFileList none = {0, 0, NULL};

    _zvkSortMerge(ZVK_SORT_START, &block, &w1_desc, (uintptr_t)&w1_keys, options, &none, &none, eighth);
    take_transactions();
    _zvkSortMerge(ZVK_SORT_RUN, &block, &w1_desc, (uintptr_t)&w1_keys, options, &none, &none, eighth);
    const int accounts = print_summary();

    FCB* using_files[1] = {&fcbs[ACCOUNTS]};
    FCB* giving_files[1] = {&fcbs[BYBRANCH]};
    SortFileList using_list = {1, 0, using_files};
    SortFileList giving_list = {1, 0, giving_files};
    _zvkSortMerge(ZVK_SORT_START, &block, &w2_desc, (uintptr_t)&w2_keys, options, &using_list,
                  &giving_list, eighth);

    display_counts(accounts);
    _zvkRunUnitTerm(sort_return ? 16 : 0);
}

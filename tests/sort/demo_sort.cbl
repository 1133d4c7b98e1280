       IDENTIFICATION DIVISION.
       PROGRAM-ID. DEMOSORT.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT TRANS ASSIGN TO "TRANSIN"
               ORGANIZATION LINE SEQUENTIAL.
           SELECT SUMMARY ASSIGN TO "SUMMARYOUT"
               ORGANIZATION LINE SEQUENTIAL.
           SELECT ACCOUNTS ASSIGN TO "ACCTFILE"
               ORGANIZATION INDEXED ACCESS SEQUENTIAL
               RECORD KEY IS A-ID
               ALTERNATE RECORD KEY IS A-BRANCH WITH DUPLICATES.
           SELECT BYBRANCH ASSIGN TO "BRANCHOUT"
               ORGANIZATION LINE SEQUENTIAL.
           SELECT WORK1 ASSIGN TO "W1".
           SELECT WORK2 ASSIGN TO "W2".
       DATA DIVISION.
       FILE SECTION.
       FD TRANS.
       01 TRANS-REC.
          05 T-ACCOUNT PIC X(8).
          05 FILLER    PIC X.
          05 T-AMOUNT  PIC S9(7)V99 SIGN LEADING SEPARATE.
       FD SUMMARY.
       01 SUMMARY-LINE.
          05 S-FRONT   PIC X(22).
          05 S-EDITED  PIC ---,---,---,--9.99.
       FD ACCOUNTS.
       01 ACCT-REC.
          05 A-ID      PIC X(6).
          05 A-BRANCH  PIC X(4).
          05 FILLER    PIC X(30).
       FD BYBRANCH.
       01 BRANCH-REC   PIC X(40).
       SD WORK1.
       01 W1-REC.
          05 W1-ACCOUNT PIC X(8).
          05 W1-AMOUNT  PIC S9(7)V99 COMP-3.
       SD WORK2.
       01 W2-REC.
          05 W2-ID      PIC X(6).
          05 W2-BRANCH  PIC X(4).
          05 FILLER     PIC X(20).
          05 W2-BALANCE PIC 9(8)V99.
       WORKING-STORAGE SECTION.
       01 SUBTOTAL  PIC S9(11)V99 COMP-3 VALUE 0.
       01 TOTAL     PIC S9(11)V99 COMP-3 VALUE 0.
       01 LAST-ACCOUNT PIC X(8) VALUE LOW-VALUES.
       01 TRANS-COUNT PIC 9(4) VALUE 0.
       01 ACCOUNT-COUNT PIC 9(4) VALUE 0.
       01 END-FLAG  PIC X VALUE "N".
       PROCEDURE DIVISION.
       MAIN.
           SORT WORK1 ON ASCENDING KEY W1-ACCOUNT
                         DESCENDING KEY W1-AMOUNT
                INPUT PROCEDURE TAKE-TRANSACTIONS
                OUTPUT PROCEDURE PRINT-SUMMARY.
           SORT WORK2 ON ASCENDING KEY W2-BRANCH
                         DESCENDING KEY W2-BALANCE
                USING ACCOUNTS GIVING BYBRANCH.
           DISPLAY "DEMOSORT: " TRANS-COUNT " TRANSACTIONS IN "
                   ACCOUNT-COUNT " ACCOUNTS, SORT-RETURN " SORT-RETURN.
           STOP RUN.
       TAKE-TRANSACTIONS.
           OPEN INPUT TRANS.
           PERFORM UNTIL END-FLAG = "Y"
               READ TRANS
                   AT END MOVE "Y" TO END-FLAG
                   NOT AT END
                       MOVE T-ACCOUNT TO W1-ACCOUNT
                       MOVE T-AMOUNT TO W1-AMOUNT
                       RELEASE W1-REC
                       ADD 1 TO TRANS-COUNT
               END-READ
           END-PERFORM.
           CLOSE TRANS.
       PRINT-SUMMARY.
           OPEN OUTPUT SUMMARY.
           MOVE "N" TO END-FLAG.
           PERFORM UNTIL END-FLAG = "Y"
               RETURN WORK1
                   AT END MOVE "Y" TO END-FLAG
                   NOT AT END
                       IF W1-ACCOUNT NOT = LAST-ACCOUNT
                           IF ACCOUNT-COUNT > 0
                               PERFORM PRINT-SUBTOTAL
                           END-IF
                           MOVE W1-ACCOUNT TO LAST-ACCOUNT
                           MOVE 0 TO SUBTOTAL
                           ADD 1 TO ACCOUNT-COUNT
                       END-IF
                       ADD W1-AMOUNT TO SUBTOTAL TOTAL
                       MOVE W1-ACCOUNT TO S-FRONT
                       MOVE W1-AMOUNT TO S-EDITED
                       WRITE SUMMARY-LINE
               END-RETURN
           END-PERFORM.
           IF ACCOUNT-COUNT > 0
               PERFORM PRINT-SUBTOTAL
           END-IF.
           MOVE "TOTAL" TO S-FRONT.
           MOVE TOTAL TO S-EDITED.
           WRITE SUMMARY-LINE.
           CLOSE SUMMARY.
       PRINT-SUBTOTAL.
           MOVE "  SUBTOTAL" TO S-FRONT.
           MOVE SUBTOTAL TO S-EDITED.
           WRITE SUMMARY-LINE.

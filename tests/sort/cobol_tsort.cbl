      * Tables sorted by another COBOL runtime's table SORT, as an oracle
      * for _zvkcTSort.  Writes to the file named by the first argument:
      * the unsorted table (500 elements of 40 bytes), then the table
      * after each SORT in turn: each key ascending then descending, over
      * the first 150 elements and over all 500.  Keys are distinct.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. COBTSORT.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT OUT-FILE ASSIGN TO WS-NAME
               ORGANIZATION IS SEQUENTIAL.
       DATA DIVISION.
       FILE SECTION.
       FD  OUT-FILE.
       01  OUT-REC            PIC X(40).
       WORKING-STORAGE SECTION.
       01  WS-NAME            PIC X(200).
       01  WS-I               PIC 9(4) COMP-5.
       01  WS-K               PIC 9(4) COMP-5.
       01  WS-V               PIC S9(6).
       01  WS-D               PIC 9(4).
       01  WS-CNT             PIC 9(4) COMP-5.
       01  TBL.
           05  ENT OCCURS 1 TO 500 DEPENDING ON WS-CNT.
               10  K-ZON      PIC S9(5).
               10  K-ZLS      PIC S9(4) SIGN LEADING SEPARATE.
               10  K-PCK      PIC S9(7) COMP-3.
               10  K-BIN      PIC S9(9) COMP-5.
               10  K-UBIN     PIC 9(4) COMP-5.
               10  K-F1       COMP-1.
               10  K-F2       COMP-2.
               10  K-AN       PIC X(6).
               10  K-TAG      PIC 9(4) COMP-5.
       01  ORIG               PIC X(20000).
       PROCEDURE DIVISION.
           ACCEPT WS-NAME FROM ARGUMENT-VALUE
           OPEN OUTPUT OUT-FILE
           MOVE 500 TO WS-CNT
           PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > 500
               COMPUTE WS-V = FUNCTION MOD(WS-I * 7919, 1009) - 504
               COMPUTE K-ZON(WS-I) = WS-V * 7
               MOVE WS-V TO K-ZLS(WS-I)
               COMPUTE K-PCK(WS-I) = WS-V * 1001
               COMPUTE K-BIN(WS-I) = WS-V * 100003
               COMPUTE K-UBIN(WS-I) = WS-V + 504
               COMPUTE K-F1(WS-I) = WS-V / 8
               COMPUTE K-F2(WS-I) = WS-V * 1.5
               COMPUTE WS-D = FUNCTION MOD(WS-I * 389, 1009)
               MOVE SPACES TO K-AN(WS-I)
               STRING "K" WS-D DELIMITED BY SIZE INTO K-AN(WS-I)
               MOVE WS-I TO K-TAG(WS-I)
           END-PERFORM
           MOVE TBL TO ORIG
           PERFORM WRITE-TABLE
           MOVE 150 TO WS-CNT
           PERFORM SORT-ALL
           MOVE 500 TO WS-CNT
           PERFORM SORT-ALL
           CLOSE OUT-FILE
           STOP RUN.

       SORT-ALL.
           PERFORM VARYING WS-K FROM 1 BY 1 UNTIL WS-K > 16
               MOVE ORIG TO TBL
               EVALUATE WS-K
                 WHEN 1  SORT ENT ON ASCENDING KEY K-ZON
                 WHEN 2  SORT ENT ON DESCENDING KEY K-ZON
                 WHEN 3  SORT ENT ON ASCENDING KEY K-ZLS
                 WHEN 4  SORT ENT ON DESCENDING KEY K-ZLS
                 WHEN 5  SORT ENT ON ASCENDING KEY K-PCK
                 WHEN 6  SORT ENT ON DESCENDING KEY K-PCK
                 WHEN 7  SORT ENT ON ASCENDING KEY K-BIN
                 WHEN 8  SORT ENT ON DESCENDING KEY K-BIN
                 WHEN 9  SORT ENT ON ASCENDING KEY K-UBIN
                 WHEN 10 SORT ENT ON DESCENDING KEY K-UBIN
                 WHEN 11 SORT ENT ON ASCENDING KEY K-F1
                 WHEN 12 SORT ENT ON DESCENDING KEY K-F1
                 WHEN 13 SORT ENT ON ASCENDING KEY K-F2
                 WHEN 14 SORT ENT ON DESCENDING KEY K-F2
                 WHEN 15 SORT ENT ON ASCENDING KEY K-AN
                 WHEN 16 SORT ENT ON DESCENDING KEY K-AN
               END-EVALUATE
               PERFORM WRITE-TABLE
           END-PERFORM.

       WRITE-TABLE.
           PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-CNT
               MOVE ENT(WS-I) TO OUT-REC
               WRITE OUT-REC
           END-PERFORM.

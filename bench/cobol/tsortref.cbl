      * Reference loop for the table sort benchmark: SORT of a table of
      * 100,000 45-byte elements in another COBOL runtime, on a packed key
      * or an alphanumeric key.  Arguments: a mode (packed, alnum or loop)
      * and an iteration count.  Every iteration restores the unsorted
      * table first; the loop mode does only that.  The table is filled
      * as tsort_bench.cpp fills it (the same generator).
       IDENTIFICATION DIVISION.
       PROGRAM-ID. TSORTREF.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       01  WS-ARG             PIC X(60).
       01  WS-MODE            PIC X(8).
       01  WS-NTXT            PIC X(20).
       01  WS-N               PIC 9(10) COMP-5.
       01  WS-I               PIC 9(10) COMP-5.
       01  WS-J               PIC 9(10) COMP-5.
       01  WS-SEED            PIC 9(18) COMP-5 VALUE 12345.
       01  WS-SEED-D          PIC 9(10).
       01  TBL.
           05  ENT OCCURS 100000.
               10  E-PK       PIC S9(9) COMP-3.
               10  E-AK       PIC X(10).
               10  E-REST     PIC X(30).
       01  ORIG.
           05  O-ENT OCCURS 100000 PIC X(45).
       PROCEDURE DIVISION.
           ACCEPT WS-ARG FROM COMMAND-LINE
           UNSTRING WS-ARG DELIMITED BY ALL SPACE
               INTO WS-MODE WS-NTXT
           END-UNSTRING
           COMPUTE WS-N = FUNCTION NUMVAL(WS-NTXT)
           PERFORM VARYING WS-J FROM 1 BY 1 UNTIL WS-J > 100000
               COMPUTE WS-SEED = FUNCTION MOD(WS-SEED * 48271,
                                              2147483647)
               COMPUTE E-PK(WS-J) =
                   FUNCTION MOD(WS-SEED, 1000000000) - 500000000
               MOVE WS-SEED TO WS-SEED-D
               MOVE WS-SEED-D TO E-AK(WS-J)
               MOVE ALL "R" TO E-REST(WS-J)
           END-PERFORM
           MOVE TBL TO ORIG
           EVALUATE WS-MODE
             WHEN "packed"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 MOVE ORIG TO TBL
                 SORT ENT ON ASCENDING KEY E-PK
               END-PERFORM
             WHEN "alnum"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 MOVE ORIG TO TBL
                 SORT ENT ON ASCENDING KEY E-AK
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 MOVE ORIG TO TBL
               END-PERFORM
           END-EVALUATE
           STOP RUN.

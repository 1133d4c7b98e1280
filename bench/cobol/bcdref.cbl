      * Reference loop for the decimal benchmarks: the same statements
      * in another COBOL runtime.  Arguments: a mode (add, cmp or loop)
      * and an iteration count.  The loop mode is the bare loop, which
      * the timing subtracts.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. BCDREF.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       01  WS-ARG             PIC X(60).
       01  WS-MODE            PIC X(8).
       01  WS-NTXT            PIC X(20).
       01  WS-N               PIC 9(10) COMP-5.
       01  WS-I               PIC 9(10) COMP-5.
       01  WS-CNT             PIC 9(10) COMP-5 VALUE 0.
       01  WS-REC.
           05  A              PIC S9(15) COMP-3 VALUE 1234567.
           05  B              PIC S9(15) COMP-3 VALUE 100000000000000.
           05  X              PIC S9(15) COMP-3 VALUE 200000000000000.
           05  Y              PIC S9(15) COMP-3 VALUE 100000000000000.
       PROCEDURE DIVISION.
           ACCEPT WS-ARG FROM COMMAND-LINE
           UNSTRING WS-ARG DELIMITED BY ALL SPACE
               INTO WS-MODE WS-NTXT
           END-UNSTRING
           COMPUTE WS-N = FUNCTION NUMVAL(WS-NTXT)
           EVALUATE WS-MODE
             WHEN "add"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 ADD A TO B
               END-PERFORM
             WHEN "cmp"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 IF X < Y
                   ADD 1 TO WS-CNT
                 END-IF
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 CONTINUE
               END-PERFORM
           END-EVALUATE
           DISPLAY B " " WS-CNT
           STOP RUN.

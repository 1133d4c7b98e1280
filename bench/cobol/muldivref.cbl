      * Reference loop for the multiply, divide and scaling benchmarks:
      * the same statements in another COBOL runtime.  Arguments: a mode
      * (mpy15, mpy31, div, rnd or loop) and an iteration count.  The
      * loop mode is the bare loop, which the timing subtracts.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. MULDIVREF.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       01  WS-ARG             PIC X(60).
       01  WS-MODE            PIC X(8).
       01  WS-NTXT            PIC X(20).
       01  WS-N               PIC 9(10) COMP-5.
       01  WS-I               PIC 9(10) COMP-5.
       01  WS-REC.
           05  A15            PIC S9(15) COMP-3 VALUE 123456789012345.
           05  B15            PIC S9(15) COMP-3 VALUE 987654321098765.
           05  P30            PIC S9(30) COMP-3.
           05  A31            PIC S9(31) COMP-3
                   VALUE 1234567890123456789012345678901.
           05  B31            PIC S9(31) COMP-3
                   VALUE 9876543210987654321098765432109.
           05  P62            PIC S9(31) COMP-3.
           05  Q16            PIC S9(16) COMP-3.
           05  R15            PIC S9(15) COMP-3.
           05  S15            PIC S9(13)V99 COMP-3
                   VALUE 1234567890123.45.
           05  T13            PIC S9(13) COMP-3.
       PROCEDURE DIVISION.
           ACCEPT WS-ARG FROM COMMAND-LINE
           UNSTRING WS-ARG DELIMITED BY ALL SPACE
               INTO WS-MODE WS-NTXT
           END-UNSTRING
           COMPUTE WS-N = FUNCTION NUMVAL(WS-NTXT)
           EVALUATE WS-MODE
             WHEN "mpy15"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 MULTIPLY A15 BY B15 GIVING P30
               END-PERFORM
             WHEN "mpy31"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 MULTIPLY A31 BY B31 GIVING P62
               END-PERFORM
             WHEN "div"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 DIVIDE A31 BY B15 GIVING Q16
               END-PERFORM
             WHEN "rnd"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 COMPUTE T13 ROUNDED = S15
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 CONTINUE
               END-PERFORM
           END-EVALUATE
           DISPLAY P30 " " P62 " " Q16 " " T13
           STOP RUN.

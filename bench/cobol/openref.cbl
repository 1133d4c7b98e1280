      * Reference loop for the file benchmark: OPEN INPUT and CLOSE of an
      * existing sequential file in another COBOL runtime.  Arguments: a
      * mode (open or loop) and an iteration count; the file openref.dat
      * in the current directory.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. OPENREF.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT F ASSIGN TO "openref.dat"
               ORGANIZATION IS SEQUENTIAL
               FILE STATUS IS FS.
       DATA DIVISION.
       FILE SECTION.
       FD  F.
       01  FR                 PIC X(80).
       WORKING-STORAGE SECTION.
       01  FS                 PIC XX.
       01  WS-ARG             PIC X(60).
       01  WS-MODE            PIC X(8).
       01  WS-NTXT            PIC X(20).
       01  WS-N               PIC 9(10) COMP-5.
       01  WS-I               PIC 9(10) COMP-5.
       PROCEDURE DIVISION.
           ACCEPT WS-ARG FROM COMMAND-LINE
           UNSTRING WS-ARG DELIMITED BY ALL SPACE
               INTO WS-MODE WS-NTXT
           END-UNSTRING
           COMPUTE WS-N = FUNCTION NUMVAL(WS-NTXT)
           EVALUATE WS-MODE
             WHEN "open"
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 OPEN INPUT F
                 CLOSE F
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING WS-I FROM 1 BY 1 UNTIL WS-I > WS-N
                 CONTINUE
               END-PERFORM
           END-EVALUATE
           STOP RUN.

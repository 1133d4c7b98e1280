      *> The same statements as edit_inspect_bench, in a loop, for a
      *> GnuCOBOL build (cobc -x -O2).  Argument: EDIT, INSPECT or EMPTY
      *> (the loop alone); run under `time` and divide by the count.
       IDENTIFICATION DIVISION.
       PROGRAM-ID. EDITBENCH.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
       01 MODE-ARG   PIC X(8).
       01 LOOPS      PIC 9(9) COMP-5 VALUE 10000000.
       01 I          PIC 9(9) COMP-5.
       01 SRC        PIC S9(7)V99 VALUE -1234567.89.
       01 ED         PIC -Z,ZZZ,ZZ9.99.
       01 ITEM       PIC X(80) VALUE "THE QUICK BROWN FOX JUMPS OVER THE
      -    " LAZY DOG AND A CAT AT A BANANA STAND ALL DAY ".
       01 CNT        PIC 9(9) COMP-5.
       PROCEDURE DIVISION.
           ACCEPT MODE-ARG FROM COMMAND-LINE
           EVALUATE MODE-ARG
             WHEN "EDIT"
               PERFORM VARYING I FROM 1 BY 1 UNTIL I > LOOPS
                 MOVE SRC TO ED
               END-PERFORM
             WHEN "INSPECT"
               PERFORM VARYING I FROM 1 BY 1 UNTIL I > LOOPS
                 MOVE 0 TO CNT
                 INSPECT ITEM TALLYING CNT FOR ALL "A"
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING I FROM 1 BY 1 UNTIL I > LOOPS
                 MOVE 0 TO CNT
               END-PERFORM
           END-EVALUATE
           DISPLAY ED " " CNT
           STOP RUN.

       IDENTIFICATION DIVISION.
       PROGRAM-ID. COBFSORT.
      * Writes 6000 records to sort_in.txt, then sorts them with SORT
      * USING and GIVING into sort_cobc.txt: an alphanumeric key up,
      * an unsigned zoned key down, a signed zoned key (leading
      * separate sign) up; the record number keeps the records apart.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT IN-FILE ASSIGN TO "sort_in.txt"
               ORGANIZATION IS LINE SEQUENTIAL.
           SELECT OUT-FILE ASSIGN TO "sort_cobc.txt"
               ORGANIZATION IS LINE SEQUENTIAL.
           SELECT SORT-FILE ASSIGN TO "sortwork".
       DATA DIVISION.
       FILE SECTION.
       FD IN-FILE.
       01 IN-REC PIC X(24).
       FD OUT-FILE.
       01 OUT-REC PIC X(24).
       SD SORT-FILE.
       01 S-REC.
          05 S-NAME   PIC X(4).
          05 S-NUM    PIC 9(5).
          05 S-SIGNED PIC S9(4) SIGN LEADING SEPARATE.
          05 S-SEQ    PIC 9(10).
       WORKING-STORAGE SECTION.
       01 W-REC.
          05 W-NAME   PIC X(4).
          05 W-NUM    PIC 9(5).
          05 W-SIGNED PIC S9(4) SIGN LEADING SEPARATE.
          05 W-SEQ    PIC 9(10).
       01 I        PIC 9(6).
       01 J        PIC 9.
       01 K        PIC 9.
       01 R        PIC 9V9(8).
       01 LETTERS  PIC X(5) VALUE "ABCab".
       PROCEDURE DIVISION.
           OPEN OUTPUT IN-FILE
           MOVE FUNCTION RANDOM(7) TO R
           PERFORM VARYING I FROM 1 BY 1 UNTIL I > 6000
               PERFORM VARYING J FROM 1 BY 1 UNTIL J > 4
                   COMPUTE K = FUNCTION RANDOM * 3 + 1
                   MOVE LETTERS(K:1) TO W-NAME(J:1)
               END-PERFORM
               COMPUTE W-NUM = FUNCTION RANDOM * 40
               COMPUTE W-SIGNED = FUNCTION RANDOM * 200 - 100
               MOVE I TO W-SEQ
               WRITE IN-REC FROM W-REC
           END-PERFORM
           CLOSE IN-FILE
           SORT SORT-FILE
               ON ASCENDING KEY S-NAME
               ON DESCENDING KEY S-NUM
               ON ASCENDING KEY S-SIGNED
               WITH DUPLICATES IN ORDER
               USING IN-FILE GIVING OUT-FILE
           STOP RUN.

       IDENTIFICATION DIVISION.
       PROGRAM-ID. STATES.
      * The file statuses of verbs that make no sense in a file's state,
      * as another COBOL system gives them: the oracle of the error
      * routines.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT F ASSIGN TO "states.dat"
               ORGANIZATION IS SEQUENTIAL
               FILE STATUS IS FS.
           SELECT OPTIONAL G ASSIGN TO "absent.dat"
               ORGANIZATION IS SEQUENTIAL
               FILE STATUS IS GS.
       DATA DIVISION.
       FILE SECTION.
       FD F.
       01 FR PIC X(10).
       FD G.
       01 GR PIC X(10).
       WORKING-STORAGE SECTION.
       01 FS PIC XX.
       01 GS PIC XX.
       PROCEDURE DIVISION.
           READ F. DISPLAY "F read " FS.
           CLOSE F. DISPLAY "F close " FS.
           OPEN OUTPUT F. DISPLAY "F open:output " FS.
           OPEN OUTPUT F. DISPLAY "F open:output " FS.
           READ F. DISPLAY "F read " FS.
           REWRITE FR. DISPLAY "F rewrite " FS.
           CLOSE F WITH LOCK. DISPLAY "F close:lock " FS.
           OPEN INPUT F. DISPLAY "F open:input " FS.
           OPEN INPUT G. DISPLAY "G open:input " GS.
           READ G. DISPLAY "G read " GS.
           READ G. DISPLAY "G read " GS.
           CLOSE G. DISPLAY "G close " GS.
           STOP RUN.

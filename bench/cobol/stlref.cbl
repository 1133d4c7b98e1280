      * Reference loops for the record I/O benchmark, in another COBOL
      * runtime: 100-byte records with a 10-digit key at the front.
      * Arguments: a mode and a record count N.  Modes:
      *   lsqw / lsqr  WRITE / READ N lines of lsqref.txt
      *   idxw         OPEN OUTPUT idxref.dat, WRITE N records, keys a
      *                permutation of 0..N-1
      *   idxr         READ N records by random key
      *   idxn         READ NEXT through the file (N records)
      *   shw, shr, shn  the same three on the file declared with
      *                SHARING WITH ALL OTHER and LOCK MODE AUTOMATIC,
      *                opened I-O (shw: after an OPEN OUTPUT and CLOSE)
      *   base0, base1, basew, baser  the loops alone, for subtraction:
      *                empty, with the lsqw MOVE, with the idxw key and
      *                record, with the idxr key
       IDENTIFICATION DIVISION.
       PROGRAM-ID. STLREF.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT L ASSIGN TO "lsqref.txt"
               ORGANIZATION IS LINE SEQUENTIAL
               FILE STATUS IS FS.
           SELECT X ASSIGN TO "idxref.dat"
               ORGANIZATION IS INDEXED
               ACCESS MODE IS DYNAMIC
               RECORD KEY IS XKEY
               FILE STATUS IS FS.
           SELECT S ASSIGN TO "idxref.dat"
               ORGANIZATION IS INDEXED
               ACCESS MODE IS DYNAMIC
               RECORD KEY IS SKEY
               LOCK MODE IS AUTOMATIC
               SHARING WITH ALL OTHER
               FILE STATUS IS FS.
       DATA DIVISION.
       FILE SECTION.
       FD  L.
       01  LR                 PIC X(100).
       FD  X.
       01  XR.
           05 XKEY            PIC 9(10).
           05 XREST           PIC X(90).
       FD  S.
       01  SR.
           05 SKEY            PIC 9(10).
           05 SREST           PIC X(90).
       WORKING-STORAGE SECTION.
       01  FS                 PIC XX.
       01  WS-ARG             PIC X(60).
       01  WS-MODE            PIC X(8).
       01  WS-NTXT            PIC X(20).
       01  WS-N               PIC 9(10) COMP-5.
       01  WS-I               PIC 9(10) COMP-5.
       01  WS-K               PIC 9(10) COMP-5.
       01  WS-REC.
           05 WS-KEY          PIC 9(10).
           05 WS-REST         PIC X(90).
       PROCEDURE DIVISION.
           ACCEPT WS-ARG FROM COMMAND-LINE
           UNSTRING WS-ARG DELIMITED BY ALL SPACE
               INTO WS-MODE WS-NTXT
           END-UNSTRING
           COMPUTE WS-N = FUNCTION NUMVAL(WS-NTXT)
           MOVE ALL "abcdefghij" TO WS-REST
           EVALUATE WS-MODE
             WHEN "lsqw"
               OPEN OUTPUT L
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 MOVE WS-I TO WS-KEY
                 WRITE LR FROM WS-REC
               END-PERFORM
               CLOSE L
             WHEN "lsqr"
               OPEN INPUT L
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 READ L AT END PERFORM FAIL END-READ
               END-PERFORM
               CLOSE L
             WHEN "idxw"
               OPEN OUTPUT X
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM PERMUTED
                 MOVE WS-REC TO XR
                 WRITE XR INVALID KEY PERFORM FAIL END-WRITE
               END-PERFORM
               CLOSE X
             WHEN "idxr"
               OPEN INPUT X
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM RANDOM-KEY
                 MOVE WS-KEY TO XKEY
                 READ X KEY IS XKEY INVALID KEY PERFORM FAIL END-READ
               END-PERFORM
               CLOSE X
             WHEN "idxn"
               OPEN INPUT X
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 READ X NEXT AT END PERFORM FAIL END-READ
               END-PERFORM
               CLOSE X
             WHEN "shw"
               OPEN OUTPUT S
               CLOSE S
               OPEN I-O S
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM PERMUTED
                 MOVE WS-REC TO SR
                 WRITE SR INVALID KEY PERFORM FAIL END-WRITE
               END-PERFORM
               CLOSE S
             WHEN "shr"
               OPEN I-O S
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM RANDOM-KEY
                 MOVE WS-KEY TO SKEY
                 READ S KEY IS SKEY INVALID KEY PERFORM FAIL END-READ
               END-PERFORM
               CLOSE S
             WHEN "shn"
               OPEN I-O S
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 READ S NEXT AT END PERFORM FAIL END-READ
               END-PERFORM
               CLOSE S
             WHEN "base1"
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 MOVE WS-I TO WS-KEY
                 MOVE WS-REC TO LR
               END-PERFORM
             WHEN "basew"
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM PERMUTED
                 MOVE WS-REC TO XR
               END-PERFORM
             WHEN "baser"
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 PERFORM RANDOM-KEY
                 MOVE WS-KEY TO XKEY
               END-PERFORM
             WHEN OTHER
               PERFORM VARYING WS-I FROM 0 BY 1 UNTIL WS-I >= WS-N
                 CONTINUE
               END-PERFORM
           END-EVALUATE
           STOP RUN.
       PERMUTED.
           COMPUTE WS-K = FUNCTION MOD(WS-I * 7919 + 13, WS-N)
           MOVE WS-K TO WS-KEY.
       RANDOM-KEY.
           COMPUTE WS-K = FUNCTION MOD(WS-I * 104729 + 7, WS-N)
           MOVE WS-K TO WS-KEY.
       FAIL.
           DISPLAY "STLREF: " WS-MODE " STATUS " FS " AT " WS-I
               UPON SYSERR
           STOP RUN RETURNING 1.

      *> Sorts lines of up to 64 bytes by a signed number.
      *> cobc -x -D KEY-START=n -D KEY-BYTES=n (the start from 1)
      >>DEFINE KEY-START AS PARAMETER
      >>DEFINE KEY-BYTES AS PARAMETER
       IDENTIFICATION DIVISION.
       PROGRAM-ID. SORT-NUMBERS.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT SOURCE-FILE ASSIGN TO "RECORDS_IN"
               ORGANIZATION IS LINE SEQUENTIAL.
           SELECT TARGET-FILE ASSIGN TO "RECORDS_OUT"
               ORGANIZATION IS LINE SEQUENTIAL.
           SELECT WORK-FILE ASSIGN TO "RECORDS_WORK".
       DATA DIVISION.
       FILE SECTION.
       FD SOURCE-FILE.
       01 KEY-START CONSTANT FROM KEY-START.
       01 KEY-BYTES CONSTANT FROM KEY-BYTES.
       01 SOURCE-RECORD PIC X(64).
       FD TARGET-FILE.
       01 TARGET-RECORD PIC X(64).
       SD WORK-FILE.
       01 WORK-RECORD.
           05 WORK-KEY PIC S9(18) COMP-5.
           05 WORK-LINE PIC X(64).
       WORKING-STORAGE SECTION.
       01 ALL-READ PIC 9 VALUE 0.
       PROCEDURE DIVISION.
           SORT WORK-FILE ON ASCENDING KEY WORK-KEY
               INPUT PROCEDURE IS READ-LINES
               OUTPUT PROCEDURE IS WRITE-LINES
           STOP RUN.
       READ-LINES.
           OPEN INPUT SOURCE-FILE
           PERFORM UNTIL ALL-READ = 1
               READ SOURCE-FILE
                   AT END
                       MOVE 1 TO ALL-READ
                   NOT AT END
                       MOVE SOURCE-RECORD TO WORK-LINE
                       COMPUTE WORK-KEY = FUNCTION NUMVAL(
                           SOURCE-RECORD(KEY-START:KEY-BYTES))
                       RELEASE WORK-RECORD
               END-READ
           END-PERFORM
           CLOSE SOURCE-FILE.
       WRITE-LINES.
           MOVE 0 TO ALL-READ
           OPEN OUTPUT TARGET-FILE
           PERFORM UNTIL ALL-READ = 1
               RETURN WORK-FILE
                   AT END
                       MOVE 1 TO ALL-READ
                   NOT AT END
                       WRITE TARGET-RECORD FROM WORK-LINE
               END-RETURN
           END-PERFORM
           CLOSE TARGET-FILE.

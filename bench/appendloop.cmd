@echo off
rem 20,000 appends to a file in a GOTO loop: each pass opens the file,
rem goes to its end, writes one line and closes it again.
set /a i=0
:top
set /a i=i+1
echo %i% >> out.txt
if %i% lss 20000 goto top
tcount < out.txt

@echo off
rem A GOTO counting loop with SET /A and an IF.
set /a i=0
:top
set /a i=i+1
if %i% lss 20000 goto top
echo %i%

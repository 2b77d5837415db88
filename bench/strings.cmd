@echo off
rem String building with SET in a counted loop.
set s=
set /a n=0
:again
set s=%s%x
set /a n+=1
if %n% lss 2000 goto again
echo %n%

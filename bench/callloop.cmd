@echo off
rem A subroutine called by label, in a loop.
set /a k=0
:next
call :bump
if %k% lss 3000 goto next
echo %k%
goto :eof
:bump
set /a k+=1
goto :eof

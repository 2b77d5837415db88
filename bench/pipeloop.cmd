@echo off
rem 200 pipelines into a program, each with its own redirection.
set /a i=0
:top
set /a i=i+1
echo x | tcount > nul
if %i% lss 200 goto top
echo x | tcount

@echo off
rem A 50 MB file through a pipe into a program.
type big.txt | tcount

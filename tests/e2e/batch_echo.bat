@rem RUN: batch
@rem Lines echo by default; @ hides one line, ECHO OFF the rest.
rem shown remark
@rem CHECK: rem shown remark
echo shown
@rem CHECK: echo shown
@rem CHECK: shown
@echo hidden prefix
@rem CHECK: hidden prefix
@echo off
echo quiet
rem quiet remark
@rem CHECK: quiet

@echo off
rem Detection for a management suite; runs as SYSTEM. Prints what remediate.cmd can mend, one name a
rem line, and ends with 1; ends with 0 when there is nothing of that, and with 2 when the doctor is
rem missing or says nothing. An argument names the suite's folder. What it prints names nobody.
setlocal DisableDelayedExpansion
set "suite=%ProgramFiles%\Palvo Printer Suite"
if defined ProgramW6432 set "suite=%ProgramW6432%\Palvo Printer Suite"
if not "%~1"=="" set "suite=%~1"
if not exist "%suite%\PalvoPrinterDoctor.exe" (echo doctor-missing& exit /b 2)
set code=0
set "off="
set "said="
rem The doctor takes its own folder for the suite's. The path of a folder would not do within the
rem parentheses: cmd takes ) and & there for its own.
cd /d "%suite%"
for /f "tokens=1 delims=:" %%f in ('.\PalvoPrinterDoctor.exe') do (
    for %%i in (task-missing task-disabled task-program task-arguments task-account channel-off channel-small channel-retention) do (
        if "%%f"=="%%i" (
            echo %%i
            set code=1
        )
    )
    rem Switched off on purpose: -IT would do nothing.
    if "%%f"=="run-switch-off" set off=1
    if not "%%f"=="The doctor itself failed" set said=1
)
if not defined said (echo doctor-failed& exit /b 2)
if defined off exit /b 0
exit /b %code%

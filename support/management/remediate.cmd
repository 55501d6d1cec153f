@echo off
rem Remediation for what detect.cmd tells; runs as SYSTEM. Registers the tasks anew and sets the
rem channel, then configures the printers that were missed meanwhile. Ends with the code of -IT
rem (docs/exit-codes.md). An argument names the suite's folder.
setlocal DisableDelayedExpansion
set "suite=%ProgramFiles%\Palvo Printer Suite"
if defined ProgramW6432 set "suite=%ProgramW6432%\Palvo Printer Suite"
if not "%~1"=="" set "suite=%~1"
if "%suite:~-1%"=="\" set "suite=%suite:~0,-1%"
"%suite%\PalvoPrinterConfiguration.exe" -IT
set code=%errorlevel%
"%suite%\PalvoPrinterConfiguration.exe" -r
exit /b %code%

@echo off
rem Registers the component and its engine for all users. Run it as an administrator. Where a DLL is
rem missing or cannot be loaded, nothing is changed: what was registered before goes on working.
setlocal
set damaged=
for %%d in (orvSPCAnalysis6 orvEngine) do call :check %%d.dll
if defined damaged goto unchanged
rem These load the engine.
for %%d in (orwDBLib6 orwCtrlChrt6 orwCapAna6 orwPareto6 orwSReqCompliance) do call :check %%d.dll
if defined damaged goto unchanged
rem Whether one of this width is registered: a program identifier is shared by both widths, the
rem class behind it is not.
set before=
reg query "HKCR\CLSID\{@ORVSPC_REGISTERED_CLASS@}" /reg:@ORVSPC_WIDTH@ >nul 2>&1
if "%errorlevel%"=="0" set before=yes
set failed=orvSPCAnalysis6.dll
regsvr32 /s "%~dp0orvSPCAnalysis6.dll"
if not "%errorlevel%"=="0" goto refused
set failed=orvEngine.dll
regsvr32 /s "%~dp0orvEngine.dll"
if not "%errorlevel%"=="0" goto refused
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in "%~dp0"
if not "%~1"=="/q" pause
exit /b 0
:unchanged
echo The DLLs in "%~dp0" could not be registered. Nothing was changed.
echo Missing there, damaged or for the other width of Windows:%damaged%
if not "%~1"=="/q" pause
exit /b 1
:refused
if not defined before if %failed%==orvEngine.dll regsvr32 /s /u "%~dp0orvSPCAnalysis6.dll"
echo In "%~dp0" %failed% could not be registered. If this was not started as an
echo administrator, start it again as one.
if defined before echo Otherwise run the register.cmd of the folder that was registered before.
if not "%~1"=="/q" pause
exit /b 1
rem Whether the DLL is there and can be loaded. With /n and /i regsvr32 loads it without registering
rem it; 4 says that it did, and that the DLL has no installation of its own.
:check
if not exist "%~dp0%~1" goto damaged
regsvr32 /s /n /i "%~dp0%~1"
if "%errorlevel%"=="4" exit /b 0
if "%errorlevel%"=="0" exit /b 0
:damaged
set damaged=%damaged% %~1
exit /b 0

@echo off
rem Registers the component and its engine for all users. Run it as an administrator. Where a DLL is
rem missing or cannot be loaded, nothing is changed: what was registered before goes on working.
setlocal
for %%d in (orwDBLib6 orwCtrlChrt6 orwCapAna6 orwPareto6 orwSReqCompliance) do (
  if not exist "%~dp0%%d.dll" goto unchanged
)
call :check orvSPCAnalysis6.dll
if errorlevel 1 goto unchanged
call :check orvEngine.dll
if errorlevel 1 goto unchanged
rem Whether one of this width is registered: a program identifier is shared by both widths, the
rem class behind it is not.
set before=
reg query "HKCR\CLSID\{@ORVSPC_REGISTERED_CLASS@}" /reg:@ORVSPC_WIDTH@ >nul 2>&1
if not errorlevel 1 set before=yes
set failed=orvSPCAnalysis6.dll
regsvr32 /s "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto refused
set failed=orvEngine.dll
regsvr32 /s "%~dp0orvEngine.dll"
if errorlevel 1 goto refused
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in "%~dp0"
if not "%~1"=="/q" pause
exit /b 0
:unchanged
echo The DLLs in "%~dp0" could not be registered: one is missing there, or is
echo damaged or for the other width of Windows. Nothing was changed.
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
rem it; 3 says that it could not.
:check
if not exist "%~dp0%~1" exit /b 1
regsvr32 /s /n /i "%~dp0%~1"
if errorlevel 4 exit /b 0
if errorlevel 3 exit /b 1
exit /b 0

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
set before=
reg query "HKCR\orvSPCAnalysis6.CCAnalysis\CLSID" >nul 2>&1
if not errorlevel 1 set before=yes
set failed=orvSPCAnalysis6.dll
regsvr32 /s "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto half
set failed=orvEngine.dll
regsvr32 /s "%~dp0orvEngine.dll"
if errorlevel 1 goto half
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in "%~dp0"
if not "%~1"=="/q" pause
exit /b 0
:half
if defined before goto mixed
if %failed%==orvEngine.dll regsvr32 /s /u "%~dp0orvSPCAnalysis6.dll"
:unchanged
echo The DLLs in "%~dp0" could not be registered. Either this was not started as an
echo administrator, or a DLL is missing there or is for the other width of Windows.
echo Nothing was changed.
if not "%~1"=="/q" pause
exit /b 1
:mixed
echo Of the DLLs in "%~dp0" %failed% could not be registered. If this was not started as
echo an administrator, nothing was changed: start it again as one. Otherwise:
echo Run the register.cmd of the folder that was registered before, to have both from there.
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

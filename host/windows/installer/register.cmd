@echo off
rem Registers the component and its engine for all users: both or none. Run it as an administrator.
setlocal
regsvr32 /s "%~dp0orvEngine.dll"
if errorlevel 1 goto failed
regsvr32 /s "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto half
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in "%~dp0"
if not "%~1"=="/q" pause
exit /b 0
:half
regsvr32 /s /u "%~dp0orvEngine.dll"
:failed
echo The DLLs in "%~dp0" could not be registered. Either this was not started as an
echo administrator, or a DLL is missing there or is for the other width of Windows.
if not "%~1"=="/q" pause
exit /b 1

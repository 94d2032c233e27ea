@echo off
rem Registers the component and its engine for all users. Run it as an administrator.
setlocal
regsvr32 /s "%~dp0orvEngine.dll"
if errorlevel 1 goto failed
regsvr32 /s "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto failed
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in "%~dp0"
if not "%~1"=="/q" pause
exit /b 0
:failed
echo The DLLs in "%~dp0" could not be registered. Either this was not started as an
echo administrator, or a DLL is missing there or is for the other width of Windows.
if not "%~1"=="/q" pause
exit /b 1

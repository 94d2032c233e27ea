@echo off
rem Takes the component and its engine out of the registry. Run it as an administrator, before the
rem folder is moved or deleted.
setlocal
regsvr32 /s /u "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto failed
regsvr32 /s /u "%~dp0orvEngine.dll"
if errorlevel 1 goto failed
echo orvSPCAnalysis6 @PROJECT_VERSION@ is no longer registered
if not "%~1"=="/q" pause
exit /b 0
:failed
echo The DLLs in "%~dp0" could not be unregistered. Either this was not started as an
echo administrator, or a DLL is missing there or is for the other width of Windows.
if not "%~1"=="/q" pause
exit /b 1

@echo off
rem Takes the component and its engine out of the registry. Run it as an administrator, before the
rem folder is moved or deleted.
setlocal
regsvr32 /s /u "%~dp0orvSPCAnalysis6.dll"
if errorlevel 1 goto failed
regsvr32 /s /u "%~dp0orvEngine.dll"
if errorlevel 1 goto failed
echo orvSPCAnalysis6 @PROJECT_VERSION@ is no longer registered
exit /b 0
:failed
echo The DLLs in %~dp0 could not be unregistered. Was this started as an administrator?
exit /b 1

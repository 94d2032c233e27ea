@echo off
rem Takes the component and its engine out of the registry, one even where the other fails. Run it as
rem an administrator, before the folder is moved or deleted.
setlocal
set failed=
for %%d in (orvSPCAnalysis6.dll orvEngine.dll) do call :unregister %%d
if defined failed goto failed
echo orvSPCAnalysis6 @PROJECT_VERSION@ is no longer registered
if not "%~1"=="/q" pause
exit /b 0
:failed
echo In "%~dp0" these could not be unregistered:%failed%
echo Either this was not started as an administrator, or a DLL is missing there or is for the other
echo width of Windows.
if not "%~1"=="/q" pause
exit /b 1
:unregister
regsvr32 /s /u "%~dp0%~1"
if not "%errorlevel%"=="0" set failed=%failed% %~1
exit /b 0

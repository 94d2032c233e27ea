@echo off
rem Takes the component and its engine out of the registry. Run it as an administrator, before the
rem folder is moved or deleted.
setlocal
for %%f in (orvSPCAnalysis6.dll orvEngine.dll) do (
  regsvr32 /s /u "%~dp0%%f"
  if errorlevel 1 (
    echo %%f could not be unregistered. Was this started as an administrator?
    exit /b 1
  )
)
echo orvSPCAnalysis6 @PROJECT_VERSION@ is no longer registered

@echo off
rem Registers the component and its engine for all users. Run it as an administrator.
setlocal
for %%f in (orvEngine.dll orvSPCAnalysis6.dll) do (
  regsvr32 /s "%~dp0%%f"
  if errorlevel 1 (
    echo %%f could not be registered. Was this started as an administrator?
    exit /b 1
  )
)
echo orvSPCAnalysis6 @PROJECT_VERSION@ is registered in %~dp0

@echo off
rem SPDX-License-Identifier: Apache-2.0
rem Creates the demo warehouse, if it is not there yet, and opens the settings window with it.
setlocal
set "shop=%USERPROFILE%\Morvane demo"
if exist "%shop%\retail.db" goto show
echo Creating the demo warehouse in %shop%
mkdir "%shop%" 2>nul
"%~dp0morvane-demo.exe" "%shop%"
if errorlevel 1 goto failed
:show
start "" "%~dp0morvane.exe" -config "%shop%\morvane.cfg" -mac "sqlite:%shop%" -db retail -ntaut -chkmd -mark -grep -log "%shop%\logs"
exit /b 0
:failed
pause
exit /b 1

@echo off
rem SPDX-License-Identifier: Apache-2.0
rem Creates the demo warehouse, if it is not there yet, and opens the settings window.
setlocal
set "shop=%USERPROFILE%\Morvane demo"
if exist "%shop%\retail.db" goto show
echo Creating the demo warehouse in %shop%
mkdir "%shop%" 2>nul
"%~dp0morvane-demo.exe" "%shop%"
if errorlevel 1 goto end
:show
echo.
echo Enter this as the server (it is in the clipboard, too), press "Refresh" and choose the database "retail":
echo.
echo     sqlite:%shop%
echo.
<nul set /p "=sqlite:%shop%" | clip 2>nul
start "" "%~dp0morvane.exe"
:end
pause

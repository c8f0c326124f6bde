#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Windows package, and installs, upgrades, uses and removes it under Wine: for all users and for one.
set -euo pipefail
cd "$(dirname "$0")/../.."
fail() { echo "$*" >&2; exit 1; }

. scripts/packages.sh
. scripts/display.sh
scripts/install-packages.sh "${windows_install_test_packages[@]}"
scripts/package-windows.sh
start=$SECONDS
setup=$(echo build/packages/morvane-*-windows-x64-setup.exe)
version=$(sed -n 's/^project(morvane VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
stage=build/windows-package/morvane-$version

work=$(mktemp -d)
export WINEPREFIX=$work/wine WINEDEBUG=-all LC_ALL=C.UTF-8 MORVANE_CONSOLE=1
# Without entries in this system's menus, .NET and a browser.
export WINEDLLOVERRIDES='winemenubuilder.exe=d;mscoree=d;mshtml=d'
unset DISPLAY WAYLAND_DISPLAY
finish() {
    wineserver -k || true
    stop_display
    rm -rf "$work"
}
trap finish EXIT
wineboot --init >/dev/null 2>&1
wine winecfg -v win10  # Wine's own default is Windows 7
drive=$WINEPREFIX/drive_c
uninstall_key='Software\Microsoft\Windows\CurrentVersion\Uninstall\Morvane'

# expect <exit code> <program> <arguments...>: runs a Windows program; its output goes to the file "output".
expect() {
    local expected=$1 code=0
    shift
    timeout 120 wine "$@" >"$work/output" 2>&1 </dev/null || code=$?
    [ "$code" -eq "$expected" ] || fail "exit code $code, not $expected: $* $(cat "$work/output")"
}
# batch <exit code> <lines...>: runs the lines as a batch file, without adding quotes.
batch() {
    printf '%s\r\n' "${@:2}" >"$work/lines.bat"
    expect "$1" cmd /c "Z:${work//\//\\}\\lines.bat"
}
says() { grep -qF -- "$1" "$work/output" || fail "not \"$1\" but: $(cat "$work/output")"; }
# value <key> <name>: prints the type and the value, in the code page of the console.
value() { wine reg query "$1" /v "$2" 2>/dev/null | tr -d '\r' | sed -n 's/^    [^ ]* *\(REG_[A-Z_]*\) */\1 /p'; }
is() {
    local found
    found=$(value "$1" "$2" | iconv -f CP437 -t UTF-8)
    [ "$found" = "$3" ] || fail "$1, $2: \"$found\" and not \"$3\""
}
# Prints the files of the drive and the registry's values about Morvane and PATH. (Wine changes others.)
state() {
    wineserver -w
    (cd "$drive" && find . -not -path '*/[Tt]emp/*' | sort)
    grep -iE 'm(o|.xf6)rv(a|.xe4)ne|^"path"=' "$WINEPREFIX"/{system,user}.reg
}
# remove <HKLM or HKCU>: runs the uninstaller as "Apps" in the settings of Windows does, and waits for its copy.
remove() {
    local key="$1\\$uninstall_key"
    batch 0 "$(value "$key" QuietUninstallString | sed 's/^REG_SZ //')"
    for _ in {1..100}; do
        [ -n "$(value "$key" DisplayName)" ] || return 0
        sleep 0.1
    done
    fail "it is still installed"
}

echo "== An old version with other files, and a very long PATH"
machine='HKLM\System\CurrentControlSet\Control\Session Manager\Environment'
path="%SystemRoot%\\system32;%SystemRoot%$(printf ';C:\\tools\\%04d' {1..400});"
expect 0 reg add "$machine" /v Path /t REG_EXPAND_SZ /d "$path" /f
state >"$work/before"
mkdir -p "$work/old/docs"
echo "old" | tee "$work/old/LICENSE.txt" >"$work/old/docs/obsolete.html"
echo '#include <stdio.h>
#include <windows.h>
int main(int count, char** words) { fclose(fopen(words[count - 1], "w")); Sleep(120000); }' >"$work/sleep.c"
x86_64-w64-mingw32-gcc "$work/sleep.c" -o "$work/old/morvane.exe"
printf 'Delete "$INSTDIR\\%s"\n' LICENSE.txt morvane.exe 'docs\obsolete.html' >"$work/remove.nsh"
echo 'RMDir "$INSTDIR\docs"' >>"$work/remove.nsh"
makensis -V1 -NOCD -DTARGET=amd64-unicode -DVERSION=0.0.1 -DOUTPUT="$work/old.exe" -DSTAGE="$work/old" \
    -DREMOVE="$work/remove.nsh" -DKILOBYTES=1 packaging/windows/morvane.nsi
expect 0 "$work/old.exe" /S /AllUsers /PATH=1
installed="$drive/Program Files/Morvane"
[ -e "$installed/docs/obsolete.html" ] || fail "the old version is not in $installed"
is "$machine" Path "REG_EXPAND_SZ $path;C:\\Program Files\\Morvane"

echo "== A running program stops the installation and the removal"
wine "$installed/morvane.exe" "Z:${work//\//\\}\\started" >/dev/null 2>&1 &
running=$!
until [ -e "$work/started" ]; do kill -0 "$running" || fail "it does not run"; sleep 0.1; done
expect 2 "$setup" /S
batch 2 '"C:\Program Files\Morvane\uninstall.exe" /S _?=C:\Program Files\Morvane'
is "HKLM\\$uninstall_key" DisplayVersion "REG_SZ 0.0.1"
[ -e "$installed/docs/obsolete.html" ] && [ -e "$installed/morvane.exe" ] || fail "files are gone"
kill "$running"
wait "$running" 2>/dev/null || true

echo "== Upgrade, for all users"
expect 0 "$setup" /S
expect 0 "$setup" /S
same_files() {
    diff <(cd "$stage" && find . -type f | sort) \
        <(cd "$1" && find . -type f -not -name uninstall.exe | sort) || fail "other files are installed"
}
same_files "$installed"
is "HKLM\\$uninstall_key" DisplayName "REG_SZ Morvane"
is "HKLM\\$uninstall_key" DisplayVersion "REG_SZ $version"
is "HKLM\\$uninstall_key" Publisher "REG_SZ Morvane developers"
is "HKLM\\$uninstall_key" InstallLocation 'REG_SZ C:\Program Files\Morvane'
[[ $(value "HKLM\\$uninstall_key" EstimatedSize) =~ ^REG_DWORD\ 0x[0-9a-f]{3,}$ ]] || fail "no size"
is "$machine" Path "REG_EXPAND_SZ $path;C:\\Program Files\\Morvane"
menu='Microsoft/Windows/Start Menu/Programs/Morvane'
[ -e "$drive/ProgramData/$menu/Documentation.lnk" ] || fail "no entry in the start menu"
expect 0 "$installed/morvane.exe" -help
says 'Usage: Morvane -mac'
says "$version"
# The example is complete; there is only no such server.
expect 1 "$installed/morvane-nightly.exe" --config 'C:\Program Files\Morvane\examples\warehouses.toml' --all
says 'retail: the run ended with "failed"'
links=0
while IFS=: read -r page link; do
    [ -e "$(dirname "$page")/$link" ] || fail "$page leads to $link, which is not there"
    links=$((links + 1))
done < <(grep -roE --include='*.html' '(href|src)="[^:"#]+["#]' "$installed" | sed -E 's/(href|src)="|["#]$//g')
[ "$links" -gt 40 ] || fail "only $links links were found"

echo "== Removal keeps what the user has added"
rm -r "$drive/ProgramData/Morvane"
touch "$installed/docs/my notes.txt"
remove HKLM
[ "$(cd "$installed" && find . -type f)" = "./docs/my notes.txt" ] || fail "$(find "$installed")"
rm -r "$installed"
state >"$work/after"
diff "$work/before" "$work/after" || fail "something was left behind (>) or damaged (<)"

echo "== For one user, in a folder of another name"
cp "$setup" "$work/setup.exe"
export folder='C:\Program Files\Mörväne ß'
batch 0 "Z:${work//\//\\}\\setup.exe /S /CurrentUser /PATH=1 /D=%folder%"
installed="$drive/Program Files/Mörväne ß"
same_files "$installed"
is 'HKCU\Environment' Path "REG_EXPAND_SZ $folder"
is "HKCU\\$uninstall_key" InstallLocation "REG_SZ $folder"
[ -z "$(value "HKLM\\$uninstall_key" DisplayName)" ] || fail "it is installed for all users"
user=$(echo "$drive"/users/*/"AppData/Roaming/$menu")
[ -e "$user/Documentation.lnk" ] || fail "no entry in the start menu"
# Wine cuts off the long PATH for all users.
expect 0 reg add "$machine" /v Path /t REG_EXPAND_SZ /d '%SystemRoot%\system32' /f
expect 0 cmd /c 'morvane -help'
says 'Usage: Morvane -mac'

if [ -e "$installed/morvane-demo.exe" ]; then
    echo "== The first ten minutes"
    start_display
    wineserver -w  # a Wine session that began without a display never gets one
    env -u MORVANE_CONSOLE wine cmd /c "$folder\\try-morvane.cmd" >"$work/output" 2>&1 </dev/null
    wait_for_window Morvane
    is_closed() { is_gone Morvane || { press alt+c; false; }; }
    wait_until is_closed
    wineserver -w
    stop_display
    unset DISPLAY
    # Runs the blocks marked "bat"; the others need a real Windows.
    sed -n '/^```bat$/,/^```$/{/^```/!p}' docs/first-ten-minutes-on-windows.md | sed 's/$/\r/' >"$work/page.bat"
    expect 0 cmd /c "Z:${work//\//\\}\\page.bat"
    says 'unused now'
    says '"outcome": "done"'
    says 'The exit code is 0.'
    rm -r "$drive"/users/*/"Morvane demo"
fi
remove HKCU
expect 0 reg add "$machine" /v Path /t REG_EXPAND_SZ /d "$path" /f
state >"$work/after"
diff "$work/before" "$work/after" || fail "something was left behind (>) or damaged (<)"
echo "The Windows package is good under $(wine --version), after $((SECONDS - start)) s without its build."

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the tests and programs that scripts/windows.sh builds under Wine. The full programs run on a virtual
# display and are compared with the native ones, and their tests run in German and Turkish too; the program without
# windows runs without a display. Wine uses the ODBC driver manager and the FreeTDS driver of this system.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${wine_packages[@]}"
scripts/windows.sh tests

export WINEPREFIX=$PWD/build/wine WINEDEBUG=-all
unset DISPLAY WAYLAND_DISPLAY
folder=$(mktemp -d)
morvane=build/windows/src/morvane.exe
full=
[ ! -e build/windows/src/morvane.com ] || full=yes
finish() {
    stop_display
    rm -rf "$folder"
}
. scripts/display.sh
trap finish EXIT
# Wine sees a display only if its first process does.
[ -z "$full" ] || start_display
wineboot --init >/dev/null 2>&1

ctest --preset windows --no-tests=error

if [ -n "$full" ]; then
    # In a console "morvane" means morvane.com.
    morvane=build/windows/src/morvane.com
    # Other languages. In Turkish the capital of i is not I.
    for language in de_DE tr_TR; do
        localedef -i $language -f UTF-8 "$folder/$language.UTF-8" 2>/dev/null || [ -e "$folder/$language.UTF-8" ]
        for suite in base sql run dialogs embedded ui; do
            echo "$suite in $language"
            LOCPATH=$folder LC_ALL=$language.UTF-8 wine build/windows/tests/$suite/${suite}_tests.exe --gtest_brief=1 \
                >"$folder/output" 2>&1 || { cat "$folder/output"; exit 1; }
        done
    done
    stop_display
    cmake --preset release -B build/native -DMORVANE_UI=OFF >/dev/null
    cmake --build build/native --target morvane morvane-demo morvane-inspect | tail -n 1
    tests/wine/engine.sh build/windows build/native
    tests/wine/windows.sh build/windows
    export MORVANE_CONSOLE=1
fi

# The folder as a Windows path.
windows_folder="Z:${folder//\//\\}"

# run <options...>: runs the program; its output goes to the files output and errors.
run() {
    if ! timeout 120 wine "$morvane" "$@" >"$folder/output" 2>"$folder/errors"; then
        echo "morvane.exe $* failed"
        exit 1
    fi
}

# expect <file> <text>: fails and shows the file if it does not contain the text.
expect() {
    grep -qF -- "$2" "$folder/$1" || { echo "\"$2\" is not in $1:"; cat "$folder/$1"; exit 1; }
}

run -help
expect output "Usage: Morvane -mac"
run /HELP
expect output "Usage: Morvane -mac"
run
if [ -n "$full" ]; then
    expect errors "MORVANE_CONSOLE turns the windows off."
else
    expect errors "This build of Morvane has no settings window."
fi
run -mark -nonsense /pwd=secret
expect errors "Unknown options: -nonsense /pwd..."

log="$folder/my logs ü/night"
run /mac no-such-server.invalid /ntaut /db "retail ü" /mark \
    /log "$windows_folder\\my logs ü\\night" /statusfile "$windows_folder\\status ü.txt" \
    /logfile "$windows_folder/copies/ü.txt"
expect errors "Error while connecting to : no-such-server.invalid"
expect "status ü.txt" failure
[ "$(ls "$log" | wc -l)" -eq 1 ] || { echo "expected one log in $log"; exit 1; }
expect "my logs ü/night/$(ls "$log")" "Error while connecting to : no-such-server.invalid"
cmp "$log"/Morvane_Log*.txt "$folder/copies/ü.txt"

if [ -z "$full" ]; then
    run -mac 'sqlite:C:\data' -ntaut -db retail -mark -log "$windows_folder\\logs"
    expect errors "This build of Morvane has no embedded engine, since it was made without SQLite."
fi

MORVANE_ODBC_DRIVER=Nowhere run -mac host -ntaut -db retail -mark -log "$windows_folder\\logs"
expect errors 'The ODBC driver "Nowhere" that MORVANE_ODBC_DRIVER names is not installed'

run -mac host -ntaut -db retail -mark -log "$windows_folder\\status ü.txt\\logs"
expect errors 'Cannot make the folder'

# morvane-nightly starts morvane.exe, which writes a result.
cat >"$folder/night ü.toml" <<TOML
[retail]
server = "no-such-server.invalid"
database = "retail ü"
windows_authentication = true
tasks = ["mark"]
log = '$windows_folder\my nights'
result_file = '$windows_folder\result ü.json'
TOML
code=0
timeout 120 wine build/windows/src/morvane-nightly.exe --config "$windows_folder\\night ü.toml" retail \
    >"$folder/output" 2>"$folder/errors" || code=$?
[ "$code" -eq 1 ] || { echo "morvane-nightly.exe ended with $code"; cat "$folder/errors"; exit 1; }
expect errors 'retail: the run ended with "failed"'
expect "result ü.json" '"database": "retail ü"'
echo "morvane.exe passed under $(wine --version)"

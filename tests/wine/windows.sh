#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Operates the windows of the program for Windows by keyboard and mouse, under Wine on a virtual display.
# Arguments: the build folder for Windows, and optionally a folder for pictures (needs ImageMagick).
set -euo pipefail
windows=$(realpath "$1")
pictures=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/display.sh"

work=$(mktemp -d)
started=
finish() {
    [ -z "$started" ] || kill "$started" 2>/dev/null || true
    stop_display
    rm -rf "$work"
}
trap finish EXIT
unset MORVANE_CONSOLE WAYLAND_DISPLAY QT_QPA_PLATFORM
# A folder as it may be on a German system.
home="$work/Büro Straße"
mkdir "$home" "$home/logs"
windows_home="Z:${home//\//\\}"
wine "$windows/demo/morvane-demo.exe" "$windows_home\\shop" >/dev/null
start_display

start() {
    wine "$windows/src/morvane.exe" "$@" >"$work/output" 2>"$work/errors" &
    started=$!
}
the_end() {
    local code=0
    wait "$started" || code=$?
    started=
    [ "$code" -eq 0 ] || { echo "ended with $code"; cat "$work/errors"; exit 1; }
}
lock() { sqlite3 "$home/shop/retail.db" 'SELECT lock FROM dwm_multiuse'; }
is_gone() { ! window_named "$1" >/dev/null; }
# paste_text <text>: types a text, also with letters that the keyboard does not have.
picture() { [ -z "$pictures" ] || import -window "$(window_named "$1")" "$pictures/$2.png"; }

# connect: fills in the server and the database.
connect() {
    wait_for_window Morvane
    enter alt+s "sqlite:$windows_home\\shop"
    press alt+r alt+a
    xdotool type retail
    press Tab
}

echo "-- the settings window performs a run"
start
connect
enter alt+l "$windows_home\\logs"
press alt+m alt+g
picture Morvane settings
press alt+p
wait_for_window "Progress Of the Morvane Tool"
picture "Progress Of the Morvane Tool" progress
wait_until grep -qs 'Morvane Tool stopped On' -r "$home/logs"
press Return
wait_until is_gone "Progress Of the Morvane Tool"
wait_for_window Morvane
press alt+c
the_end
[ "$(find "$home/logs" -name '*Report*.html' | wc -l)" -eq 3 ]
[ "$(lock)" = 0 ]

echo "-- the conditions and the dimension checks"
start
connect
press alt+f
wait_for_window "Fact Table Conditions for Archiving"
press F2
xdotool type "order_date < '2015-01-01'"
picture "Fact Table Conditions for Archiving" conditions
press Escape
press Escape

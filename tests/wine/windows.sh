#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Operates the windows of the Windows program by keyboard and mouse, under Wine on a virtual display.
# Arguments: the build folder for Windows, and optionally a folder for pictures (needs ImageMagick).
set -euo pipefail
windows=$(realpath "$1")
pictures=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/display.sh"

begin_session
# xdotool cannot type letters that are missing on Wine's keyboard, so this folder is only given in options.
umlauts="$work/Büro Straße"
home="$work/my shop"
mkdir -p "$home/logs" "$umlauts"
windows_home="Z:${home//\//\\}"
windows_umlauts="Z:${umlauts//\//\\}"
wine "$windows/demo/morvane-demo.exe" "$windows_home\\shop" >/dev/null
start_display

start() {
    wine "$windows/src/morvane.exe" "$@" >"$work/output" 2>"$work/errors" &
    started=$!
}
lock() { sqlite3 "$home/shop/retail.db" 'SELECT lock FROM dwm_multiuse'; }
picture() { [ -z "$pictures" ] || import -window "$(window_named "$1")" "$pictures/$2.png"; }

# connect: enters the server and the database.
connect() {
    wait_for_window Morvane
    enter alt+s "sqlite:$windows_home\\shop"
    press alt+r
    sleep 1 # Wine loses keys that are pressed while the program is busy
    press alt+a
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
expect_success
[ "$(find "$home/logs" -name '*Report*.html' | wc -l)" -eq 3 ]
[ "$(lock)" = 0 ]

echo "-- a run that finds the lock set asks, and Enter means No"
sqlite3 "$home/shop/retail.db" 'UPDATE dwm_multiuse SET lock = 1'
start -mac "sqlite:$windows_home\\shop" -db retail -ntaut -mark -log "$windows_home\\logs" \
    -statusfile "$windows_home\\status.txt"
wait_for_window "Lock Profile"
picture "Lock Profile" lock
press Return
expect_success
[ "$(lock)" = 1 ]
sqlite3 "$home/shop/retail.db" 'UPDATE dwm_multiuse SET lock = 0'

echo "-- the shell's folder dialog opens, and Escape changes nothing"
start
connect
enter alt+l "$windows_home\\logs"
press alt+o
wait_for_window "Browse for Folder"
picture "Browse for Folder" folder
press Escape
wait_until is_gone "Browse for Folder"
wait_for_window Morvane
press alt+l ctrl+a ctrl+c alt+c
expect_success

echo "-- configuration mode writes a file"
start -config "$windows_umlauts\\nightly.cfg" -mac "sqlite:$windows_home\\shop" -db retail -ntaut -mark \
    -log "$windows_umlauts"
wait_for_window Morvane
press alt+l Tab Tab space # past Browse, to Save Settings
expect_success
grep -qF -- "-db retail -ntaut -chkmd -mark -log \"$windows_umlauts\"" "$umlauts/nightly.cfg"

# start_long_run: starts a run that is cancelled before it ends. expect_cancelled: checks how it ended.
start_long_run() {
    rm -rf "$home/logs/"*
    start -mac "sqlite:$windows_home\\large" -db retail -ntaut -clsf -bkmac "sqlite:$windows_home\\large" \
        -bkdb retail_archive -bkusr archivist -log "$windows_home\\logs" -statusfile "$windows_home\\status.txt"
    wait_for_window "Progress Of the Morvane Tool"
}
expect_cancelled() {
    expect_success
    grep -q '^failure' "$home/status.txt"
    grep -q 'ancel' -r "$home/logs"
    [ "$(sqlite3 "$home/large/retail.db" 'SELECT lock FROM dwm_multiuse')" = 0 ]
}

echo "-- a click on Cancel ends a run in order"
wine "$windows/demo/morvane-demo.exe" "$windows_home\\large" --scale 20 >/dev/null
start_long_run
eval "$(xdotool getwindowgeometry --shell "$(window_named "Progress Of the Morvane Tool")")"
xdotool mousemove --window "$WINDOW" $((WIDTH - 48)) $((HEIGHT - 23)) click 1
expect_cancelled

echo "-- so does logging off"
start_long_run
timeout 60 wine wineboot --end-session 2>/dev/null || true # it may crash after it has notified all programs
expect_cancelled
echo "The windows passed under Wine."

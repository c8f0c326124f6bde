#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the real program in each of its modes on a virtual display and operates it by keyboard.
# Arguments: the program and the generator of the demo warehouse.
set -euo pipefail
program=$1
make_warehouse=$2
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../../scripts/display.sh"

begin_session
export XDG_RUNTIME_DIR=$work
export LSAN_OPTIONS="suppressions=$here/leaks.txt:print_suppressions=0"
mkdir "$work/shop" "$work/logs"
"$make_warehouse" "$work/shop" >/dev/null
start_display

# start <options...>: runs the program in the background.
start() {
    "$program" "$@" 2>"$work/errors" &
    started=$!
}
# the_end [text]: waits for the program, which must succeed and write nothing to standard error except lines
# with the text.
the_end() {
    expect_success
    if grep -vF "${1:-nothing}" "$work/errors"; then exit 1; fi
}
lock() { sqlite3 "$work/shop/retail.db" 'SELECT * FROM dwm_multiuse'; }

echo "-- the settings window performs a run"
start
wait_for_window Morvane
enter alt+s "sqlite:$work/shop"
press alt+r alt+a
xdotool type retail
enter alt+l "$work/logs"
press alt+m alt+g alt+p
wait_for_window "Progress Of the Morvane Tool"
wait_until grep -qs 'Morvane Tool stopped On' -r "$work/logs"
press Return
wait_until is_gone "Progress Of the Morvane Tool"
wait_for_window Morvane
press alt+c
the_end
[ "$(find "$work/logs" -name '*Report*.html' | wc -l)" -eq 3 ]

# edit: starts the settings window, which then holds the lock, and begins to edit a condition.
edit() {
    start
    wait_for_window Morvane
    enter alt+s "sqlite:$work/shop"
    press alt+r alt+a
    xdotool type retail
    press alt+f
    wait_for_window "Fact Table Conditions for Archiving"
    press F2
    xdotool type "product_id <"
}

echo "-- a signal during an edit drops the edit, ends the program and releases the lock"
edit
kill -TERM "$started"
the_end
[ "$(lock)" = "0|$(id -un)" ]

echo "-- so does the loss of the display"
edit
stop_display
wait "$started" # the window system's library also writes to standard error
[ "$(lock)" = "0|$(id -un)" ]
start_display

echo "-- configuration mode writes a file, without the debug messages of Qt"
QT_DEBUG_PLUGINS=1 start -config "$work/nightly.cfg" -mac "sqlite:$work/shop" -db retail -ntaut -mark -log "$work/logs"
wait_for_window Morvane
# Alt+V is also the access key of a check box, so it does not press the button.
press shift+Tab shift+Tab space
the_end
grep -q -- "^-mac sqlite:$work/shop -db retail -ntaut -chkmd -mark -log \"$work/logs\"" "$work/nightly.cfg"

echo "-- an unattended run shows its progress and ends by itself"
start $(cat "$work/nightly.cfg") -grep -del -statusfile "$work/status"
until ! is_gone "Progress Of the Morvane Tool"; do
    kill -0 "$started" || { echo "the progress window was not seen"; exit 1; }
done
the_end
grep -q '^ok' "$work/status"

set_lock() {
    sqlite3 "$work/shop/retail.db" 'UPDATE dwm_multiuse SET lock = 1'
    rm -rf "$work/logs"
}

echo "-- an unattended run that finds the lock set asks in its terminal"
set_lock
rm "$work/status"
echo y | script -qec "$program $(cat "$work/nightly.cfg") -statusfile $work/status" "$work/terminal" >"$work/errors"
grep -q 'Do you wish to continue' "$work/terminal"
grep -q '^ok' "$work/status"
[ "$(lock)" = "0|$(id -un)" ]

echo "-- MORVANE_CONSOLE turns the windows off"
MORVANE_CONSOLE=1 "$program" 2>"$work/errors"
grep -q 'MORVANE_CONSOLE turns the windows off' "$work/errors"

# Without a terminal a run asks in a message box.
ask() {
    set_lock
    start $(cat "$work/nightly.cfg") -statusfile "$work/status"
    wait_for_window "Lock Profile"
}

echo "-- a signal answers the question with No"
ask
kill -TERM "$started"
the_end "Nobody could be asked; the answer taken is No."
grep -q '^ok' "$work/status"
grep -q 'Nobody could be asked' -r "$work/logs"

echo "-- the loss of the display cancels a run, which releases its lock"
ask
coproc other { exec sqlite3 "$work/shop/retail.db"; }
echo "BEGIN IMMEDIATE; SELECT 'held';" >&"${other[1]}"
read -r <&"${other[0]}"
press alt+y
wait_until is_gone "Lock Profile"
stop_display
echo "COMMIT;" >&"${other[1]}" # the run can continue
wait "$started"
started=
grep -q 'The process was ended from within, as when its display is lost.' "$work/errors"
grep -q '^failure' "$work/status"
grep -q 'Morvane Tool stopped On' -r "$work/logs"
[ "$(lock)" = "0|$(id -un)" ]

echo "-- without a display the settings window is refused with a message, and unattended runs work"
for display in "" ":4711"; do
    DISPLAY=$display "$program" 2>"$work/errors"
    grep -q 'no display can be opened. Give the settings of a run as options.' "$work/errors"
    rm -f "$work/status"
    DISPLAY=$display "$program" $(cat "$work/nightly.cfg") -statusfile "$work/status"
    grep -q '^ok' "$work/status"
done

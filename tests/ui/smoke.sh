#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Starts the real program in each of its modes on a display in memory, and uses it with keys.
# Arguments: the program, and the program that makes the demo warehouse.
set -euo pipefail
program=$1
make_warehouse=$2
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
export XDG_RUNTIME_DIR=$work
export LSAN_OPTIONS="suppressions=$here/leaks.txt:print_suppressions=0"
mkdir "$work/shop" "$work/logs"
"$make_warehouse" "$work/shop" >/dev/null
start_display

# start <options...>: the program beside this script; the_end waits for it and its exit code.
start() {
    "$program" "$@" 2>"$work/errors" &
    started=$!
}
# the_end [text]: with nothing on standard error but, if given, a text.
the_end() {
    local code=0
    wait "$started" || code=$?
    started=
    [ "$code" -eq 0 ] && [ "$(grep -vF "${1:-nothing}" "$work/errors")" = "" ] ||
        { echo "ended with $code"; cat "$work/errors"; exit 1; }
}
lock() { sqlite3 "$work/shop/retail.db" 'SELECT * FROM dwm_multiuse'; }
is_gone() { ! window_named "$1" >/dev/null; }

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

# edit: the settings window in the middle of an edit, with the lock held.
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

echo "-- a signal ends it in the middle of an edit, which is given up, and frees the lock"
edit
kill -TERM "$started"
the_end
[ "$(lock)" = "0|$(id -un)" ]

echo "-- so does the loss of its display"
edit
stop_display
wait "$started" # which also says what the window system's library has to say
[ "$(lock)" = "0|$(id -un)" ]
start_display

echo "-- configuration mode writes a file"
start -config "$work/nightly.cfg" -mac "sqlite:$work/shop" -db retail -ntaut -mark -log "$work/logs"
wait_for_window Morvane
press Return
the_end
grep -q -- "^-mac sqlite:$work/shop -db retail -ntaut -chkmd -mark -log \"$work/logs\"" "$work/nightly.cfg"

echo "-- an unattended run shows its progress and ends by itself"
start $(cat "$work/nightly.cfg") -grep -del -statusfile "$work/status"
until ! is_gone "Progress Of the Morvane Tool"; do
    kill -0 "$started" || { echo "the progress window was not seen"; exit 1; }
done
the_end
grep -q '^ok' "$work/status"

# ask: an unattended run that finds the lock set asks in a box.
ask() {
    sqlite3 "$work/shop/retail.db" 'UPDATE dwm_multiuse SET lock = 1'
    rm -rf "$work/logs"
    start $(cat "$work/nightly.cfg") -statusfile "$work/status"
    wait_for_window "Lock Profile"
}

echo "-- a signal is the answer No to a question in a window"
ask
kill -TERM "$started"
the_end "Nobody could be asked; the answer taken is No."
grep -q '^ok' "$work/status"
grep -q 'Nobody could be asked' -r "$work/logs"

echo "-- a run whose display is lost is cancelled: the lock that it holds by then is released"
ask
coproc other { exec sqlite3 "$work/shop/retail.db"; }
echo "BEGIN IMMEDIATE; SELECT 'held';" >&"${other[1]}"
read -r <&"${other[0]}"
press alt+y
wait_until is_gone "Lock Profile"
stop_display
echo "COMMIT;" >&"${other[1]}" # lets the run go on
wait "$started"
started=
grep -q 'The process was ended from within, as when its display is lost.' "$work/errors"
grep -q '^failure' "$work/status"
grep -q 'Morvane Tool stopped On' -r "$work/logs"
[ "$(lock)" = "0|$(id -un)" ]

echo "-- without a display there is a sentence about it, and unattended runs go on"
for display in "" ":4711"; do
    DISPLAY=$display "$program" 2>"$work/errors"
    grep -q 'no display can be opened. Give the settings of a run as options.' "$work/errors"
    rm -f "$work/status"
    DISPLAY=$display "$program" $(cat "$work/nightly.cfg") -statusfile "$work/status"
    grep -q '^ok' "$work/status"
done

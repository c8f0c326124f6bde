#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Takes the screenshots in docs/pictures: drives the program with keystrokes on a virtual display and a
# demo warehouse. Arguments: the folder for the pictures, the scale of the windows, 1 or 2, and "windows" for
# the program for Windows under Wine, whose pictures are in docs/pictures/windows.
set -euo pipefail
cd "$(dirname "$0")/.."
pictures=${1:-docs/pictures}
export QT_SCALE_FACTOR=${2:-1}

. scripts/packages.sh
scripts/install-packages.sh "${picture_packages[@]}"
. scripts/display.sh
cmake --preset release >/dev/null
cmake --build --preset release --target morvane morvane-demo | tail -n 1
system=${3:-linux}

# Short paths, because the windows show them.
shop=/tmp/shop
logs=/tmp/shop/logs
[ ! -e "$shop" ] || { echo "$shop already exists"; exit 1; }
program=
finish() {
    [ -z "$program" ] || kill "$program" 2>/dev/null || true
    [ "$system" = linux ] || wineserver -k || true
    stop_display
    rm -rf "$shop"
}
trap finish EXIT
mkdir -p "$logs" "$pictures"
export XDG_RUNTIME_DIR=$shop
unset MORVANE_CONSOLE WAYLAND_DISPLAY QT_QPA_PLATFORM
build/release/demo/morvane-demo "$shop" --scale 20 >/dev/null
start_display
start=(build/release/src/morvane)
shown_shop=$shop
shown_logs=$logs
if [ "$system" = windows ]; then
    scripts/install-packages.sh "${wine_packages[@]}"
    scripts/windows.sh
    export WINEPREFIX=$shop/wine WINEDEBUG=-all
    wineboot --init >/dev/null 2>&1
    ln -s "$shop" "$WINEPREFIX/drive_c/shop"
    for font in "Segoe UI=DejaVu Sans" "Tahoma=DejaVu Sans" "Courier New=DejaVu Sans Mono"; do # not in Debian
        wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v "${font%=*}" /d "${font#*=}" >/dev/null
    done
    wine reg add 'HKCU\Control Panel\Desktop' /v LogPixels /t REG_DWORD /d $((96 * QT_SCALE_FACTOR)) /f >/dev/null
    unset QT_SCALE_FACTOR
    wineserver -w
    start=(wine build/windows/src/morvane.exe)
    shown_shop='C:\shop'
    shown_logs='C:\shop\logs'
fi

# picture <title> <name>: saves a screenshot of the window without its frame.
picture() {
    sleep 0.5 # wait for the last repaint, which cannot be observed
    import -window "$(window_named "$1")" -strip "$pictures/$2.png"
    echo "$pictures/$2.png"
}

# Two servers for the browse list.
export FREETDSCONF=$shop/freetds.conf
printf '[head office]\nhost = dw01\nport = 1433\n[stores]\nhost = dw02\ninstance = RETAIL\n' \
    >"$FREETDSCONF"

# The statement log shows how far the run is.
MORVANE_STATEMENT_LOG="$shown_shop/statements" "${start[@]}" &
program=$!
wait_for_window Morvane
if [ "$system" = linux ]; then
    press alt+b
    wait_for_window "Select a server..."
    sleep 2.5 # the duration of the search
    picture "Select a server..." browse-server
    press Escape
    wait_for_window Morvane
fi
# refresh_and_focus <keys>: fills the list of databases and focuses it. Wine loses keys pressed in the meantime.
refresh_and_focus() {
    press alt+r
    [ "$system" = linux ] || sleep 1
    press "$1"
}
enter alt+s "sqlite:$shown_shop"
refresh_and_focus alt+a
xdotool type retail
enter alt+l "$shown_logs"
press alt+v alt+m alt+g alt+e
picture Morvane main-window

press alt+f
wait_for_window "Fact Table Conditions for Archiving"
enter alt+s "sqlite:$shown_shop"
press alt+q
enter alt+u archivist
refresh_and_focus alt+d
xdotool type retail_archive
picture "Fact Table Conditions for Archiving" fact-table-conditions
press Return
wait_for_window Morvane

press alt+d
wait_for_window "Dimension Checks"
press Tab Tab Tab space
xdotool type product
press Return alt+e
wait_for_window "Query Execution"
press alt+y
wait_for_window "Dimension Checks"
picture "Dimension Checks" dimension-checks
press Escape
wait_for_window Morvane

press alt+p
until grep -q 'UPDATE .* FROM product,' "$shop/statements"; do :; done
kill -STOP "$program"
picture "Progress Of the Morvane Tool" progress
kill -CONT "$program"
wait_until grep -q 'SET lock = 0' "$shop/statements"
picture "Progress Of the Morvane Tool" finished
press Return
wait_for_window Morvane
press alt+c
wait "$program"
program=

# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Functions to operate windows on a virtual display. Sourced by other scripts; needs display_packages.

# begin_session: creates the temporary folder "work". When the script ends, the folder is deleted, the display
# is stopped, and the program with the process id "started" is killed.
begin_session() {
    work=$(mktemp -d)
    started=
    trap end_session EXIT
    unset MORVANE_CONSOLE WAYLAND_DISPLAY QT_QPA_PLATFORM
}

end_session() {
    [ -z "$started" ] || kill "$started" 2>/dev/null || true
    stop_display
    rm -rf "$work"
}

# expect_success: waits for the program "started", whose exit code must be 0. Otherwise prints the file "errors".
expect_success() {
    local code=0
    wait "$started" || code=$?
    started=
    [ "$code" -eq 0 ] || { echo "ended with $code"; cat "$work/errors"; exit 1; }
}

# start_display: starts a display with a window manager and sets DISPLAY. stop_display stops both if they run.
display_folder=
start_display() {
    display_folder=$(mktemp -d)
    Xvfb -displayfd 3 -screen 0 1600x1400x24 -nolisten tcp \
        3>"$display_folder/number" >/dev/null 2>&1 &
    display_server=$!
    window_manager=
    until [ -s "$display_folder/number" ]; do
        kill -0 "$display_server" || { echo "Xvfb did not start"; return 1; }
        sleep 0.05
    done
    DISPLAY=:$(cat "$display_folder/number")
    export DISPLAY
    openbox --sm-disable --config-file /dev/null >/dev/null 2>&1 &
    window_manager=$!
    until xdotool get_num_desktops >/dev/null 2>&1; do
        kill -0 "$window_manager" || { echo "openbox did not start"; return 1; }
        sleep 0.05
    done
}

stop_display() {
    [ -n "$display_folder" ] || return 0
    kill "$window_manager" "$display_server" 2>/dev/null || true
    wait "$window_manager" "$display_server" 2>/dev/null || true
    rm -rf "$display_folder"
    display_folder=
}

# wait_until <command...>: repeats the command until it succeeds, for at most a minute.
wait_until() {
    local end=$((SECONDS + 60))
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || { echo "timed out waiting for: $*" >&2; return 1; }
        sleep 0.1
    done
}

# window_named <title>: prints the id of the visible window; fails if there is none.
window_named() {
    local windows
    windows=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null) && tail -n 1 <<<"$windows"
}

is_gone() { ! window_named "$1" >/dev/null; }

# The window may disappear in between; the caller tries again.
activate() {
    local window
    window=$(window_named "$1") && timeout 5 xdotool windowactivate --sync "$window" 2>/dev/null
}

# wait_for_window <title>: waits until the window is visible and active.
wait_for_window() { wait_until activate "$1"; }

# press <keys...>, in xdotool's notation: alt+s ctrl+a Return
press() { xdotool key --clearmodifiers --delay 30 "$@"; }

# enter <keys that focus a text box> <text>: replaces the content of the text box.
enter() {
    press "$1" ctrl+a
    xdotool type --delay 2 -- "$2"
}

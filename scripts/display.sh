# SPDX-License-Identifier: Apache-2.0
# A display in memory and hands for it; sourced by what drives the real windows. Needs the packages
# display_packages.

# start_display: sets DISPLAY; stop_display ends it.
start_display() {
    display_folder=$(mktemp -d)
    Xvfb -displayfd 3 -screen 0 1600x1400x24 -nolisten tcp \
        3>"$display_folder/number" >/dev/null 2>&1 &
    display_server=$!
    until [ -s "$display_folder/number" ]; do
        kill -0 "$display_server" || { echo "Xvfb did not start"; return 1; }
        sleep 0.05
    done
    export DISPLAY=":$(cat "$display_folder/number")"
    openbox --sm-disable --config-file /dev/null >/dev/null 2>&1 &
    window_manager=$!
    until xdotool get_num_desktops >/dev/null 2>&1; do
        kill -0 "$window_manager" || { echo "openbox did not start"; return 1; }
        sleep 0.05
    done
}

stop_display() {
    kill "$window_manager" "$display_server" 2>/dev/null || true
    wait "$window_manager" "$display_server" 2>/dev/null || true
    rm -rf "$display_folder"
}

# wait_until <command...>: until it succeeds, for at most a minute.
wait_until() {
    local end=$((SECONDS + 60))
    until "$@"; do
        [ "$SECONDS" -lt "$end" ] || { echo "waited in vain for: $*" >&2; return 1; }
        sleep 0.1
    done
}

# window_named <title>: the number of the shown window; fails when there is none.
window_named() {
    local windows
    windows=$(xdotool search --onlyvisible --name "^$1\$" 2>/dev/null) && tail -n 1 <<<"$windows"
}

# Windows may go while they are looked at, which is an error of the one look alone.
activate() {
    local window
    window=$(window_named "$1") && timeout 5 xdotool windowactivate --sync "$window" 2>/dev/null
}

# wait_for_window <title>: until it is shown and active.
wait_for_window() { wait_until activate "$1"; }

# press <keys...>, in the words of xdotool: alt+s ctrl+a Return
press() { xdotool key --clearmodifiers --delay 30 "$@"; }

# enter <keys that lead to a text box> <text>: puts the text in place of what was there.
enter() {
    press "$1" ctrl+a
    xdotool type --delay 2 -- "$2"
}

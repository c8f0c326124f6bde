#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the Windows programs under Wine with the native ones: the same demo warehouse, and after a run of all
# tasks the same tables, log and reports except for times and backslashes. Arguments: the build folders for
# Windows and for this system.
set -euo pipefail
windows=$(realpath "$1")
native=$(realpath "$2")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export MORVANE_CONSOLE=1

options=(-mac sqlite:shop -ntaut -db retail -chkmd -clsf -bkmac sqlite:shop -bkdb retail_archive -bkusr archivist
    -mark -grep -del -log logs)

# in_folder <name> <command...>: runs a command in a folder of its own, so that both use the same relative names.
in_folder() {
    (mkdir -p "$work/$1" && cd "$work/$1" && shift && "$@" >output 2>&1) || { cat "$work/$1/output"; exit 1; }
}
# The archive contains the time of the run.
dump() { sqlite3 "$work/$1/shop/$2.db" .dump | sed "s/'$(date +%Y-%m)-[0-9 :-]*'/TIME/"; }
same() { cmp <(dump windows "$1") <(dump native "$1") || { echo "$1.db differs $2"; exit 1; }; }

in_folder windows wine "$windows/demo/morvane-demo.exe" shop
in_folder native "$native/demo/morvane-demo" shop
same retail "before the run"

for atomic in "" -datom; do
    in_folder windows wine "$windows/src/morvane.exe" "${options[@]}" $atomic -statusfile "status$atomic.txt"
    in_folder native "$native/src/morvane" "${options[@]}" $atomic -statusfile "status$atomic.txt"
    grep -q '^ok' "$work/windows/status$atomic.txt"
    same retail "after the run"
    same retail_archive "after the run"
done

# without_times <folder>: prints its logs and reports in the order of their names.
without_times() {
    cd "$work/$1/logs"
    for file in *; do
        echo "${file//[0-9]/0}"
        # The time format of the reports depends on the system.
        sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}/TIME/g
            s/[0-9]{1,2}:[0-9]{2}:[0-9]{2}( [AP]M)?/TIME/g
            s/[0-9]{2}-[0-9]{2}-[0-9]{6}-[0-9]{2}-[0-9]{2}/STAMP/g; s/logs\\/logs\//' "$file"
    done
}
diff <(without_times windows) <(without_times native)
[ "$(find "$work/windows/logs" -type f | wc -l)" -eq 8 ]

# morvane-inspect gives the same answers.
for question in plan verify "why customer 1"; do
    for system in windows native; do
        program=("$native/src/inspect/morvane-inspect")
        [ $system = native ] || program=(wine "$windows/src/inspect/morvane-inspect.exe")
        (cd "$work/$system" && "${program[@]}" $question -mac sqlite:shop -db retail -ntaut --format json \
            >answer 2>errors) || [ $? = 1 ] || { cat "$work/$system/errors"; exit 1; }
    done
    cmp <(tr -d '\r' <"$work/windows/answer") "$work/native/answer"
done
# morvane-nightly, as a user with a non-ASCII name who also ran last.
cd "$work/windows"
export USER=Jürgen LOGNAME=Jürgen
sqlite3 shop/retail.db "UPDATE dwm_multiuse SET user_name = 'Jürgen'"
echo '-mac sqlite:shop -db retail -ntaut -chkmd -mark -log "logs"' >nightly.cfg
wine "$windows/src/morvane-nightly.exe" nightly.cfg status.txt 2>errors || { cat errors; exit 1; }
# Paths of more than 260 characters, also as names without a drive, which Wine has instead of shares.
far=$work/$(printf 'a%.0s' {1..120})/$(printf 'b%.0s' {1..150})
mkdir -p "$far"
cp -R shop "$far"
for root in Z: '\\?\unix'; do
    folder="$root${far//\//\\}"
    wine "$windows/src/morvane.exe" -mac "sqlite:$folder\\shop" -db retail -ntaut -mark -grep -log "$folder\\logs" \
        -statusfile "$folder\\status.txt" -chkmd 2>errors
    grep -q '^ok' "$far/status.txt" || { cat errors; exit 1; }
    rm "$far/status.txt"
done
[ "$(find "$far/logs" -type f | wc -l)" -eq 8 ]
echo "The Windows programs give the same results as the native ones."

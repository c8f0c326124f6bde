#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the commands of the documentation, page by page, each page in its own folder. Arguments: the
# paths of morvane, morvane-demo, morvane-nightly and morvane-inspect.
#
# The words after the three backquotes of a code block say what to do with it:
#   sh              run it
#   sh server       run it, and expect that it cannot connect to the server
#   sh repository   check that the scripts it names exist; other tests run them
#   sh package      nothing: the package tests run it
#   sh windows      nothing: it is for Windows
#   bat             nothing: tests/package/install-windows.sh runs it under Wine
#   bat windows     nothing: it is for a real Windows
#   sql             save it as star.sql and run it with sqlite3
#   sql server      nothing: it is for SQL Server
#   output          compare it with the last lines that the previous block printed
set -euo pipefail
program=$1
make_warehouse=$2
nightly=$3
inspect=$4
repository=$(cd "$(dirname "$0")/../.." && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
ln -s "$program" "$work/bin/morvane"
ln -s "$make_warehouse" "$work/bin/morvane-demo"
ln -s "$nightly" "$work/bin/morvane-nightly"
ln -s "$inspect" "$work/bin/morvane-inspect"
export PATH=$work/bin:$PATH MORVANE_CONSOLE=1
ran=0

fail() {
    echo "$page: $1" >&2
    cat "$block" >&2
    exit 1
}

# morvane always exits with 0 and writes errors to standard error.
run_block() {
    bash -eu "$block" >output 2>errors </dev/null || fail "a command failed: $(cat output errors)"
    [ ! -s errors ] || fail "$(cat errors)"
}

run_on_no_server() {
    bash -eu "$block" >output 2>errors </dev/null || fail "a command failed: $(cat output errors)"
    grep -q '^Error while connecting to : ' errors || fail "it did not try to connect: $(cat errors)"
}

find_scripts() {
    local script found=
    for script in $(grep -o '\(scripts\|bench\)/[a-z-]*\.sh' "$block"); do
        [ -x "$repository/$script" ] || fail "there is no $script"
        bash -n "$repository/$script"
        found=1
    done
    [ -n "$found" ] || fail "it does not name a script"
}

run_sql() {
    cp "$block" star.sql
    sqlite3 -bail scratch.db <star.sql || fail "the statements failed"
}

compare_output() {
    tail -n "$(wc -l <"$block")" output | diff "$block" - || fail "the output differs"
}

for page in README.md $(cd "$repository" && echo docs/*.md); do
    folder=$work/$(basename "$page" .md)
    mkdir -p "$folder/blocks" "$folder/home"
    awk -v folder="$folder/blocks" '
        /^```/ && !file { kind = substr($0, 4); gsub(" ", "-", kind)
                          file = sprintf("%s/%03d.%s", folder, ++count, kind); printf "" >file; next }
        /^```/          { close(file); file = ""; next }
        file            { print >file }
    ' "$repository/$page"
    cd "$folder"
    export HOME=$folder/home
    sqlite3 scratch.db 'CREATE TABLE store(store_key int)'
    if grep -nE '^ {4}(morvane|scripts/|bench/|cmake |build/|sudo |apt)' "$repository/$page"; then
        block=/dev/null
        fail "commands outside of a marked code block"
    fi
    for block in blocks/*; do
        [ -e "$block" ] || continue
        case ${block#*.} in
        sh) run_block ;;
        sh-server) run_on_no_server ;;
        sh-repository) find_scripts ;;
        sql) run_sql ;;
        output) compare_output ;;
        sh-package | sh-windows | bat | bat-windows | sql-server) ;;
        *) fail "unknown kind of code block" ;;
        esac
        ran=$((ran + 1))
    done
done
echo "$ran blocks of commands"
[ "$ran" -ge 15 ]

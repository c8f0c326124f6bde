#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs the commands that the documentation shows, each page's in their order and in a folder of its
# own. Arguments: the programs morvane, morvane-demo and morvane-nightly.
#
# What becomes of a block of code depends on the words behind its three backquotes:
#   sh              is run
#   sh server       is run, and ends because there is no such server
#   sh repository   names scripts of this repository, which others run; they must be there
#   sh package      is run by the test of the packages
#   sh windows      is for Windows, where nothing was ever run
#   sql             is run by sqlite3, and is the file star.sql
#   sql server      is for the server alone
#   output          ends the output of the block before it
set -euo pipefail
program=$1
make_warehouse=$2
nightly=$3
repository=$(cd "$(dirname "$0")/../.." && pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin"
ln -s "$program" "$work/bin/morvane"
ln -s "$make_warehouse" "$work/bin/morvane-demo"
ln -s "$nightly" "$work/bin/morvane-nightly"
export PATH=$work/bin:$PATH MORVANE_CONSOLE=1
ran=0

fail() {
    echo "$page: $1" >&2
    cat "$block" >&2
    exit 1
}

# The exit code of morvane is always 0, but what goes wrong is on standard error.
run_block() {
    bash -eu "$block" >output 2>errors </dev/null || fail "a command failed: $(cat output errors)"
    [ ! -s errors ] || fail "$(cat errors)"
}

run_on_no_server() {
    bash -eu "$block" >output 2>errors </dev/null || fail "a command failed: $(cat output errors)"
    grep -q '^Error while connecting to : ' errors || fail "it did not come to connecting: $(cat errors)"
}

find_scripts() {
    local script found=
    for script in $(grep -o '\(scripts\|bench\)/[a-z-]*\.sh' "$block"); do
        [ -x "$repository/$script" ] || fail "there is no $script"
        bash -n "$repository/$script"
        found=1
    done
    [ -n "$found" ] || fail "it names no script"
}

run_sql() {
    cp "$block" star.sql
    sqlite3 -bail scratch.db <star.sql || fail "the statements failed"
}

compare_output() {
    tail -n "$(wc -l <"$block")" output | diff "$block" - || fail "this is not the output"
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
        fail "commands outside of a block that says what they are"
    fi
    for block in blocks/*; do
        [ -e "$block" ] || continue
        case ${block#*.} in
        sh) run_block ;;
        sh-server) run_on_no_server ;;
        sh-repository) find_scripts ;;
        sql) run_sql ;;
        output) compare_output ;;
        sh-package | sh-windows | sql-server) ;;
        *) fail "what is to become of this?" ;;
        esac
        ran=$((ran + 1))
    done
done
echo "$ran blocks of commands"
[ "$ran" -ge 15 ]

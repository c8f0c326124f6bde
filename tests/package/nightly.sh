#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tests the morvane-nightly that is found in the path: with a program that prints its arguments, and
# with morvane on a demo warehouse.
set -euo pipefail
fail() { echo "$*" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
shop="$work/my  shop"
config="$work/my config"
status="$work/my status"

# nightly <expected exit code> <options...>: runs it and keeps its output in the file "output".
nightly() {
    local expected=$1 code=0
    shift
    morvane-nightly "$config" "$status" "$@" >"$work/output" 2>&1 </dev/null || code=$?
    [ "$code" -eq "$expected" ] || fail "exit code $code, not $expected: $(cat "$work/output")"
}

echo "-- words of the file are passed on unchanged"
mkdir "$work/shown"
cat >"$work/shown/morvane" <<'PROGRAM'
#!/bin/sh
for word; do printf '<%s>\n' "$word"; done
status=$word
[ -e "$status" ] || printf 'ok\r\n' >"$status"
PROGRAM
chmod +x "$work/shown/morvane"
cat >"$config" <<'WORDS'
-mac sqlite:/a  -pwd p$a'b\c`d`*?[x]\\
-bkpwd " $(id)  'q' \ *" -usr "" -log "/my  logs"
WORDS
sed -i 's/$/\r/' "$config"
echo "ok of yesterday" >"$status"
(PATH="$work/shown:$PATH" nightly 0 -grep "two  words")
cat >"$work/expected" <<WORDS
<-mac>
<sqlite:/a>
<-pwd>
<p\$a'b\\c\`d\`*?[x]\\\\>
<-bkpwd>
< \$(id)  'q' \\ *>
<-usr>
<>
<-log>
</my  logs>
<-grep>
<two  words>
<-statusfile>
<$status>
WORDS
diff "$work/expected" "$work/output"

echo "-- the exit code follows the status file"
morvane-demo "$shop" >/dev/null
login="-mac \"sqlite:$shop\" -db retail -usr cleaner -pwd p\$a'b\\c\`d"
echo "$login -chkmd -mark -grep -del -log \"$shop/my  logs\"" >"$config"
nightly 0
grep -q '^ok' "$status"
[ "$(find "$shop/my  logs" -name '*Report*.html' | wc -l)" -eq 3 ] || fail "no reports"
nightly 0 15 16 17 18 19 20 21 22 23 # the largest number of words
nightly 1 -db none
grep -q 'ended with "failure"' "$work/output"
grep -q '^failure' "$status"

echo "-- a lock left by a killed run is a failure"
sqlite3 "$shop/retail.db" 'UPDATE dwm_multiuse SET lock = 1'
nightly 1
grep -q 'Nobody could be asked' "$work/output"
grep -q 'nothing was done' "$work/output"
sqlite3 "$shop/retail.db" 'UPDATE dwm_multiuse SET lock = 0'

echo "-- a run that cannot start does not touch the warehouse and the status"
nightly 1 -db none
nightly 2 15 16 17 18 19 20 21 22 23 24
grep -q 'more than 23 words' "$work/output"
grep -q '^failure' "$status"
mv "$config" "$work/elsewhere"
nightly 2
grep -q 'cannot read the file' "$work/output"
mv "$work/elsewhere" "$config"

echo "-- a signal cancels the run, and morvane-nightly waits for it"
rm "$status"
setsid morvane-nightly "$config" "$status" >"$work/output" 2>&1 &
started=$!
until grep -qs running "$status"; do
    kill -0 "$started" || fail "no status: $(cat "$work/output")"
done
kill -TERM -- "-$started"
code=0
wait "$started" || code=$?
[ "$code" -eq 1 ] || fail "exit code $code after a signal"
grep -q '^failure' "$status"
[ "$(sqlite3 "$shop/retail.db" 'SELECT lock FROM dwm_multiuse')" = 0 ] || fail "the lock is held"

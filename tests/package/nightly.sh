#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Tests the morvane-nightly that is found in the path: with a program in place of morvane that prints its
# arguments, and with morvane on a demo warehouse.
set -euo pipefail
fail() { echo "$*" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
shop="$work/my  shop"
config="$work/my config"
status="$work/my status"
result="$work/result.json"
toml="$work/warehouses.toml"
program=$(command -v morvane-nightly)
umask 077

# expect <exit code> <arguments...>: runs it and keeps its output in the file "output".
expect() {
    local expected=$1 code=0
    shift
    "$program" "$@" >"$work/output" 2>&1 </dev/null || code=$?
    [ "$code" -eq "$expected" ] || fail "exit code $code, not $expected: $* $(cat "$work/output")"
}
says() { grep -q -- "$1" "$work/output" || fail "not \"$1\" but: $(cat "$work/output")"; }
query() { sqlite3 "$shop/retail.db" "$1"; }

echo "-- words and passwords reach morvane, and its result decides"
mkdir "$work/shown"
cat >"$work/shown/morvane" <<'PROGRAM'
#!/bin/sh
for word; do printf '<%s>\n' "$word"; done
printf '%s %s %s\n' "$MORVANE_CONSOLE" "$MORVANE_PASSWORD" "$MORVANE_ARCHIVE_PASSWORD"
[ ! -e "$MORVANE_RESULT" ] || echo "an old result"
[ -z "${WAIT:-}" ] || { trap 'echo cancelled; exit 0' HUP INT; echo >"$WAIT"; while :; do sleep 0.1; done; }
[ -z "$OUTCOME" ] || printf '{"outcome":"%s","tables":[],"errors":[],"reports":[]}' "$OUTCOME" >"$MORVANE_RESULT"
PROGRAM
chmod +x "$work/shown/morvane"
cp "$program" "$work/shown/morvane-nightly"
program=$work/shown/morvane-nightly
cat >"$config" <<WORDS
# -del is off
-mac sqlite:/a -db d -usr u -pwd p\$a'b\\c\`d\`*?[x]
-bkpwd " \$(id)  'q' \\ *" -clsf -bkmac sqlite:/b -bkdb b -bkusr v -log "$work/my  logs"
WORDS
sed -i 's/$/\r/' "$config"
echo "old" | tee "$status" >"$result"
MORVANE_RESULT=$result OUTCOME='done' expect 0 "$config" "$status" --keep 3 -grep "two  words"
printf '<%s>\n' -mac sqlite:/a -db d -usr u -clsf -bkmac sqlite:/b -bkdb b -bkusr v \
    -log "$work/my  logs" -grep "two  words" -statusfile "$status" >"$work/expected"
echo "1 p\$a'b\\c\`d\`*?[x]  \$(id)  'q' \\ *" >>"$work/expected"
diff "$work/expected" "$work/output"
for outcome in failed cancelled locked other-user "" nonsense; do
    OUTCOME=$outcome expect 1 "$config" "$status"
done
chmod 644 "$config"
OUTCOME=not-started expect 2 "$config" "$status"
says 'warning: others can read the passwords'
OUTCOME=locked expect 1 "$config" "$status" --on-result cat
says '"outcome":"locked"'
OUTCOME='done' expect 0 "$config" "$status" --on-result false
says 'warning: false ended with exit code 1'
OUTCOME='done' expect 0 "$config" "$status" 15 16 17 18 19 20 21 22 # the largest number of words

echo "-- invalid settings are refused before anything runs"
echo "ok of yesterday" >"$status"
cp "$status" "$work/open password"
chmod 644 "$work/open password"
mkdir "$work/credentials"
echo "from the manager" >"$work/credentials/login"
section() { printf '[%s]\nserver = "sqlite:%s"\ndatabase = "retail"\nuser = "u"\nlog = "%s/logs"\n' "$1" "$shop" "$work"; }
{
    section one && printf 'tasks = ["mark"]\npassword_file = "login"\n'
    section two && printf 'tasks = ["mark"]\npassword_file = "%s/open password"\n' "$work"
} >"$toml"
refused() {
    export OUTCOME='done'
    expect 2 "${@:2}"
    says "$1"
    ! grep '^<' "$work/output" || fail "it ran"
}
refused 'as an option' "$config" "$status" -log -del
refused 'more than 23 words' "$config" "$status" 15 16 17 18 19 20 21 22 23
refused 'cannot write into the folder' "$config" "$work/none/status"
refused 'is a folder' "$config" "$work"
refused 'belongs to a database' "$config" "$work/d.db" -mac "sqlite:$work"
refused 'Cannot make the folder' "$config" "$status" -log /proc/none
refused 'cannot write into the folder' "$config" "$status" --metrics /proc/none/metrics
refused 'Cannot open the file' "$work/none" "$status"
refused 'there is no section\|has no section' --config "$toml" three
refused 'CREDENTIALS_DIRECTORY' --config "$toml" one
CREDENTIALS_DIRECTORY=$work/credentials refused 'two: .*others than its owner' --config "$toml" --all
mkdir "$work/alone"
cp "$program" "$work/alone"
program=$work/alone/morvane-nightly refused 'there is no .*/alone/morvane' "$config" "$status"
grep -q yesterday "$status"
CREDENTIALS_DIRECTORY=$work/credentials OUTCOME='done' expect 0 --config "$toml" one
says '^1 from the manager'

echo "-- a signal to it alone, and a time, cancel the run once"
WAIT=$work/waiting "$program" "$config" "$status" >"$work/output" 2>&1 &
until [ -e "$work/waiting" ]; do kill -0 $! || fail "$(cat "$work/output")"; done
kill -TERM $!
code=0
wait $! || code=$?
[ "$code" -eq 1 ] || fail "exit code $code after a signal"
WAIT=$work/waiting expect 1 "$config" "$status" --until "$(date -d '2 seconds' +%T)"
[ "$(grep -c '^cancelled' "$work/output")" = 1 ] || fail "$(cat "$work/output")"
says 'ended with "cancelled"'
says 'morvane left no result'

echo "-- a warehouse is cleaned, and only old logs and reports are deleted"
program=$(command -v morvane-nightly)
morvane-demo "$shop" >/dev/null
logs="$work/my  logs"
touch "$logs"/{Morvane_Log01-02-202003-04-05.txt,DetailedReport01-02-202003-04-05.html,Report.html,Morvane_Log.txt}
cat >"$toml" <<TOML
[re"tail]
TOML
! "$program" --config "$toml" --all 2>"$work/output" || fail "it read broken TOML"
says 'warehouses.toml:1:'
cat >"$toml" <<TOML
[shop] # all tasks
server = "sqlite:$shop"
database = "retail"
user = "cleaner"
log = "$logs"
tasks = ["check", "mark", "report", "delete"]
status_file = "$status"
result_file = "$result"
metrics = "$work/shop.prom"
max_delete = "10%"
check_references = true
keep = 30
TOML
expect 1 --config "$toml" shop
says 'nothing was deleted: product: 567 of 3000 rows are marked, the limit is 10%'
grep -q '^failure' "$status"
grep -q '^morvane_success{warehouse="shop"} 0' "$work/shop.prom"
! compgen -G "$logs/*202003*" || fail "old files were kept"
[ -e "$logs/Report.html" ] && [ -e "$logs/Morvane_Log.txt" ]
[ "$(find "$logs" -name '*Report*-*.html' | wc -l)" -eq 3 ] || fail "no reports"

echo "-- marks that are in use again are not deleted"
marked=$(query "SELECT COUNT(*) FROM brand WHERE is_deletable = 1")
query "UPDATE product SET brand_key = (SELECT MIN(brand_key) FROM brand WHERE is_deletable = 1)
    WHERE product_key = (SELECT MIN(product_key) FROM product WHERE is_deletable = 0)"
sed -i 's/^tasks.*/tasks = ["delete"]/' "$toml"
expect 1 --config "$toml" --all --max-delete 100%
says 'nothing was deleted: brand: '
[ "$(query "SELECT COUNT(*) FROM brand WHERE is_deletable = 1")" = "$marked" ]
sed -i 's/^tasks.*/tasks = ["mark", "delete"]/' "$toml"
expect 0 --config "$toml" --all --max-delete 100%
grep -q '^ok' "$status"
grep -q "^morvane_deleted_rows{warehouse=\"shop\",table=\"brand\"} $((marked - 1))\$" "$work/shop.prom"
[ "$(query "SELECT COUNT(*) FROM brand WHERE is_deletable = 1")" = 0 ]

echo "-- of several sections each runs, and the worst outcome counts"
sed "s/shop\]/none]/; s/^database.*/database = \"none\"/" "$toml" >>"$toml.new"
cat "$toml" >>"$toml.new"
expect 1 --config "$toml.new" none shop
[ "$(grep -c '^morvane_success' "$work/shop.prom")" = 2 ]

echo "-- a lock left by a killed run, and another user who ran last, are failures"
query "UPDATE dwm_multiuse SET lock = 1"
expect 1 --config "$toml" shop
says 'the warehouse is locked'
query "UPDATE dwm_multiuse SET lock = 0, user_name = 'somebody'"
expect 1 --config "$toml" shop
says 'another user ran last'
query "UPDATE dwm_multiuse SET user_name = ''"

echo "-- a signal to the group cancels the run, and morvane-nightly waits for it"
echo "-mac \"sqlite:$shop\" -db retail -usr cleaner -chkmd -mark -grep -log \"$logs\"" >"$config"
rm "$status"
setsid "$program" "$config" "$status" >"$work/output" 2>&1 &
until grep -qs running "$status"; do kill -0 $! || fail "no status: $(cat "$work/output")"; done
kill -TERM -- "-$!"
code=0
wait $! || code=$?
[ "$code" -eq 1 ] || fail "exit code $code after a signal"
grep -q '^failure' "$status"
says 'ended with "cancelled"; its log is '
[ "$(query 'SELECT lock FROM dwm_multiuse')" = 0 ] || fail "the lock is held"

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Compares the result files of runs that end in different ways with their schema, and those of the demo
# warehouse with the plan. Arguments: the paths of morvane, morvane-demo and morvane-inspect.
set -euo pipefail
morvane=$1
demo=$2
inspect=$3
schema=$(cd "$(dirname "$0")/../../docs" && pwd)/result.schema.json
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$demo" "$work" >/dev/null
export MORVANE_CONSOLE=1 MORVANE_RESULT=$work/result.json
lock="$work/retail.db"

# expect <outcome> <Python expression on the result r> <options...>
expect() {
    local outcome=$1 condition=$2
    shift 2
    rm -f "$MORVANE_RESULT"
    "$morvane" -mac "sqlite:$work" -ntaut -log "$work/logs" "$@" >"$work/output" 2>&1 </dev/null
    python3 - "$schema" "$MORVANE_RESULT" "$outcome" "$condition" <<'PYTHON' || { cat "$work/output"; exit 1; }
import json, jsonschema, sys
schema, r = (json.load(open(name)) for name in sys.argv[1:3])
jsonschema.validate(r, schema)
tables = {t["table"]: t for t in r["tables"]}
assert r["outcome"] == sys.argv[3], r
assert eval(" ".join(sys.argv[4].split())), r
PYTHON
    ls "$work"/result.json.* 2>/dev/null && exit 1
    return 0
}

"$inspect" plan -mac "sqlite:$work" -db retail --format csv >"$work/plan.csv" || [ $? = 1 ]
grep -q '^sales,fact,180000,54005,' "$work/plan.csv"
grep -q '^customer,slowly moving,5720,,991,1710,158,315,158,315,321,905,' "$work/plan.csv"
# It is not an error if the reader closes the pipe early.
"$inspect" verify --list -mac "sqlite:$work" -db retail | head -n 1 >/dev/null || [ $? = 1 ]

archive=(-bkmac "sqlite:$work" -bkusr u -bkpwd p -bkdb retail_archive)
expect done 'tables["sales"]["archived"] == 54005 and tables["customer"]["marked"] == 1710' \
    -db retail "${archive[@]}" -clsf -mark
expect done 'tables["customer"]["deleted"] == 1710 and tables["customer"]["relinked"] == 905
    and len(r["reports"]) == 3 and r["errors"] == []' -db retail -grep -del
expect done 'all(t["deleted"] in (0, None) for t in r["tables"])' -db retail -del -datom
expect failed 'r["errors"] and r["tables"] == []' -db none -mark
expect not-started 'r["tables"] == []' -db ""
sqlite3 "$lock" "UPDATE dwm_multiuse SET lock = 1"
expect locked 'r["tables"] == [] and r["log"]' -db retail -mark
sqlite3 "$lock" "UPDATE dwm_multiuse SET lock = 0, user_name = 'somebody'"
expect other-user 'r["errors"] == []' -db retail -mark
sqlite3 "$lock" "UPDATE dwm_multiuse SET user_name = ''"

# A result file that cannot be written does not affect the run.
for file in "$work/none/result.json" "$work/retail.db" "$work/status"; do
    MORVANE_RESULT=$file "$morvane" -mac "sqlite:$work" -ntaut -db retail -mark -log "$work/logs" \
        -statusfile "$work/status" >"$work/output" 2>&1
    grep -q '^ok' "$work/status"
    grep -q '^MORVANE_RESULT: ' "$work/output"
done

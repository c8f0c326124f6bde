#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Checks the manual pages, documentation, desktop entry and systemd units of an installation. Arguments: its usr
# folder and the name of the package.
set -euo pipefail
usr=$1
documentation=$usr/share/doc/$2
cd "$(dirname "$0")/../.."
fail() { echo "$*" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

echo "-- the manual"
for program in "$usr"/bin/*; do
    page=$usr/share/man/man1/$(basename "$program").1.gz
    warnings=$(MANROFFSEQ='' man --warnings -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || fail "$page: $warnings"
    version=$(zcat "$page" | sed -n 's/^\.TH .*"Morvane \([0-9.]*\)".*/\1/p')
    [ -n "$version" ] || fail "$page names no version"
    # morvane itself prints it below the usage text.
    case $(basename "$program") in
    morvane) ;;
    *) [ "$("$program" --version)" = "$(basename "$program") $version" ] || fail "$program: wrong --version" ;;
    esac
done

# section <title>: prints the source of a section of morvane(1).
section() {
    zcat "$usr/share/man/man1/morvane.1.gz" | sed -n "/^\.SH $1\$/,/^\.SH/p"
}
# Every option that a program lists is completed, and no other. Not every program lists --help.
options() { grep -oE "(^|[ '|])--?[a-z][a-z-]+" | tr -d " '|" | sort -u | grep -v -e --help; }
for program in morvane-demo morvane-inspect morvane-nightly; do
    diff <("$usr/bin/$program" --help | options) \
        <(sed -n '/compgen -W/,/)/p' "$usr/share/bash-completion/completions/$program" | options) ||
        fail "$program: options only in --help (<) or only completed (>)"
done

section OPTIONS | sed -n 's/^\.BI\? \\\(-[a-z][a-z]*\).*/\1/p' | sort -u >"$work/documented"
"$usr/bin/morvane" -help | grep -o -- '-[a-z]\+' | sort -u >"$work/offered"
[ "$(wc -l <"$work/offered")" -gt 20 ] || fail "-help does not list the options"
diff "$work/offered" "$work/documented" || fail "options only in -help (<) or only in the manual (>)"

grep -oE '"[A-Z_]+"' src/run/Environment.cpp | tr -d '"' | sort -u >"$work/read"
grep -q MORVANE_CONSOLE "$work/read" && grep -q ODBCINI "$work/read" || fail "no variable found"
section ENVIRONMENT >"$work/environment"
while read -r variable; do
    grep -qw "$variable" "$work/environment" || fail "the manual lacks the variable $variable"
done <"$work/read"

echo "-- the pages"
links=0
for page in "$documentation"/README.md "$documentation"/docs/*.md; do
    for link in $(grep -oE '\]\([^)#:]+[)#]' "$page" | tr -d '])(#'); do
        [ -e "$(dirname "$page")/$link" ] || fail "$page leads to $link, which is not there"
        links=$((links + 1))
    done
done
[ "$links" -gt 20 ] || fail "only $links links were found"

echo "-- the examples"
if [ -d "$usr/share/applications" ]; then
    desktop-file-validate "$usr/share/applications/morvane.desktop"
    [ -e "$usr/share/icons/hicolor/scalable/apps/morvane.svg" ] || fail "no icon"
fi
if command -v systemd-analyze >/dev/null; then
    cp "$documentation"/examples/*.service "$documentation"/examples/*.timer "$work"
    # The installation is not in the system's path.
    sed -i "s|^ExecStart=|&$usr/bin/|" "$work/morvane-nightly.service"
    systemd-analyze verify --man=no "$work"/morvane-nightly.{service,timer} 2>"$work/remarks" ||
        fail "$(cat "$work/remarks")"
    ! grep "$work" "$work/remarks" || fail "systemd does not understand all of a unit"
    systemd-analyze security --offline=yes --threshold=40 "$work/morvane-nightly.service" >"$work/remarks" ||
        fail "the service is not hardened: $(tail -n 1 "$work/remarks")"
fi
# The configuration, also with all that is commented out in it; no such section ends the program.
sed 's/^#\([a-z[]\)/\1/' "$documentation/examples/warehouses.toml" >"$work/warehouses.toml"
for file in "$documentation/examples/warehouses.toml" "$work/warehouses.toml"; do
    answer=$("$usr/bin/morvane-nightly" --config "$file" none 2>&1) || true
    [[ $answer == *"has no section [none]" ]] || fail "$answer"
done

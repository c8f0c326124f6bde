#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the packages, installs them into a clean root, runs the demo there and removes them again.
# With the argument "debootstrap" the root is a minimal Debian, where apt resolves the dependencies.
# Otherwise it is empty, and the programs use this system's libraries.
set -euo pipefail
cd "$(dirname "$0")/../.."
kind=${1:-empty}
preset=${MORVANE_PRESET:-release}
here=$PWD/tests/package
fail() { echo "$*" >&2; exit 1; }
as_root() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }

. scripts/packages.sh
scripts/install-packages.sh "${install_test_packages[@]}"
echo "== Building the packages"
scripts/package.sh
packages=$PWD/build/packages

work=$(mktemp -d)
root=$work/root
chmod 755 "$work"
finish() {
    for mount in "$root/proc" "$work/locked"; do
        ! mountpoint -q "$mount" || as_root umount "$mount"
    done
    as_root rm -rf --one-file-system "$work"
}
trap finish EXIT
left_over() { find "$root" -xdev -iname '*morvane*' -not -path '*/var/*'; }

check_empty_root() {
    mkdir -p "$root"/var/lib/dpkg/{info,updates,triggers}
    touch "$root"/var/lib/dpkg/{status,available}
    local dpkg=(as_root dpkg --root="$root" --log=/dev/null --force-depends)

    echo "== Package with the windows"
    "${dpkg[@]}" -i "$packages"/morvane_*.deb >"$work/log" 2>&1 || fail "$(cat "$work/log")"
    "$here/documents.sh" "$root/usr" morvane
    PATH="$root/usr/bin:$PATH" "$here/nightly.sh"

    echo "== Package without windows, replacing it"
    "${dpkg[@]}" -i "$packages"/morvane-headless_*.deb >"$work/log" 2>&1 || fail "$(cat "$work/log")"
    "$here/documents.sh" "$root/usr" morvane-headless
    PATH="$root/usr/bin:$PATH" "$here/nightly.sh"
    ! ldd "$root/usr/bin/morvane" | grep -i qt || fail "the headless program needs Qt"
    [ ! -e "$root/usr/share/doc/morvane" ] || fail "the other package left its documentation"

    "${dpkg[@]}" -r morvane-headless >"$work/log" 2>&1 || fail "$(cat "$work/log")"
    [ -z "$(left_over)" ] && [ ! -e "$root/usr" ] || fail "left behind: $(find "$root/usr")"
}

check_debian_root() {
    scripts/install-packages.sh debootstrap
    echo "== A minimal Debian"
    as_root debootstrap --variant=minbase bookworm "$root" >"$work/log" || fail "$(tail "$work/log")"
    as_root mount -t proc proc "$root/proc"
    as_root cp "$packages"/*.deb "$here/nightly.sh" "$root/root"
    in_root() { as_root env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"; }
    in_root dpkg-query -W -f '${Package}\n' | sort >"$work/before"

    echo "== Package without windows"
    in_root sh -c 'apt-get install -yq /root/morvane-headless_*.deb' >"$work/log" 2>&1 ||
        fail "$(cat "$work/log")"
    in_root odbcinst -q -d | grep -q FreeTDS || fail "the driver is not registered"
    in_root dpkg-query -W -f '${Package}\n' | sort | comm -13 "$work/before" - | xargs echo "   installed with it:"
    in_root apt-get install -yq --no-install-recommends sqlite3 >"$work/log" 2>&1
    in_root /root/nightly.sh

    echo "== Package with windows, replacing it"
    in_root sh -c 'apt-get install -yq --no-install-recommends /root/morvane_*.deb' >"$work/log" 2>&1 ||
        fail "$(cat "$work/log")"
    ! in_root ldd /usr/bin/morvane | grep 'not found' || fail "a library is missing"
    in_root morvane >"$work/log" 2>&1
    grep -q 'no display can be opened' "$work/log"
    in_root morvane-demo /tmp/shop >/dev/null
    in_root env QT_QPA_PLATFORM=offscreen morvane -mac sqlite:/tmp/shop -db retail -ntaut -mark \
        -log /tmp/shop/logs -statusfile /tmp/shop/status
    grep -q '^ok' "$root/tmp/shop/status"
    in_root /root/nightly.sh

    in_root apt-get purge -yq --auto-remove morvane >"$work/log" 2>&1 || fail "$(cat "$work/log")"
    as_root rm -r "$root"/root/*.deb "$root/tmp/shop"
    [ -z "$(left_over)" ] || fail "left behind: $(left_over)"
}

check_cmake_install() {
    echo "== cmake --install"
    cmake --install "build/$preset" --prefix "$work/prefix" >"$work/log" || fail "$(cat "$work/log")"
    "$here/documents.sh" "$work/prefix" morvane

    echo "-- into a read-only folder"
    mkdir -p "$work/locked/bin"
    echo "mine" >"$work/locked/bin/morvane"
    # A read-only mount, because root ignores permissions.
    if ! as_root mount --bind "$work/locked" "$work/locked" 2>"$work/log"; then
        echo "   skipped: $(cat "$work/log")"
        return
    fi
    as_root mount -o remount,ro,bind "$work/locked"
    ! cmake --install "build/$preset" --prefix "$work/locked" >"$work/log" 2>&1 ||
        fail "it was installed in a read-only folder"
    as_root umount "$work/locked"
    grep -q "$work/locked/bin/morvane.*Read-only" <<<"$(tr '\n' ' ' <"$work/log")" || fail "$(cat "$work/log")"
    [ "$(find "$work/locked" -type f)" = "$work/locked/bin/morvane" ] || fail "files were added"
    [ "$(cat "$work/locked/bin/morvane")" = mine ] || fail "a file was changed"
}

case $kind in
debootstrap) check_debian_root ;;
empty) check_empty_root; check_cmake_install ;;
*) fail "debootstrap or nothing, not $kind" ;;
esac
if command -v lintian >/dev/null; then
    echo "== lintian"
    # The maintainer's address is a placeholder.
    lintian --allow-root --fail-on error,warning \
        --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog "$packages"/*.deb
fi
echo "The packages are good."

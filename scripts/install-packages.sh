#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Installs those of the named Debian packages that are missing.
set -euo pipefail

missing=()
for package in "$@"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed'; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

run() { if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi; }
echo "Installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
run apt-get update -qq
run apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null

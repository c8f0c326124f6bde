#!/usr/bin/env bash
# Builds the Debian packages morvane and morvane-headless into build/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${package_packages[@]}"
. scripts/compiler-cache.sh
cmake --preset release -DMORVANE_UI=ON >/dev/null
cmake --build --preset release --target all morvane_headless | tail -n 1

rm -rf build/packages
umask 022
cpack --config build/release/CPackConfig.cmake -B "$PWD/build/packages" >build/packages.log 2>&1 ||
    { cat build/packages.log; exit 1; }
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb

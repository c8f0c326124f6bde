#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the Debian packages morvane and morvane-headless into build/packages. MORVANE_PRESET=dev
# packages the debug build instead, to test the packaging without another build.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${package_packages[@]}"
. scripts/compiler-cache.sh
preset=${MORVANE_PRESET:-release}
cmake --preset "$preset" -DMORVANE_UI=ON >/dev/null
cmake --build --preset "$preset" --target all morvane_headless | tail -n 1

rm -f build/packages/*.deb
umask 022
cpack --config "build/$preset/CPackConfig.cmake" -B "$PWD/build/packages" >build/packages.log 2>&1 ||
    { cat build/packages.log; exit 1; }
rm -rf build/packages/_CPack_Packages
ls build/packages/*.deb

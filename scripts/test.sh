#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs all tests: the format of the sources, a short fuzzing, the build for Windows, the packages, and the
# test suite, plain and under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}"
. scripts/compiler-cache.sh

echo "== Format of the sources"
find src demo bench tests -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
if missing=$(git grep -L 'SPDX-License-Identifier: Apache-2.0' -- '*.cpp' '*.h' '*.sh' '*CMakeLists.txt') &&
    [ -n "$missing" ]; then
    echo "Without a line for the licence: $missing" >&2
    exit 1
fi

echo "== Fuzzing"
scripts/fuzz.sh 5

echo "== For Windows"
scripts/windows.sh

run_tests() {
    echo "== Tests, preset $1"
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" | tail -n 1
    ctest --preset "$1" --no-tests=error
}

run_tests dev

echo "== Packages"
MORVANE_PRESET=dev tests/package/install.sh

run_tests asan

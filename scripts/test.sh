#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Runs all checks: source format, clang-tidy on changed sources, short fuzzing, the Windows build, the
# packages, and the test suite, built with g++ and, under AddressSanitizer and
# UndefinedBehaviorSanitizer, with clang.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/timing.sh

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}"
. scripts/compiler-cache.sh

step() { echo "== $1 ($((SECONDS / 60)) min $((SECONDS % 60)) s)"; }

step "Source format"
find src demo bench tests -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
if missing=$(git grep -L 'SPDX-License-Identifier: Apache-2.0' -- '*.cpp' '*.h' '*.sh' '*CMakeLists.txt') &&
    [ -n "$missing" ]; then
    echo "No SPDX line in: $missing" >&2
    exit 1
fi

step "Fuzzing"
scripts/fuzz.sh 5

step "Windows build"
scripts/windows.sh

run_tests() {
    step "Tests, preset $1"
    cmake --preset "$1" >/dev/null
    cmake --build --preset "$1" | tail -n 1
    ctest --preset "$1" --no-tests=error
}

run_tests dev

step "clang-tidy"
MORVANE_TIDY_MOST=${MORVANE_TIDY_MOST:-8} scripts/tidy.sh

step "Packages"
MORVANE_PRESET=dev tests/package/install.sh

run_tests asan

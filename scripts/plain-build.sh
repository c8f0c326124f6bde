#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds everything without a preset and runs the tests. Argument: the compiler, g++ or clang++.
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=${1:-g++}

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}" "${plain_packages[@]}"
. scripts/compiler-cache.sh
build=build/plain-$compiler
cmake -B "$build" -DCMAKE_BUILD_TYPE=Release -DCMAKE_CXX_COMPILER="$compiler" >/dev/null
cmake --build "$build" -j "$(nproc)" | tail -n 1
ctest --test-dir "$build" --output-on-failure --no-tests=error -j "$(nproc)" | tail -n 5

#!/usr/bin/env bash
# Runs all tests: the format of the sources, a short fuzzing where clang has its runtime, and the
# test suite, plain and under AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${test_packages[@]}"

launcher=()
if command -v ccache >/dev/null; then
    launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi

echo "== Format of the sources"
find src demo bench tests -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror

fuzzing_works() {
    command -v clang++ >/dev/null &&
        echo 'extern "C" int LLVMFuzzerTestOneInput(const unsigned char*, unsigned long) { return 0; }' |
        clang++ -x c++ -fsanitize=fuzzer,address -o /dev/null - 2>/dev/null
}
if fuzzing_works; then
    echo "== Fuzzing"
    cmake --preset fuzz "${launcher[@]}" >/dev/null
    cmake --build --preset fuzz --target fuzz_targets | tail -n 1
    for target in build/fuzz/tests/fuzz/*_fuzz; do
        "$target" -max_total_time=10 -max_len=1024 2>&1 | tail -n 1
    done
else
    echo "== No fuzzing: clang or its runtime is not installed"
fi

echo "== Packages"
tests/package/install.sh

for preset in dev asan; do
    echo "== Tests, preset $preset"
    cmake --preset "$preset" "${launcher[@]}" >/dev/null
    cmake --build --preset "$preset" | tail -n 1
    ctest --preset "$preset" --no-tests=error
done

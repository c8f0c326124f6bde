#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Cross-compiles for Windows without SQLite and Qt: the program without windows, as
# build/windows/src/morvane.exe, with morvane-nightly.exe beside it, and with the argument "tests" its
# tests, which scripts/wine.sh runs. The sources of the windows that have a Windows part are only checked
# for compile errors.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${windows_packages[@]}"
. scripts/compiler-cache.sh
tests=OFF
[ "${1:-}" != tests ] || tests=ON
cmake --preset windows -DBUILD_TESTING=$tests >/dev/null
cmake --build --preset windows | tail -n 1

# Windows does not include these DLLs.
for program in morvane morvane-nightly; do
    if x86_64-w64-mingw32-objdump -p build/windows/src/$program.exe |
        grep -E 'DLL Name: (libstdc|libgcc|libwinpthread)'; then
        echo "$program.exe needs DLLs of the compiler"
        exit 1
    fi
done

# The Qt headers of this system are good enough for compiling, but there is no library to link with.
qt=/usr/include/x86_64-linux-gnu/qt6
qt_flags=(-isystem /usr/lib/x86_64-linux-gnu/qt6/mkspecs/win32-g++ -isystem "$qt")
for module in Core Gui Network Widgets; do
    qt_flags+=(-isystem "$qt/Qt$module")
done
grep -l _WIN32 src/ui/*.cpp | xargs -P "$(nproc)" -n 1 x86_64-w64-mingw32-g++-posix -std=c++20 -fsyntax-only \
    -DUNICODE -D_UNICODE -DNOMINMAX -DWIN32_LEAN_AND_MEAN -D_WIN32_WINNT=0x0A00 -DFMT_HEADER_ONLY \
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Werror \
    -Isrc -Ibuild/windows/generated -isystem build/windows/headers "${qt_flags[@]}"

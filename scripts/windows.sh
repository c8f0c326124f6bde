#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Cross-compiles for Windows into build/windows. If scripts/windows-dependencies.sh has built the libraries, the
# result is the full programs. Otherwise it is the program without windows and embedded engine and no demo, and the
# window sources with a Windows part are only checked for compile errors. The argument "tests" also builds the
# tests, which scripts/wine.sh runs.
set -euo pipefail
cd "$(dirname "$0")/.."

. scripts/packages.sh
scripts/install-packages.sh "${windows_packages[@]}"
. scripts/compiler-cache.sh
tests=OFF
[ "${1:-}" != tests ] || tests=ON
full=ON
libraries=$(scripts/windows-dependencies.sh --find) || full=OFF
# Other libraries mean other programs: none of the old ones may be left.
grep -qsx "MORVANE_WINDOWS_LIBRARIES:.*=$libraries" build/windows/CMakeCache.txt || rm -rf build/windows
cmake --preset windows -DBUILD_TESTING=$tests -DMORVANE_WINDOWS_LIBRARIES="$libraries" \
    -DMORVANE_UI=$full -DMORVANE_EMBEDDED=$full >/dev/null
cmake --build --preset windows | tail -n 1

# These DLLs are not part of Windows.
for program in build/windows/src/*.exe build/windows/src/*/*.exe build/windows/demo/*.exe build/windows/src/*.com; do
    if [ -e "$program" ] && x86_64-w64-mingw32-objdump -p "$program" |
        grep -iE 'DLL Name: (libstdc|libgcc|libwinpthread|Qt6|libsqlite)'; then
        echo "$program needs DLLs that Windows does not have"
        exit 1
    fi
done

if [ $full = ON ]; then
    echo "build/windows has the full programs."
    exit 0
fi
echo "build/windows has the program without windows and embedded engine; scripts/windows-dependencies.sh" \
    "builds what the full one needs."

# This system's Qt headers suffice to compile, though there is no library to link with.
qt=/usr/include/x86_64-linux-gnu/qt6
qt_flags=(-isystem /usr/lib/x86_64-linux-gnu/qt6/mkspecs/win32-g++ -isystem "$qt")
for module in Core Gui Network Widgets; do
    qt_flags+=(-isystem "$qt/Qt$module")
done
{ grep -l _WIN32 src/ui/*.cpp; echo src/ConsoleStarter.cpp; } | xargs -P "$(nproc)" -n 1 x86_64-w64-mingw32-g++-posix -std=c++20 \
    -fsyntax-only -DUNICODE -D_UNICODE -DNOMINMAX -DWIN32_LEAN_AND_MEAN -D_WIN32_WINNT=0x0A00 -DFMT_HEADER_ONLY \
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Werror \
    -Isrc -Ibuild/windows/generated -isystem build/windows/headers "${qt_flags[@]}"

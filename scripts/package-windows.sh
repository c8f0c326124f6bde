#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Packs the Windows programs into build/packages, as a zip and as an installer. Without an argument it packs what
# scripts/windows.sh builds. The argument is a folder with programs built on Windows, their libraries and licences;
# the script then runs in "Git Bash" on Windows, with pandoc, 7z and makensis from the path.
set -euo pipefail
cd "$(dirname "$0")/.."

programs=${1:-}
target=()
if [ -z "$programs" ]; then
    . scripts/packages.sh
    scripts/install-packages.sh "${windows_package_packages[@]}"
    scripts/windows.sh
    # Wine without its 32-bit part runs only a 64-bit installer.
    target=(-DTARGET=amd64-unicode)
fi
version=$(sed -n 's/^project(morvane VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)
package=morvane-$version-windows-x64
work=build/windows-package
stage=$work/morvane-$version
rm -rf "$work" build/packages/morvane-*-windows-x64*
mkdir -p build/packages "$stage"/{docs,examples,licences,manual}

if [ -n "$programs" ]; then
    cp -R "$programs"/. "$stage"
else
    for program in src/morvane.exe src/morvane.com src/morvane-nightly.exe src/inspect/morvane-inspect.exe \
        demo/morvane-demo.exe; do
        [ ! -e "build/windows/$program" ] || cp "build/windows/$program" "$stage"
    done
    x86_64-w64-mingw32-strip "$stage"/morvane*.*
    # The libraries that are linked into the programs.
    libraries=(libfmt-dev nlohmann-json3-dev libtomlplusplus-dev gcc-mingw-w64-base mingw-w64-common)
    [ ! -e "$stage/morvane-demo.exe" ] || libraries+=(qt6-base-dev libsqlite3-dev)
    for library in "${libraries[@]}"; do
        cp "/usr/share/doc/$library/copyright" "$stage/licences/$library.txt"
    done
    for licence in GPL-3 LGPL-3; do
        cp "/usr/share/common-licenses/$licence" "$stage/licences/$licence.txt"
    done
fi
for program in morvane morvane-nightly morvane-inspect; do
    [ -e "$stage/$program.exe" ] || { echo "there is no $program.exe" >&2; exit 1; }
done
kind="the console program without embedded engine"
windows=()
if [ -e "$stage/morvane-demo.exe" ]; then
    kind="the full program with windows, embedded engine and demo"
    windows=(-DWINDOWS)
    cp packaging/windows/try-morvane.cmd "$stage"
fi

# html <format> <source> <target> <title>: converts a page; links lead to the converted pages.
html() {
    pandoc --from "$1" --to html5 --standalone --metadata pagetitle="$4" "$2" |
        sed -E 's/(href="[^":]*)\.md(["#])/\1.html\2/g; s/href="LICENSE"/href="LICENSE.txt"/' >"$3"
}
for page in *.md docs/*.md; do
    html gfm "$page" "$stage/${page%.md}.html" "$(sed -n 's/^# //p' "$page" | head -n 1)"
done
for page in packaging/man/*.1; do
    name=$(basename "$page" .1)
    sed "s/@PROJECT_VERSION@/$version/" "$page" >"$work/$name.1"
    html man "$work/$name.1" "$stage/manual/$name.html" "$name"
done
cp -R docs/pictures docs/plots docs/*.json "$stage/docs"
cp LICENSE "$stage/LICENSE.txt"
cp packaging/examples/morvane-nightly.xml packaging/windows/warehouses.toml "$stage/examples"
# Notepad before Windows 10 1809 needs carriage returns, and cmd.exe is not reliable without them.
find "$stage" \( -name '*.txt' -o -name '*.cmd' -o -name '*.toml' -o -name '*.xml' \) \
    -exec sed -i 's/\r*$/\r/' {} +

# Instructions for the uninstaller, which delete exactly these files.
{
    (cd "$stage" && find . -type f | sed 's|^\./\(.*\)|Delete "$INSTDIR\\\1"|')
    (cd "$stage" && find . -mindepth 1 -depth -type d | sed 's|^\./\(.*\)|RMDir "$INSTDIR\\\1"|')
} | sed 's|/|\\|g' >"$work/remove.nsh"

archive=$PWD/build/packages/$package.zip
if command -v zip >/dev/null; then
    (cd "$work" && zip -qrX "$archive" "morvane-$version")
else
    (cd "$work" && 7z a -bso0 "$archive" "morvane-$version")
fi

# makensis understands relative paths on both systems.
makensis -V2 -NOCD -INPUTCHARSET UTF8 "${target[@]}" "${windows[@]}" -DVERSION="$version" \
    -DOUTPUT="build/packages/$package-setup.exe" -DSTAGE="$stage" -DREMOVE="$work/remove.nsh" \
    -DKILOBYTES="$(du -sk "$stage" | cut -f1)" packaging/windows/morvane.nsi
echo "Packed $kind:"
ls -l build/packages/"$package"*

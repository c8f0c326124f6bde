#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the libraries that the Windows programs need and Debian does not have for mingw-w64, from Debian's source
# packages: a static Qt, of the same version as the host's tools, and SQLite. Takes about half an hour on two cores
# and 2 GB of disk space. An earlier build is reused unless a version or option has changed, which uses a new folder.
# Prints the folder. With --find it builds nothing, and fails if there is no build.
set -euo pipefail
cd "$(dirname "$0")/.."

qt_options=(
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_BUILD_TYPE=Release
    -DQT_BUILD_EXAMPLES=OFF -DQT_BUILD_TESTS=OFF
    # Not used here: no OpenGL, databases, D-Bus, printing, XML, thread pools or TLS.
    -DINPUT_opengl=no -DFEATURE_vulkan=OFF -DFEATURE_sql=OFF -DFEATURE_dbus=OFF -DFEATURE_printsupport=OFF
    -DFEATURE_xml=OFF -DFEATURE_concurrent=OFF -DFEATURE_ssl=OFF -DFEATURE_schannel=OFF -DFEATURE_icu=OFF -DFEATURE_zstd=OFF
    -DFEATURE_glib=OFF
    # Debian's source package lacks wintab.h.
    -DFEATURE_tabletevent=OFF
    # Qt's own copies: the libraries of this system are for Linux.
    -DFEATURE_system_zlib=OFF -DFEATURE_system_pcre2=OFF -DFEATURE_system_png=OFF -DFEATURE_system_jpeg=OFF
    -DFEATURE_system_freetype=OFF -DFEATURE_system_harfbuzz=OFF -DFEATURE_system_doubleconversion=OFF)
sqlite_options=(-O2 -DSQLITE_ENABLE_COLUMN_METADATA -DSQLITE_THREADSAFE=1 -DSQLITE_OMIT_LOAD_EXTENSION)

. scripts/packages.sh
scripts/install-packages.sh "${windows_dependency_packages[@]}"
qt_version=$(dpkg-query -W -f='${source:Version}' qt6-base-dev)
sqlite_version=$(dpkg-query -W -f='${source:Version}' libsqlite3-dev)
compiler=$(x86_64-w64-mingw32-g++-posix -dumpfullversion)
key=$(printf '%s\n' "$qt_version" "$sqlite_version" "$compiler" "${qt_options[@]}" "${sqlite_options[@]}" |
    sha256sum | cut -c1-12)
root=${MORVANE_WINDOWS_DEPENDENCIES:-${XDG_CACHE_HOME:-$HOME/.cache}/morvane-windows}
folder=$root/$key

if [ -e "$folder/complete" ]; then
    echo "$folder"
    exit 0
fi
[ "${1:-}" != --find ] || exit 1

rm -rf "$folder"
mkdir -p "$folder"
work=$folder/work
exec 3>&1 >"$folder/build.log" 2>&1
trap 'echo "The build of the Windows libraries failed; see $folder/build.log" >&3' ERR

# sources <package> <version>: unpacks a source package of Debian. Uses its own package lists, because those of a
# system usually have no sources.
mkdir -p "$work/apt/lists/partial" "$work/apt/cache"
sed -s 's/^Types: .*/Types: deb-src/; s/^deb /deb-src /' /etc/apt/sources.list.d/debian.sources \
    >"$work/apt/source.sources"
apt_options=(-o Dir::Etc::SourceList=/dev/null -o "Dir::Etc::SourceParts=$work/apt"
    -o "Dir::State::Lists=$work/apt/lists" -o "Dir::Cache=$work/apt/cache" -o "APT::Sandbox::User=$(id -un)")
apt-get "${apt_options[@]}" update
sources() {
    (cd "$work" && apt-get "${apt_options[@]}" source "$1=$2")
}

sources qt6-base "$qt_version"
cmake -S "$work"/qt6-base-*/ -B "$work/qt" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$PWD/cmake/mingw-w64.cmake" \
    -DQT_HOST_PATH=/usr -DQT_HOST_PATH_CMAKE_DIR="/usr/lib/$(gcc -print-multiarch)/cmake" \
    -DCMAKE_INSTALL_PREFIX="$folder" "${qt_options[@]}"
cmake --build "$work/qt"
cmake --install "$work/qt"

sources sqlite3 "$sqlite_version"
(cd "$work"/sqlite3-*/ && ./configure && make sqlite3.c sqlite3.h)
mkdir -p "$folder/include" "$folder/lib"
x86_64-w64-mingw32-gcc-posix "${sqlite_options[@]}" -c "$work"/sqlite3-*/sqlite3.c -o "$work/sqlite3.o"
x86_64-w64-mingw32-ar rcs "$folder/lib/libsqlite3.a" "$work/sqlite3.o"
cp "$work"/sqlite3-*/sqlite3.h "$folder/include/"

touch "$folder/complete"
rm -rf "$work"
echo "$folder" >&3

# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash disable=SC2034
# Debian packages by purpose. Sourced by the other scripts.
headless_packages=(g++ cmake ninja-build libfmt-dev nlohmann-json3-dev libtomlplusplus-dev libsqlite3-dev unixodbc-dev)
build_packages=("${headless_packages[@]}" qt6-base-dev)
# A virtual display, a window manager, and a tool that sends keys and mouse clicks.
display_packages=(xvfb openbox xdotool fonts-dejavu-core)
demo_packages=("${build_packages[@]}" sqlite3)
test_packages=("${demo_packages[@]}" "${display_packages[@]}" libgtest-dev libsqliteodbc tdsodbc
    clang clang-format clang-tidy libclang-rt-14-dev git python3-jsonschema)
picture_packages=("${demo_packages[@]}" "${display_packages[@]}" imagemagick)
fuzz_packages=("${headless_packages[@]}" clang libclang-rt-14-dev)
fault_packages=("${headless_packages[@]}" libgtest-dev)
bench_packages=("${headless_packages[@]}" sqlite3 time)
latency_packages=("${bench_packages[@]}" freetds-bin)
package_packages=("${build_packages[@]}" dpkg-dev file)
install_test_packages=("${package_packages[@]}" sqlite3 desktop-file-utils man-db)
# A cross-compiler, the sources of GoogleTest, and Qt's headers to compile the windows against.
windows_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix libfmt-dev nlohmann-json3-dev libtomlplusplus-dev googletest qt6-base-dev)
# Source packages of Qt and SQLite are fetched and built; making SQLite's single source file needs Tcl.
windows_dependency_packages=("${windows_packages[@]}" qt6-base-dev-tools libsqlite3-dev dpkg-dev gcc libc6-dev make tcl)
wine_packages=("${windows_packages[@]}" "${display_packages[@]}" wine wine64 fonts-wine locales libodbc2 tdsodbc sqlite3)
windows_package_packages=("${windows_packages[@]}" nsis zip pandoc)
windows_install_test_packages=("${windows_package_packages[@]}" "${wine_packages[@]}" "${display_packages[@]}" gcc-mingw-w64-x86-64-posix)
# "cmake -B build" without a preset generates makefiles.
plain_packages=(make)
coverage_packages=(gcovr)
plot_packages=(gnuplot-nox)

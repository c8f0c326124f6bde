# SPDX-License-Identifier: Apache-2.0
# The Debian packages that each purpose needs; sourced by the other scripts.
headless_packages=(g++ cmake ninja-build libfmt-dev libsqlite3-dev unixodbc-dev)
build_packages=("${headless_packages[@]}" qt6-base-dev)
# A display in memory, a window manager for it, and hands for keyboard and mouse.
display_packages=(xvfb openbox xdotool fonts-dejavu-core)
demo_packages=("${build_packages[@]}" sqlite3)
test_packages=("${demo_packages[@]}" "${display_packages[@]}" libgtest-dev libsqliteodbc tdsodbc
    clang-format git)
picture_packages=("${demo_packages[@]}" "${display_packages[@]}" imagemagick)
fuzz_packages=("${headless_packages[@]}" clang libclang-rt-14-dev)
fault_packages=("${headless_packages[@]}" libgtest-dev)
bench_packages=("${headless_packages[@]}" sqlite3 time)
latency_packages=("${bench_packages[@]}" freetds-bin)
package_packages=("${build_packages[@]}" dpkg-dev file)
install_test_packages=("${package_packages[@]}" sqlite3 desktop-file-utils man-db)
# A cross-compiler, the sources of GoogleTest, and the toolkit's headers for a look at the windows.
windows_packages=(cmake ninja-build g++-mingw-w64-x86-64-posix libfmt-dev googletest qt6-base-dev)
wine_packages=("${windows_packages[@]}" wine wine64 libodbc2 tdsodbc)
# A build without presets, with either compiler.
plain_packages=(make clang)
coverage_packages=(gcovr)
tidy_packages=(clang-tidy git)
plot_packages=(gnuplot-nox)

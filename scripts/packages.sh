# The Debian packages that each purpose needs; sourced by the other scripts.
build_packages=(g++ cmake ninja-build libfmt-dev libsqlite3-dev unixodbc-dev)
demo_packages=("${build_packages[@]}" sqlite3)
test_packages=("${build_packages[@]}" libgtest-dev libsqliteodbc tdsodbc clang-format git)
bench_packages=("${build_packages[@]}" sqlite3 time)

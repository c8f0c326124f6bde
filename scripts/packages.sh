# The Debian packages that each purpose needs; sourced by the other scripts.
headless_packages=(g++ cmake ninja-build libfmt-dev libsqlite3-dev unixodbc-dev)
build_packages=("${headless_packages[@]}" qt6-base-dev)
# A display in memory, a window manager for it, and hands for keyboard and mouse.
display_packages=(xvfb openbox xdotool fonts-dejavu-core)
demo_packages=("${build_packages[@]}" sqlite3)
test_packages=("${demo_packages[@]}" "${display_packages[@]}" libgtest-dev libsqliteodbc tdsodbc
    clang-format git)
picture_packages=("${demo_packages[@]}" "${display_packages[@]}" imagemagick)
bench_packages=("${headless_packages[@]}" sqlite3 time)
plot_packages=(gnuplot-nox)

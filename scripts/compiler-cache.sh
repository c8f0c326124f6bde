# SPDX-License-Identifier: Apache-2.0
# Sourced by what compiles: CMake takes a compiler cache where there is one.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

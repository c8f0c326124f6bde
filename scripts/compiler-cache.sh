# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by scripts that compile: makes CMake use ccache if it is installed.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi

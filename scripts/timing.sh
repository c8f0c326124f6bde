# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by scripts that print how long they took when they end.
trap 'status=$?; printf "%s took %d min %d s.\n" "$(basename "$0")" $((SECONDS / 60)) $((SECONDS % 60)); exit $status' EXIT

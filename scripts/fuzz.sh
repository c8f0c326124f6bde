#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Builds the fuzz targets with AddressSanitizer and UndefinedBehaviorSanitizer and runs one per core.
# Arguments: the seconds per target (60 by default), or "long" for 10 million command lines and a
# million inputs of each other target; then the targets (all by default). Findings are kept in
# build/fuzz/artifacts, the corpus in build/fuzz/corpus, libFuzzer's output in build/fuzz/logs.
set -euo pipefail
cd "$(dirname "$0")/.."
bound=${1:-60}
targets=("${@:2}")
# The longest one comes first.
[ ${#targets[@]} -gt 0 ] || targets=(command_line translation)

. scripts/packages.sh
scripts/install-packages.sh "${fuzz_packages[@]}"
. scripts/compiler-cache.sh
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz --target fuzz_targets | tail -n 1

# fuzz <name of the target>
fuzz() {
    local name=$1 runs=1000000 options=(-max_len=256 -timeout=10 -print_final_stats=1)
    [ "$name" != command_line ] || runs=10000000
    [ "$bound" = long ] && options+=("-runs=$runs") || options+=("-max_total_time=$bound")
    case $name in
        command_line) options+=(-dict=tests/fuzz/options.dict) ;;
        translation) options+=(-dict=tests/fuzz/statements.dict) ;;
    esac
    local folder=build/fuzz
    mkdir -p "$folder"/{logs,artifacts/"$name",corpus/"$name"}
    if "$folder/tests/fuzz/${name}_fuzz" "${options[@]}" \
        -artifact_prefix="$folder/artifacts/$name/" \
        "$folder/corpus/$name" "tests/fuzz/seeds/$name" 2>"$folder/logs/$name.log"; then
        echo "$name: $(grep -a DONE "$folder/logs/$name.log") $(grep -a '^Done' "$folder/logs/$name.log")"
    else
        echo "$name: FAILED, the end of $folder/logs/$name.log:"
        grep -av '^stat::' "$folder/logs/$name.log" | tail -n 40
        return 1
    fi
}

export -f fuzz
export bound
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I '{}' bash -c 'fuzz {}'

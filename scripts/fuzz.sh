#!/usr/bin/env bash
# Fuzzes every mesh reader for a fixed number of runs with libFuzzer under AddressSanitizer and
# UndefinedBehaviorSanitizer (clang 14), seeded from fuzz/corpus/ and the real files of Debian's
# assimp-testmodels (plus what earlier runs added in build/fuzz/corpus/), then replays the stored
# inputs (fuzz/corpus/, fuzz/regressions/). Prints one line per target; a target stops at its
# first finding (a crash, a sanitizer report, a leak, more than 2 GiB, or a broken contract).
#   scripts/fuzz.sh [runs-scale]     (runs-scale multiplies every target's run count; default 1)
# Exit status 1 when any target found something; its input is left in build/fuzz/findings/.
set -euo pipefail
cd "$(dirname "$0")/.."
scale=${1:-1}
root=$PWD
build=$root/build/fuzz
models=/usr/share/assimp/models

cmake -S fuzz -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_CXX_COMPILER=clang++-14 \
    -DCMAKE_CXX_FLAGS="-g -fsanitize=fuzzer-no-link" \
    -DTRELM_SANITIZE=address,undefined >/dev/null
cmake --build "$build" -j 2 >/dev/null

# Runs per target, set so that the whole fuzzing stage takes about a minute on two cores.
declare -A runs=([obj]=40000 [ply_ascii]=40000 [ply_binary]=40000 [stl_ascii]=40000
                 [stl_binary]=40000 [off]=40000 [text]=40000 [meshread]=30000)
targets=(obj ply_ascii ply_binary stl_ascii stl_binary off text meshread)

# Seeds: the stored inputs plus the real files each reader should see.
seed() {  # seed <target> <files...>
    local dir=$build/seeds/$1
    shift
    for f in "$@"; do [ -f "$f" ] && cp "$f" "$dir/$(basename "$(dirname "$f")")_$(basename "$f")"; done
    return 0
}
rm -rf "$build/seeds"
for t in "${targets[@]}"; do
    mkdir -p "$build/seeds/$t" "$build/corpus/$t" "$build/findings/$t"
    # Regression inputs are replayed below, not seeded: one that still fails would stop its
    # target before it fuzzes anything.
    seed "$t" fuzz/corpus/"$t"/*
done
if [ -d "$models" ]; then
    seed obj "$models"/OBJ/*.obj "$models"/invalid/*.obj
    for f in "$models"/PLY/*.ply "$models"/invalid/*.ply; do
        if head -c 64 "$f" | grep -q 'format ascii'; then seed ply_ascii "$f"; else seed ply_binary "$f"; fi
    done
    for f in "$models"/STL/*.stl "$models"/STL/*.STL; do
        if head -c 5 "$f" | grep -qi '^solid' && grep -qi 'endsolid' "$f"; then
            seed stl_ascii "$f"
        else
            seed stl_binary "$f"
        fi
    done
    seed off "$models"/OFF/*.off "$models"/invalid/*.off
    # An OFF file without its first line is a file of the library's text format.
    for f in "$models"/OFF/Cube.off "$models"/OFF/Wuson.off; do
        name=$(basename "$f" .off)
        tail -n +2 "$f" >"$build/seeds/text/assimp_$name.trelm"
        cp "$build/seeds/text/assimp_$name.trelm" "$build/seeds/meshread/assimp_$name.txt"
    done
fi

fuzz_one() {  # fuzz_one <target>: runs it, prints its line
    local t=$1
    local log=$build/findings/$t.log
    rm -f "$build/findings/$t"/*
    set +e
    "$build/fuzz_$t" -runs=$((runs[$t] * scale)) -seed=1 -max_len=65536 -timeout=10 \
        -rss_limit_mb=2048 -print_final_stats=1 -artifact_prefix="$build/findings/$t/" \
        "$build/corpus/$t" "$build/seeds/$t" >"$log" 2>&1
    set -e
    local execs findings added
    execs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    findings=$(find "$build/findings/$t" -type f | wc -l)
    added=$(sed -n 's/^stat::new_units_added: *//p' "$log" | tail -1)
    printf '%-11s %8s executions  %2d new findings  %5s new corpus inputs\n' \
        "$t" "${execs:-?}" "$findings" "${added:-?}"
    if [ "$findings" -ne 0 ]; then
        echo "  finding of $t in $build/findings/$t/ (log $log):"
        grep -m3 -E 'ERROR|runtime error|: .*(invalid|changed|message)' "$log" | sed 's/^/  /'
    fi
}

# Two targets at a time, one per core; lines print in target order.
for ((i = 0; i < ${#targets[@]}; i += 2)); do
    fuzz_one "${targets[i]}" >"$build/findings/line_$i" &
    [ $((i + 1)) -lt ${#targets[@]} ] && fuzz_one "${targets[i + 1]}" >"$build/findings/line_$((i + 1))" &
    wait
    cat "$build/findings/line_$i"
    [ -f "$build/findings/line_$((i + 1))" ] && cat "$build/findings/line_$((i + 1))"
    rm -f "$build/findings/line_$i" "$build/findings/line_$((i + 1))"
done

# The stored inputs (fuzz/corpus/, fuzz/regressions/) through the same checks, as the suite runs them.
replayed=0
if "$build/trelm_fuzz_replay" --gtest_brief=1 >"$build/findings/replay.log" 2>&1; then
    echo "replay     stored inputs pass"
else
    echo "replay     FAILED: see $build/findings/replay.log"
    grep -m4 -E 'Which is|runtime error|ERROR' "$build/findings/replay.log" | sed 's/^/  /'
    replayed=1
fi

total=$(find "$build"/findings/*/ -type f | wc -l)
[ "$total" -eq 0 ] && [ "$replayed" -eq 0 ]

#!/usr/bin/env bash
# scripts/build.sh KIND [cmake options...]: configures and builds build/KIND.
# KIND is release, asan (AddressSanitizer + UndefinedBehaviorSanitizer),
# tsan (ThreadSanitizer) or bench (release with the benchmarks).
set -euo pipefail
cd "$(dirname "$0")/.."
kind=${1:-release}
shift || true
case "$kind" in
    release) options=(-DCMAKE_BUILD_TYPE=Release) ;;
    bench) options=(-DCMAKE_BUILD_TYPE=Release -DTRELM_BUILD_BENCH=ON) ;;
    asan) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DTRELM_SANITIZE=address,undefined") ;;
    tsan) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRELM_SANITIZE=thread) ;;
    *) echo "unknown build kind '$kind' (release, bench, asan, tsan)" >&2; exit 2 ;;
esac
[ "$kind" = bench ] && bash scripts/install-deps.sh --bench
cmake -S . -B "build/$kind" -G Ninja "${options[@]}" "$@" >/dev/null
cmake --build "build/$kind" --parallel "$(nproc)"

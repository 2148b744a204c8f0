#!/usr/bin/env bash
# scripts/build.sh KIND [cmake options...]: configures and builds build/KIND.
# KIND is release, asan (AddressSanitizer + UndefinedBehaviorSanitizer),
# tsan (ThreadSanitizer), bench (release with the benchmarks) or portable
# (release with the packet ray tracer on plain floats, as on processors without SSE).
set -euo pipefail
cd "$(dirname "$0")/.."
kind=${1:-release}
shift || true
case "$kind" in
    release) options=(-DCMAKE_BUILD_TYPE=Release) ;;
    bench) options=(-DCMAKE_BUILD_TYPE=Release -DTRELM_BUILD_BENCH=ON) ;;
    asan) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DTRELM_SANITIZE=address,undefined") ;;
    portable) options=(-DCMAKE_BUILD_TYPE=Release -DTRELM_PORTABLE_SIMD=ON) ;;
    tsan) options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DTRELM_SANITIZE=thread) ;;
    *) echo "unknown build kind '$kind' (release, bench, asan, tsan, portable)" >&2; exit 2 ;;
esac
[ "$kind" = bench ] && bash scripts/install-deps.sh --bench
cmake -S . -B "build/$kind" -G Ninja "${options[@]}" "$@" >/dev/null
cmake --build "build/$kind" --parallel "$(nproc)"

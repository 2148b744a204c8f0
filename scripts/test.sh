#!/usr/bin/env bash
# Every test: the suite in a release build, an outside project built against the
# installed package, the suite under AddressSanitizer + UndefinedBehaviorSanitizer,
# the packet ray tracer without SSE, the threaded code and the concurrency stress
# under ThreadSanitizer, short fuzz runs of every mesh reader, and the whole
# pipeline at 10^6 triangles. The last line is the pass/fail summary.
set -euo pipefail
cd "$(dirname "$0")/.."
started=$SECONDS
stage=dependencies
passed=()
# The last line says whether everything passed, and where it stopped if not.
summary() {
    local status=$? minutes=$(((SECONDS - started) / 60))
    if [ "$status" -eq 0 ]; then
        echo "== PASS: ${#passed[@]} stages (${passed[*]}) in $minutes min"
    else
        echo "== FAIL in stage '$stage' (exit status $status) after $minutes min; passed: ${passed[*]:-none}"
    fi
}
trap summary EXIT
begin() {  # begin <stage> <what it runs>
    [ "$stage" = dependencies ] || passed+=("$stage")
    stage=$1
    echo "== $2"
}
finish() { passed+=("$stage"); stage=done; }

bash scripts/install-deps.sh
jobs=$(nproc)
begin release "release build: whole suite"
bash scripts/build.sh release
ctest --test-dir build/release --output-on-failure --parallel "$jobs"

begin install "installed package: a host project built with find_package(Trelm)"
rm -rf build/install build/host
cmake --install build/release --prefix "$PWD/build/install" >/dev/null
cmake -S examples/host -B build/host -G Ninja -DCMAKE_PREFIX_PATH="$PWD/build/install" >/dev/null
cmake --build build/host
build/host/trelmHost

begin asan "AddressSanitizer + UndefinedBehaviorSanitizer build: whole suite"
bash scripts/build.sh asan -DTRELM_BUILD_EXAMPLES=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build/asan --output-on-failure --parallel "$jobs"

begin portable "portable build: the packet ray tracer without SSE"
bash scripts/build.sh portable -DTRELM_BUILD_EXAMPLES=OFF -DTRELM_BUILD_TOOLS=OFF -DTRELM_BUILD_PYTHON=OFF
ctest --test-dir build/portable --output-on-failure --parallel "$jobs" \
    -R '^(QuadRay|OctreeQuadRayIntersectIt|QuadRayTracer|RayTracer)\.'

begin tsan "ThreadSanitizer build: thread pool, threaded algorithms, concurrency stress"
bash scripts/build.sh tsan -DTRELM_BUILD_EXAMPLES=OFF -DTRELM_BUILD_TOOLS=OFF -DTRELM_BUILD_PYTHON=OFF
# The threaded suites are named after the pool and the threaded families; Stress* run many
# query objects and exported calls at once.
TSAN_OPTIONS=halt_on_error=1 setarch "$(uname -m)" -R \
    ctest --test-dir build/tsan --output-on-failure --parallel "$jobs" \
    -R '^(ThreadPool|ThreadedAlg|Progress|meshArea|meshBoundingBox|arrangementBoundingBox|meshTransform|computeOctreeTris|meshOctreeLines|SimpleMeshCache|meshNormalize|meshComputeNormals|meshCurvature|meshCompact|SMPSort|meshComputeTriangleNormals|meshDuplicateTris|meshRemoveDuplicateTris|MeshClosestPoint|Stress)'

begin fuzz "fuzzing: every mesh reader for a fixed number of runs, then the stored inputs"
bash scripts/fuzz.sh

begin scale "scale: the whole pipeline on 10^6 triangles"
bash scripts/scale.sh 1000000
finish

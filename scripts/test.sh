#!/usr/bin/env bash
# Every test: the suite in a release build, the suite under AddressSanitizer +
# UndefinedBehaviorSanitizer, the threaded code under ThreadSanitizer, and an
# outside project built against the installed package.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
jobs=$(nproc)

echo "== release build: whole suite"
bash scripts/build.sh release
ctest --test-dir build/release --output-on-failure --parallel "$jobs"

echo "== installed package: a host project built with find_package(Trelm)"
rm -rf build/install build/host
cmake --install build/release --prefix "$PWD/build/install" >/dev/null
cmake -S examples/host -B build/host -G Ninja -DCMAKE_PREFIX_PATH="$PWD/build/install" >/dev/null
cmake --build build/host
build/host/trelmHost

echo "== AddressSanitizer + UndefinedBehaviorSanitizer build: whole suite"
bash scripts/build.sh asan -DTRELM_BUILD_EXAMPLES=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --test-dir build/asan --output-on-failure --parallel "$jobs"

echo "== portable build: the packet ray tracer without SSE"
bash scripts/build.sh portable -DTRELM_BUILD_EXAMPLES=OFF -DTRELM_BUILD_TOOLS=OFF -DTRELM_BUILD_PYTHON=OFF
ctest --test-dir build/portable --output-on-failure --parallel "$jobs" \
    -R '^(QuadRay|OctreeQuadRayIntersectIt|QuadRayTracer|RayTracer)\.'

echo "== ThreadSanitizer build: thread pool and threaded algorithms"
bash scripts/build.sh tsan -DTRELM_BUILD_EXAMPLES=OFF -DTRELM_BUILD_TOOLS=OFF -DTRELM_BUILD_PYTHON=OFF
# The threaded suites are named after the pool and the threaded families.
TSAN_OPTIONS=halt_on_error=1 setarch "$(uname -m)" -R \
    ctest --test-dir build/tsan --output-on-failure --parallel "$jobs" \
    -R '^(ThreadPool|ThreadedAlg|Progress|meshArea|meshBoundingBox|arrangementBoundingBox|meshTransform|computeOctreeTris|meshOctreeLines|SimpleMeshCache|meshNormalize|meshComputeNormals|meshCurvature|meshCompact|SMPSort|meshComputeTriangleNormals|meshDuplicateTris|meshRemoveDuplicateTris|MeshClosestPoint)'

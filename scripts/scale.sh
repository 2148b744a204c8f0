#!/usr/bin/env bash
# Runs the whole pipeline (weld, adjacency, octree, partition, components, boundaries, normals,
# curvature, 10^6 closest points, 10^6 occlusion rays, deletion of half, merge, flattening of a
# disk patch) on a generated mesh of the given triangle count, in a release build, and prints
# seconds and peak resident memory per stage.
#   scripts/scale.sh [triangles]      (default 1000000; by hand: 10000000)
set -euo pipefail
cd "$(dirname "$0")/.."
triangles=${1:-1000000}
# A release build (scripts/build.sh release) is reused; otherwise build/scale is configured
# with the library alone.
if grep -qs '^CMAKE_BUILD_TYPE:STRING=Release$' build/release/CMakeCache.txt; then
    build=build/release
else
    build=build/scale
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DTRELM_BUILD_TESTS=OFF \
        -DTRELM_BUILD_EXAMPLES=OFF -DTRELM_BUILD_TOOLS=OFF -DTRELM_BUILD_PYTHON=OFF \
        -DTRELM_BUILD_BENCH=OFF >/dev/null
fi
cmake --build "$build" --target trelm_scale -j "$(nproc)" >/dev/null
program=$build/tools/scale/trelm_scale
# The library's shared objects are found through the build tree's RPATH.
"$program" "$triangles"

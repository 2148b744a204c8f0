#!/usr/bin/env bash
# Runs the whole pipeline (weld, adjacency, octree, partition, components, boundaries, normals,
# curvature, 10^6 closest points, 10^6 occlusion rays, deletion of half, merge, flattening of a
# disk patch) on a generated mesh of the given triangle count, in a release build, and prints
# seconds and peak resident memory per stage.
#   scripts/scale.sh [triangles]      (default 1000000; by hand: 10000000)
set -euo pipefail
cd "$(dirname "$0")/.."
triangles=${1:-1000000}
# A release build with the tools (scripts/build.sh release) already holds the program; otherwise
# it is built as a project of its own.
if grep -qs '^CMAKE_BUILD_TYPE:STRING=Release$' build/release/CMakeCache.txt &&
    grep -qs '^TRELM_BUILD_TOOLS:BOOL=ON$' build/release/CMakeCache.txt; then
    cmake --build build/release --target trelm_scale -j "$(nproc)" >/dev/null
    program=build/release/tools/scale/trelm_scale
else
    cmake -S tools/scale -B build/scale -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build build/scale --target trelm_scale -j "$(nproc)" >/dev/null
    program=build/scale/trelm_scale
fi
# The library's shared objects are found through the build tree's RPATH.
"$program" "$triangles"

#!/usr/bin/env bash
# Runs the whole pipeline (weld, adjacency, octree, partition, components, boundaries, normals,
# curvature, 10^6 closest points, 10^6 occlusion rays, deletion of half, merge, flattening of a
# disk patch) on a generated mesh of the given triangle count, in a release build, and prints
# seconds and peak resident memory per stage.
#   scripts/scale.sh [triangles]      (default 1000000; by hand: 10000000)
set -euo pipefail
cd "$(dirname "$0")/.."
triangles=${1:-1000000}
build=build/scale
cmake -S tools/scale -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" --target trelm_scale -j "$(nproc)" >/dev/null
# The library's shared objects are found through the build tree's RPATH.
"$build/trelm_scale" "$triangles"

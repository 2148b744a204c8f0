#!/usr/bin/env bash
# The main job: builds the library and the trelm tool in release mode, reports on the bundled
# Stanford bunny and renders it to build/release/bunny.png; then measures a mesh with the
# library from a host program's side (examples/meshMeasure).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh release
trelm=build/release/tools/trelm/trelm
"$trelm" info data/bunny.ply
"$trelm" render data/bunny.ply -o build/release/bunny.png --size 800x600 --samples 128
echo "picture: build/release/bunny.png"
build/release/examples/meshMeasure "$@"

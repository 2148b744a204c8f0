#!/usr/bin/env bash
# The main job: builds the library in release mode and measures a mesh with it.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
bash scripts/build.sh release
build/release/examples/meshMeasure "$@"

#!/usr/bin/env bash
# Installs the Debian packages that building and testing Trelm need, when they
# are missing; with --bench also the peer libraries the benchmarks compare
# against. The library itself needs only a C++17 compiler.
#   scripts/install-deps.sh [--bench]
set -euo pipefail

packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev)
# trelm tool: command line, OBJ reading, PNG output, and real meshes for its tests.
packages+=(libcli11-dev libtinyobjloader-dev libpng-dev assimp-testmodels)
# Python module: bindings, headers, NumPy arrays and the test runner, for /usr/bin/python3.
packages+=(pybind11-dev python3-dev python3-numpy python3-pytest)
# Fuzzing the file readers: clang with libFuzzer and its sanitizer runtimes.
packages+=(clang-14 libclang-rt-14-dev)
if [ "${1:-}" = "--bench" ]; then
    packages+=(libopenmesh-dev libembree-dev libcgal-dev libeigen3-dev libmeshoptimizer-dev)
    packages+=(libassimp-dev)  # trelm tool: the file readers' peer
    packages+=(python3-open3d)  # Python module: the closest-point peer
fi
missing=()
for package in "${packages[@]}"; do
    dpkg -s "$package" >/dev/null 2>&1 || missing+=("$package")
done
if ((${#missing[@]})); then
    sudo=""
    [ "$(id -u)" -ne 0 ] && sudo="sudo"
    echo "installing: ${missing[*]}"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

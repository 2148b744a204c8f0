#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking Trelm
# need, when they are missing. The library itself needs only a C++17 compiler.
set -euo pipefail

packages=(cmake ninja-build g++ libgtest-dev libgmock-dev libbenchmark-dev)
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

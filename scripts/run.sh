#!/usr/bin/env bash
# Builds the library and runs the demo on its built-in generated images.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLXAPI_BUILD_TESTS=OFF >/dev/null
cmake --build build --target lxipdemo -j"$(nproc)"
./build/bin/lxipdemo "$@"

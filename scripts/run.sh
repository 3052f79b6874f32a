#!/usr/bin/env bash
# Builds the library with its command-line tool and runs the tool's demo: a generated camera capture
# through the library, with every file it writes in out/.
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DLXAPI_BUILD_TESTS=OFF >/dev/null
cmake --build build --target lxip -j"$(nproc)"
./build/bin/lxip demo --out out/ "$@"

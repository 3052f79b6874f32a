#!/usr/bin/env bash
# Builds the library with its tests and runs them. LXAPI_SANITIZE=1 builds and runs them under
# AddressSanitizer and UndefinedBehaviorSanitizer in a build directory of their own.
set -euo pipefail
cd "$(dirname "$0")/.."
LXAPI_WITH_ORACLES=1 ./scripts/install-deps.sh
dir=build
flags=(-DCMAKE_BUILD_TYPE=Release -DLXAPI_WERROR=ON)
if [ "${LXAPI_SANITIZE:-0}" = 1 ]; then
  dir=build-sanitize
  flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DLXAPI_SANITIZE=ON)
fi
cmake -S . -B "$dir" -G Ninja "${flags[@]}" -DLXAPI_BUILD_TESTS=ON >/dev/null
cmake --build "$dir" -j"$(nproc)"
# The test labelled slow (a video file past 1 GiB) runs in the plain build only.
exclude=()
[ "${LXAPI_SANITIZE:-0}" = 1 ] && exclude=(-LE slow)
ctest --test-dir "$dir" --output-on-failure -j"$(nproc)" "${exclude[@]}"

#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and the benchmarks need, where they are missing.
set -euo pipefail
packages=(build-essential cmake ninja-build pkg-config libpugixml-dev libgtest-dev libgmock-dev libbenchmark-dev libpng-dev)
if [ "${LXAPI_WITH_OPENCV:-0}" = 1 ]; then packages+=(libopencv-dev); fi
# libyuv, a peer of the YCbCr benchmarks (bench/colormap.cmake finds it when installed).
if [ "${LXAPI_WITH_LIBYUV:-0}" = 1 ]; then packages+=(libyuv-dev); fi
# Independent readers of the files the filers write, for the tests that use them (they skip without):
# ImageMagick, libtiff's tools, pngcheck, libjpeg-turbo (the JPEG encoder's oracle and benchmark peer,
# never linked into the library), ffmpeg and mkvtoolnix. The test script installs them.
if [ "${LXAPI_WITH_ORACLES:-0}" = 1 ]; then
  packages+=(imagemagick libtiff-tools pngcheck libturbojpeg0-dev libjpeg-turbo-progs ffmpeg mkvtoolnix python3)
fi
# The fuzz harnesses (scripts/fuzz.sh): clang and its libFuzzer and sanitizer runtimes.
if [ "${LXAPI_WITH_FUZZ:-0}" = 1 ]; then packages+=(clang libclang-rt-14-dev); fi
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" = 0 ] || SUDO=sudo
  $SUDO apt-get update
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y "${missing[@]}"
fi

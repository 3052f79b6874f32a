#!/usr/bin/env bash
# Builds the fuzz harnesses of fuzz/ with clang (libFuzzer, AddressSanitizer, UndefinedBehaviorSanitizer)
# and runs each in turn for LXAPI_FUZZ_SECONDS (60 by default):
#   ./scripts/fuzz.sh                                   every harness
#   LXAPI_FUZZ_SECONDS=600 ./scripts/fuzz.sh converter  one harness, ten minutes
# Each run starts from the harness's seeds and kept inputs in the tree and adds what it finds to
# build-fuzz/corpus/<name>, which later runs reuse. A crashing, leaking or hanging input is written to
# build-fuzz/artifacts/<name>/ and fails the script.
set -euo pipefail
cd "$(dirname "$0")/.."
LXAPI_WITH_FUZZ=1 ./scripts/install-deps.sh
dir=${LXAPI_FUZZ_DIR:-build-fuzz}
seconds=${LXAPI_FUZZ_SECONDS:-60}
harnesses=("$@")
# Every harness in fuzz/ unless names are given.
if [ ${#harnesses[@]} -eq 0 ]; then
  for f in fuzz/*_fuzzer.cpp; do harnesses+=("$(basename "$f" _fuzzer.cpp)"); done
fi
targets=()
for name in "${harnesses[@]}"; do targets+=("fuzz_$name"); done

CC=clang CXX=clang++ cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DLXAPI_BUILD_FUZZERS=ON \
  -DLXAPI_BUILD_TESTS=OFF -DLXAPI_BUILD_TOOLS=OFF -DLXAPI_WERROR=ON >/dev/null
cmake --build "$dir" -j"$(nproc)" --target "${targets[@]}"

for name in "${harnesses[@]}"; do
  mkdir -p "$dir/corpus/$name" "$dir/artifacts/$name"
  # A single input may take many seconds legitimately: the first 12-bit polarization angle builds its
  # tables (about 10 s instrumented). Hangs still show past a minute.
  options=(-max_total_time="$seconds" -timeout=60 -rss_limit_mb=2048 -print_final_stats=1
           -artifact_prefix="$dir/artifacts/$name/")
  [ -f "fuzz/$name.dict" ] && options+=(-dict="fuzz/$name.dict")
  # New inputs stay small (the nodemap seeds go up to 21 kB); longer kept inputs are cut to this
  # length while fuzzing and replayed whole by the tests.
  case $name in
    nodemap) options+=(-max_len=24576) ;;
    *) options+=(-max_len=8192) ;;
  esac
  inputs=("$dir/corpus/$name" "fuzz/corpus/$name")
  [ -d "fuzz/regressions/$name" ] && inputs+=("fuzz/regressions/$name")
  echo "== fuzz_$name for ${seconds} s (log: $dir/$name.log)"
  if ! "$dir/bin/fuzz_$name" "${options[@]}" "${inputs[@]}" >"$dir/$name.log" 2>&1; then
    tail -n 100 "$dir/$name.log"
    echo "fuzz_$name found a fault: the input is in $dir/artifacts/$name/" >&2
    exit 1
  fi
  grep -E '^#[0-9]+[[:space:]]+DONE|^stat::' "$dir/$name.log" || true
done
# The closing line counts the harnesses that ran their time without a finding.
echo "fuzz: ${#harnesses[@]} passed, 0 failed"

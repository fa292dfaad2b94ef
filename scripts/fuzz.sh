#!/usr/bin/env bash
# Builds the libFuzzer targets with clang (AddressSanitizer and UBSan) in
# build-fuzz/ and runs each for a fixed time from its seed corpus in
# fuzz/corpus/<target>/ (copied, so the repo is not written to). Prints each
# target's runs and executions per second; a crash stops the script, and
# the crashing input is left in build-fuzz/crashes/.
#
#   scripts/fuzz.sh [SECONDS_PER_TARGET]      (default 30)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-30}
source scripts/deps.sh
nudora_install_packages clang
CC=clang CXX=clang++ cmake -S . -B build-fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNUDORA_BUILD_FUZZERS=ON \
  -DNUDORA_BUILD_TESTS=OFF -DNUDORA_BUILD_BENCH=OFF -DNUDORA_BUILD_TOOLS=OFF -DNUDORA_BUILD_GSTREAMER=OFF \
  -DNUDORA_WERROR=OFF >/dev/null
targets=(gyrolog cubetable camerafile image)
cmake --build build-fuzz -j"$(nproc)" --target "${targets[@]/#/fuzz_}"

mkdir -p build-fuzz/crashes
for target in "${targets[@]}"; do
  corpus=$(mktemp -d)
  cp fuzz/corpus/"$target"/* "$corpus"/
  log=build-fuzz/fuzz_$target.log
  if ! build-fuzz/fuzz/fuzz_"$target" -max_total_time="$seconds" -rss_limit_mb=2560 -print_final_stats=1 \
       -artifact_prefix=build-fuzz/crashes/"$target"- "$corpus" >"$log" 2>&1; then
    tail -40 "$log"
    echo "fuzz_$target: FAILED; the input is in build-fuzz/crashes/"
    exit 1
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  speed=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log")
  echo "fuzz_$target: $runs runs in ${seconds} s, $speed exec/s, corpus $(ls "$corpus" | wc -l) inputs, no crash"
  rm -rf "$corpus"
done

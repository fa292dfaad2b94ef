#!/usr/bin/env bash
# The test suite under the sanitizers:
#  - AddressSanitizer + UndefinedBehaviorSanitizer: the library, program and
#    every test built in build-asan/ and run (the install and GStreamer tests
#    are left to the plain build: they load the library into programs built
#    without the sanitizer runtime);
#  - ThreadSanitizer: the library and the platform (queues, motion manager),
#    logging and stabilisation tests built in build-tsan/ and run three times.
# Leaks and races inside Mesa and LLVM are suppressed by the files in
# scripts/sanitizers/, which name only those libraries.
#
#   scripts/sanitize.sh [asan|tsan]      (default: both)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
nudora_install_packages
which=${1:-both}
jobs=$(nproc)
supp="$PWD/scripts/sanitizers"

configure() {  # configure DIR FLAGS
  # Warnings are the plain build's business (CI makes them errors there);
  # these builds look for faults at run time.
  cmake -S . -B "$1" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DNUDORA_BUILD_BENCH=OFF -DNUDORA_BUILD_GSTREAMER=OFF \
    -DNUDORA_WERROR=OFF \
    -DCMAKE_CXX_FLAGS="$2 -fno-omit-frame-pointer" -DCMAKE_C_FLAGS="$2 -fno-omit-frame-pointer" \
    -DCMAKE_EXE_LINKER_FLAGS="$2" -DCMAKE_SHARED_LINKER_FLAGS="$2" -DCMAKE_MODULE_LINKER_FLAGS="$2" >/dev/null
}

if [ "$which" = both ] || [ "$which" = asan ]; then
  start=$SECONDS
  configure build-asan "-fsanitize=address,undefined -fno-sanitize-recover=undefined"
  cmake --build build-asan -j"$jobs"
  echo "asan: built in $((SECONDS - start)) s"
  start=$SECONDS
  ASAN_OPTIONS="detect_leaks=1:abort_on_error=0:detect_odr_violation=0" \
  LSAN_OPTIONS="suppressions=$supp/lsan.supp:print_suppressions=0" \
  UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1" \
    ctest --test-dir build-asan --output-on-failure -j"$jobs" --timeout 1200 -E "InstallAndBuildExample|GstreamerElement"
  echo "asan: suite passed in $((SECONDS - start)) s"
fi

if [ "$which" = both ] || [ "$which" = tsan ]; then
  start=$SECONDS
  configure build-tsan "-fsanitize=thread"
  cmake --build build-tsan -j"$jobs" --target test_platform test_log test_stabilization
  echo "tsan: built in $((SECONDS - start)) s"
  start=$SECONDS
  for suite in test_platform test_log test_stabilization; do
    TSAN_OPTIONS="suppressions=$supp/tsan.supp:halt_on_error=1:second_deadlock_stack=1" \
    NUDORA_RESOURCE_DIR="$PWD/resources" NUDORA_CONFIG_DIR="$PWD/build-tsan/test-config" \
      build-tsan/tests/"$suite" --gtest_repeat=3 --gtest_brief=1
  done
  echo "tsan: three runs passed in $((SECONDS - start)) s"
fi

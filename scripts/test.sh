#!/usr/bin/env bash
# Installs what the build needs, builds everything in build/ and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
nudora_install_packages
nudora_build
ctest --test-dir build --output-on-failure -j"$(nproc)" --timeout 600

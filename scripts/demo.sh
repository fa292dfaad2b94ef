#!/usr/bin/env bash
# Installs what the build needs, builds, and runs the main job on the
# built-in default input; results go to demo-out/.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
nudora_install_packages
nudora_build
mkdir -p demo-out
build/tools/nudora info
build/tools/nudora passthrough -o demo-out/passthrough.png
# The same picture through the filter pass: a tone-mapped style with beautify.
build/tools/nudora still demo-out/passthrough.png -o demo-out/still-style30.png --style 30 --beauty 2

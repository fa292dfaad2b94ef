#!/usr/bin/env bash
# Stabilisation with --auto-sync against stabilisation with the parameters
# the clip was made with, beside ffmpeg's vidstab, on synth clips whose log
# is written in scrambled axes on a clock ahead of or behind the video.
# bench_quality measures every output from its pictures alone.
#
#   bench/auto_sync_quality.sh [build-dir]      (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
nudora="$build/tools/nudora"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# seed size readout-ms axes offset-ms
clips=("1 1280x720 20 yXz 30" "2 1280x720 33 ZxY -40" "3 960x540 10 xzY 12")
for clip in "${clips[@]}"; do
  read -r seed size readout axes offset <<<"$clip"
  dir="$work/seed$seed"
  truth=$("$nudora" synth -o "$dir" --seed "$seed" --size "$size" --seconds 8 --readout-ms "$readout" \
    --gyro-axes "$axes" --gyro-offset-ms "$offset" | sed -n 's/.*--gyro \S* --stabilize //p')
  echo "== seed $seed, $size, readout $readout ms, log axes $axes, offset $offset ms"
  echo "   true:  $truth"
  # shellcheck disable=SC2086  # the printed options are separate words
  "$nudora" process "$dir/input.mp4" -o "$dir/true.mp4" --gyro "$dir/gyro.gcsv" --stabilize $truth --quiet
  "$nudora" process "$dir/input.mp4" -o "$dir/auto.mp4" --gyro "$dir/gyro.gcsv" --stabilize --auto-sync |
    sed -n 's/^auto-sync: /   found: /p'
  "$build/bench/quality/bench_quality" --vidstab "$dir/input.mp4" input="$dir/input.mp4" \
    true-params="$dir/true.mp4" auto-sync="$dir/auto.mp4"
done

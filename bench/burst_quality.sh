#!/usr/bin/env bash
# Quality of the burst merge (nudora burst) against the clean truth of the
# reference frame of a synthetic handheld burst (nudora synth --burst): PSNR
# of the merged picture with the gyro log and by the image alone, beside
# the reference frame alone, what FFmpeg offers without alignment (the
# plain mean of all frames; nlmeans of the reference frame at strength
# sigma) and the ideal gain of averaging N frames of independent noise,
# 10 log10(N), over the reference frame.
#
#   bench/burst_quality.sh [build-dir] [frames] [sigma] [readout-ms] [seed] [shake] [lens-blur]
#   (defaults: build 8 14 20 1 0.25 0.6; 1632 x 1224 frames, held still
#   without pans; shake 1 is the walking clip's hand shake)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
frames=${2:-8}
sigma=${3:-14}
readout=${4:-20}
seed=${5:-1}
shake=${6:-0.25}
blur=${7:-0.6}
nudora=$build/tools/nudora
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export NUDORA_CONFIG_DIR=$work/config  # no stored gyro drift from elsewhere

"$nudora" synth --burst "$frames" --noise "$sigma" --size 1632x1224 --readout-ms "$readout" --seed "$seed" \
  --shake "$shake" --lens-blur "$blur" -o "$work/burst" >/dev/null
focal=1305.6  # synth's default, 0.8 x width

psnr() {
  ffmpeg -v info -nostdin -i "$1" -i "$work/burst/truth.png" \
    -lavfi "[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]psnr" -f null - 2>&1 |
    sed -n 's/.*average:\([0-9.inf]*\).*/\1/p'
}

"$nudora" burst "$work"/burst/frame_*.png -o "$work/gyro.png" --gyro "$work/burst/gyro.gcsv" \
  --frame-times "$work/burst/frames.txt" --focal-px "$focal" --readout-ms "$readout" 2>/dev/null
"$nudora" burst "$work"/burst/frame_*.png -o "$work/image.png" --focal-px "$focal"
# The plain mean of the frames as they are: tmix's last output averages all of them.
ffmpeg -v error -nostdin -y -framerate 30 -i "$work/burst/frame_%03d.png" \
  -vf "tmix=frames=$frames,select=eq(n\,$((frames - 1)))" -frames:v 1 "$work/mean.png"
ffmpeg -v error -nostdin -y -i "$work/burst/frame_000.png" -vf "nlmeans=s=$sigma" "$work/nlmeans.png"

reference=$(psnr "$work/burst/frame_000.png")
printf '%-34s %8s %9s\n' "burst ${frames} x 1632x1224, sigma $sigma, readout ${readout} ms, shake $shake, lens blur $blur" \
  "PSNR" "gain"
row() { printf '%-34s %8.2f dB %+6.2f dB\n' "$1" "$2" "$(echo "$2 - $reference" | bc -l)"; }
row "reference frame alone" "$reference"
row "FFmpeg tmix: mean of all frames" "$(psnr "$work/mean.png")"
row "FFmpeg nlmeans: reference frame" "$(psnr "$work/nlmeans.png")"
row "merged, gyro log + image" "$(psnr "$work/gyro.png")"
row "merged, image alone" "$(psnr "$work/image.png")"
row "ideal, 10 log10(N)" "$(echo "$reference + 10 * l($frames) / l(10)" | bc -l)"

#!/usr/bin/env bash
# Quality of the denoise lens (43) against the clean picture, beside the
# filters a user would otherwise pick (FFmpeg's nlmeans and hqdn3d, spatial
# only, each at a few strengths). The truth is the built-in sample picture;
# the noisy copy is made by FFmpeg's noise filter with a fixed seed.
#
#   bench/denoise_quality.sh [build-dir]      (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
clean=resources/samples/scene.png
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

psnr() {
  ffmpeg -v info -nostdin -i "$1" -i "$clean" \
    -lavfi "[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]psnr" -f null - 2>&1 |
    sed -n 's/.*average:\([0-9.inf]*\).*/\1/p'
}
row() { printf '%-28s %8s dB\n' "$1" "$(psnr "$2")"; }

ffmpeg -v error -nostdin -y -i "$clean" -vf "noise=all_seed=7:alls=24:allf=u" -frames:v 1 "$work/noisy.png"
printf '%-28s %11s\n' "denoiser (sample, noise 24)" "PSNR"
row "noisy input" "$work/noisy.png"
for v in 0.3 0.5 1.0; do
  "$build/tools/nudora" still "$work/noisy.png" -o "$work/ours$v.png" --lens denoise --lens-value1 "$v" >/dev/null
  row "nudora denoise value1=$v" "$work/ours$v.png"
done
for s in 3 5 8; do
  ffmpeg -v error -nostdin -y -i "$work/noisy.png" -vf "nlmeans=s=$s" -frames:v 1 "$work/nlm$s.png"
  row "ffmpeg nlmeans s=$s" "$work/nlm$s.png"
done
for s in 4 8 12; do
  ffmpeg -v error -nostdin -y -i "$work/noisy.png" -vf "hqdn3d=$s:$s:0:0" -frames:v 1 "$work/hq$s.png"
  row "ffmpeg hqdn3d $s:$s:0:0" "$work/hq$s.png"
done

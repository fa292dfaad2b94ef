#!/usr/bin/env bash
# Quality of the time-domain denoiser (nudora process --denoise) against the
# truth, beside FFmpeg's denoisers on the same frames. The clip is the
# synthetic shaky one (hand shake, 20 ms rolling-shutter readout, its gyro
# log) with sensor-like noise of sigma 10 at mid-grey; synth writes the
# same frames without noise beside it, losslessly, and every output here is
# lossless too, so the figures measure the denoisers alone.
#
# Like is compared with like: PSNR against the clean clip needs pictures in
# the same geometry.
#   * camera path: the noisy clip as it is (ours with the gyro log, and
#     without it, zero shifts) against clean.mkv;
#   * stabilised path: the noisy clip stabilised (gyro only, no image
#     refinement, so that noise cannot move the picture) against the clean
#     clip stabilised the same way; ours denoises inside the pipeline, the
#     FFmpeg filters run on the stabilised noisy frames.
# PSNR and SSIM are FFmpeg's psnr and ssim filters over R, G and B (gbrp),
# averaged over all frames.
#
#   bench/temporal_denoise_quality.sh [build-dir]      (default: build)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
nudora=$build/tools/nudora
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
clip=$work/clip

"$nudora" synth -o "$clip" --noise 10 --lossless --seconds 8 --seed 1 >/dev/null
camera=(--gyro "$clip/gyro.gcsv" --focal-px 512 --readout-ms 20 --gyro-delay-ms 0)
stabilise=(--stabilize --no-digital-adjustment)

ours() { "$nudora" process "$1" -o "$2" --lossless --quiet "${@:3}" 2>/dev/null; }
# An FFmpeg filter chain on RGB planes; hqdn3d works on YUV and gets 4:4:4.
theirs() { ffmpeg -v error -nostdin -y -i "$1" -vf "format=gbrp,$3,format=gbrp" -c:v ffv1 "$2"; }

# "PSNR SSIM" of a file against a reference.
measure() {
  ffmpeg -v info -nostdin -i "$1" -i "$2" -lavfi \
    "[0:v]format=gbrp,split[a0][a1];[1:v]format=gbrp,split[b0][b1];[a0][b0]psnr;[a1][b1]ssim" -f null - 2>&1 |
    awk '/PSNR/ { for (i = 1; i <= NF; i++) if ($i ~ /^average:/) { sub("average:", "", $i); p = $i } }
         /SSIM/ { for (i = 1; i <= NF; i++) if ($i ~ /^All:/) { sub("All:", "", $i); s = $i } }
         END { printf "%s %s", p, s }'
}
row() {
  read -r p s <<<"$(measure "$3" "$4")"
  printf '%-10s %-40s %8.2f dB %8.4f\n' "$1" "$2" "$p" "$s"
}

# Camera path.
in=$clip/input.mkv
ours "$in" "$work/ours.mkv" --denoise "${camera[@]}"
ours "$in" "$work/ours-nogyro.mkv" --denoise
theirs "$in" "$work/hq.mkv" "format=yuv444p,hqdn3d"
theirs "$in" "$work/hq-strong.mkv" "format=yuv444p,hqdn3d=12:9:18:13.5"
theirs "$in" "$work/ata.mkv" "atadenoise"
theirs "$in" "$work/ata-strong.mkv" "atadenoise=0a=0.1:0b=0.2:1a=0.1:1b=0.2:2a=0.1:2b=0.2"
theirs "$in" "$work/nlm.mkv" "nlmeans=s=8"

# Stabilised path.
ours "$clip/clean.mkv" "$work/s-clean.mkv" "${stabilise[@]}" "${camera[@]}"
ours "$in" "$work/s-noisy.mkv" "${stabilise[@]}" "${camera[@]}"
ours "$in" "$work/s-ours.mkv" "${stabilise[@]}" --denoise "${camera[@]}"
theirs "$work/s-noisy.mkv" "$work/s-hq-strong.mkv" "format=yuv444p,hqdn3d=12:9:18:13.5"
theirs "$work/s-noisy.mkv" "$work/s-ata-strong.mkv" "atadenoise=0a=0.1:0b=0.2:1a=0.1:1b=0.2:2a=0.1:2b=0.2"

printf '%-10s %-40s %11s %8s\n' "path" "denoiser (sigma 10, 640x360, 240 frames)" "PSNR" "SSIM"
c=$clip/clean.mkv
row camera "noisy input" "$in" "$c"
row camera "nudora --denoise --gyro" "$work/ours.mkv" "$c"
row camera "nudora --denoise (no gyro: zero shifts)" "$work/ours-nogyro.mkv" "$c"
row camera "ffmpeg hqdn3d (default 4:3:6:4.5)" "$work/hq.mkv" "$c"
row camera "ffmpeg hqdn3d=12:9:18:13.5 (strong)" "$work/hq-strong.mkv" "$c"
row camera "ffmpeg atadenoise (default)" "$work/ata.mkv" "$c"
row camera "ffmpeg atadenoise a=0.1 b=0.2 (strong)" "$work/ata-strong.mkv" "$c"
row camera "ffmpeg nlmeans s=8" "$work/nlm.mkv" "$c"
c=$work/s-clean.mkv
row stabilised "noisy input, stabilised" "$work/s-noisy.mkv" "$c"
row stabilised "nudora --stabilize --denoise" "$work/s-ours.mkv" "$c"
row stabilised "ffmpeg hqdn3d=12:9:18:13.5 (strong)" "$work/s-hq-strong.mkv" "$c"
row stabilised "ffmpeg atadenoise a=0.1 b=0.2 (strong)" "$work/s-ata-strong.mkv" "$c"

#!/usr/bin/env bash
# Soak: nudora process over several thousand 720p frames with
# stabilisation, a style and beauty (and the denoiser where the program
# offers it), sampling the process's resident memory once a second. Prints
# the memory at the start (after 10 s of warm-up), at the end and its
# slope; a leak shows as a steady climb.
#
#   bench/soak.sh [seconds-of-video] [build-dir]      (default 100 s = 3000 frames; build)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-100}
build=${2:-build}
nudora="$build/tools/nudora"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$nudora" synth -o "$work/clip" --size 1280x720 --seconds "$seconds" --readout-ms 20 >/dev/null
extra=()
"$nudora" process --help 2>&1 | grep -q -- "--denoise" && extra+=(--denoise)
"$nudora" process "$work/clip/input.mp4" -o "$work/out.mp4" --gyro "$work/clip/gyro.gcsv" --stabilize \
  --focal-px 1024 --readout-ms 20 --gyro-delay-ms 0 --style 18 --beauty 2 "${extra[@]}" --quiet &
pid=$!
: >"$work/rss"
t=0
while kill -0 "$pid" 2>/dev/null; do
  rss=$(awk '/^VmRSS/ {print $2}' "/proc/$pid/status" 2>/dev/null || true)
  [ -n "$rss" ] && echo "$t $rss" >>"$work/rss"
  sleep 1
  t=$((t + 1))
done
wait "$pid"
frames=$(awk -v s="$seconds" 'BEGIN { print s * 30 }')
awk -v frames="$frames" -v extra="${extra[*]}" '
  { t[NR] = $1; m[NR] = $2 / 1024.0 }
  END {
    n = 0; for (i = 1; i <= NR; ++i) if (t[i] >= 10) { ++n; sx += t[i]; sy += m[i]; sxx += t[i] * t[i]; sxy += t[i] * m[i] }
    slope = n > 2 ? (n * sxy - sx * sy) / (n * sxx - sx * sx) : 0
    for (i = 1; i <= NR; ++i) if (t[i] >= 10) { first = m[i]; break }
    peak = 0; for (i = 1; i <= NR; ++i) if (m[i] > peak) peak = m[i]
    printf "soak: %d frames of 1280x720 (--stabilize --style 18 --beauty 2 %s) in %d s\n", frames, extra, t[NR]
    printf "resident memory: %.1f MiB at 10 s, %.1f MiB at the end, peak %.1f MiB, slope %.3f MiB/min\n",
           first, m[NR], peak, slope * 60
    # Growth that stops early is set-up; growth that goes on is a leak.
    printf "at each quarter of the run:"
    for (q = 1; q <= 4; ++q) printf " %.1f", m[int(NR * q / 4)]
    printf " MiB\n"
  }' "$work/rss"

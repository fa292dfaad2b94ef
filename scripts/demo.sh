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
# Every style look and every lens on the built-in sample picture, labelled,
# to choose from by eye.
build/tools/nudora styles -o demo-out/styles.png
build/tools/nudora lenses -o demo-out/lenses.png

# The main job on the built-in synthetic clip: a shaky rolling-shutter
# video with its gyro log, stabilised, shown side by side, and scored by
# the quality benchmark from the pictures alone.
rm -rf demo-out/clip
build/tools/nudora synth -o demo-out/clip | tee demo-out/synth.txt
# synth prints the process command for its clip; keep its options, put
# the output into demo-out/.
line=$(grep -o 'nudora process .*' demo-out/synth.txt | tail -n 1)
[ -n "$line" ] || { echo "demo: nudora synth printed no process command" >&2; exit 1; }
mapfile -t words < <(printf '%s\n' "${line#nudora process }" | xargs -n 1 printf '%s\n')
clip_input=${words[0]}
options=()
for ((i = 1; i < ${#words[@]}; i++)); do
  if [ "${words[i]}" = "-o" ]; then
    i=$((i + 1))
  else
    options+=("${words[i]}")
  fi
done
cp "$clip_input" demo-out/input.mp4
build/tools/nudora process demo-out/input.mp4 -o demo-out/output.mp4 "${options[@]}"
height=$(ffprobe -v error -select_streams v:0 -show_entries stream=height -of csv=p=0 demo-out/input.mp4)
ffmpeg -v error -nostdin -y -i demo-out/input.mp4 -i demo-out/output.mp4 -filter_complex \
  "[0:v]scale=-2:${height},setsar=1,format=yuv420p[a];[1:v]scale=-2:${height},setsar=1,format=yuv420p[b];[a][b]hstack=inputs=2[v]" \
  -map "[v]" demo-out/side-by-side.mp4
build/bench/quality/bench_quality --plot demo-out/camera-path.png \
  input=demo-out/input.mp4 output=demo-out/output.mp4 | tee demo-out/quality.txt
awk '$1 == "input" { hi = $3; ki = $4 } $1 == "output" { ho = $3; ko = $4 }
     END { printf "residual shake: %.3f px per frame before, %.3f after (%.0f%%); rolling-shutter skew: %.3f px per frame height before, %.3f after (%.0f%%)\n",
           hi, ho, (hi > 0 ? 100 * ho / hi : 0), ki, ko, (ki > 0 ? 100 * ko / ki : 0) }' demo-out/quality.txt | tee demo-out/residual-shake.txt


# The lens effects that run a simulation of their own, animated over the
# clip's first two seconds: the flood's waves, the water pane's drops and
# the werewolf's claw marks.
ffmpeg -v error -nostdin -y -i demo-out/input.mp4 -t 2 -c copy demo-out/input-2s.mp4
for lens in flood water-pane werewolf; do
  build/tools/nudora process demo-out/input-2s.mp4 -o "demo-out/lens-$lens.mp4" --lens "$lens"
done
rm demo-out/input-2s.mp4

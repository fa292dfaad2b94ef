#!/usr/bin/env bash
# The nudorafilter element as GStreamer sees it: every property described,
# frames styled as the still processor styles them, a bad setting refused
# with a message that names it.
#
#   gst_element.sh BUILD_DIR
set -euo pipefail
build=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export GST_PLUGIN_PATH="$build/gst" GST_REGISTRY="$work/registry.bin"
fail() { echo "FAIL: $*"; exit 1; }

gst-inspect-1.0 nudorafilter >"$work/inspect.txt" 2>&1 || { cat "$work/inspect.txt"; fail "gst-inspect-1.0 cannot load nudorafilter"; }
for p in stabilize gyro-source iio-device gyro-log gyro-orientation gyro-delay-ms focal-px readout-ms cropping \
         style lens beauty denoise zoom; do
  grep -Eq "^  $p +: [A-Z]" "$work/inspect.txt" || fail "gst-inspect-1.0 lists no described property '$p'"
done

caps="video/x-raw,format=BGRA,width=320,height=240,framerate=30/1"
gst-launch-1.0 -q videotestsrc num-buffers=60 pattern=smpte ! "$caps" ! nudorafilter style=19 ! \
  filesink location="$work/out.bgra"
size=$(stat -c %s "$work/out.bgra")
[ "$size" -eq $((60 * 320 * 240 * 4)) ] || fail "60 frames of 320x240 BGRA expected, got $size bytes"

# The first frame against the still processor on the same picture.
gst-launch-1.0 -q videotestsrc num-buffers=1 pattern=smpte ! "$caps" ! filesink location="$work/in.bgra"
ffmpeg -v error -nostdin -f rawvideo -pix_fmt bgra -s 320x240 -i "$work/in.bgra" "$work/in.png"
"$build/tools/nudora" still "$work/in.png" -o "$work/still.png" --style 19 >/dev/null
psnr() {
  ffmpeg -v info -nostdin -f rawvideo -pix_fmt bgra -s 320x240 -i "$1" -i "$2" \
    -lavfi "[0:v]format=rgb24[a];[1:v]format=rgb24[b];[a][b]psnr" -frames:v 1 -f null - 2>&1 |
    sed -n 's/.*average:\([0-9.inf]*\).*/\1/p'
}
styled=$(psnr "$work/out.bgra" "$work/still.png")
unstyled=$(psnr "$work/in.bgra" "$work/still.png")
echo "first frame against the still processor: PSNR $styled dB (the unstyled input: $unstyled dB)"
awk -v s="$styled" -v u="$unstyled" 'BEGIN { exit !((s == "inf" || s > 40) && u < 30) }' ||
  fail "the element's frame does not match the still processor's"

# Denoising without a gyro: a still picture comes through whole from the
# first frame on.
gst-launch-1.0 -q videotestsrc num-buffers=10 pattern=smpte ! "$caps" ! nudorafilter denoise=true ! \
  filesink location="$work/denoised.bgra" 2>/dev/null
denoised=$(psnr "$work/denoised.bgra" "$work/in.png")
echo "first denoised frame against the input: PSNR $denoised dB"
awk -v s="$denoised" 'BEGIN { exit !(s == "inf" || s > 35) }' || fail "denoise=true spoilt the first frame"

# Stabilisation from a gyro log, frame times from the buffers: a shaky synth
# clip comes out steady, measured from the pictures alone.
"$build/tools/nudora" synth -o "$work/clip" --size 320x180 --seconds 3 --readout-ms 20 --lossless >/dev/null
ffmpeg -v error -nostdin -i "$work/clip/input.mkv" -f rawvideo -pix_fmt bgra "$work/clip.bgra"
gst-launch-1.0 -q filesrc location="$work/clip.bgra" ! rawvideoparse format=bgra width=320 height=180 framerate=30/1 ! \
  nudorafilter stabilize=true gyro-source=log gyro-log="$work/clip/gyro.gcsv" focal-px=256 readout-ms=20 ! \
  filesink location="$work/steady.bgra"
ffmpeg -v error -nostdin -f rawvideo -pix_fmt bgra -s 320x180 -r 30 -i "$work/steady.bgra" -c:v ffv1 "$work/steady.mkv"
ratio=$("$build/bench/quality/bench_quality" input="$work/clip/input.mkv" steady="$work/steady.mkv" |
  awk '$1 == "steady" { print $6 }')
echo "shake left by the element with the gyro log: $ratio of the input's"
awk -v r="$ratio" 'BEGIN { exit !(r != "" && r < 0.4) }' || fail "the element did not stabilise the clip"

if gst-launch-1.0 -q videotestsrc num-buffers=5 ! "$caps" ! nudorafilter style=nosuchstyle ! fakesink \
     >"$work/bad.txt" 2>&1; then
  fail "an unknown style was accepted"
fi
grep -q "style 'nosuchstyle'" "$work/bad.txt" || { cat "$work/bad.txt"; fail "the error does not name the style"; }
echo "PASS"

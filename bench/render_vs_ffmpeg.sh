#!/usr/bin/env bash
# Renders the same synthetic clips with the full look to 10-bit DPX, and in the same run pushes
# the same frames through FFmpeg's lut1d, lut3d (64^3, tetrahedral) and temporal noise filters to
# 10-bit DPX. Prints both frame rates and their ratio for 1920x1080 and 4096x2160.
#
#   bench/render_vs_ffmpeg.sh [BUILD_DIR] [FRAMES]      (defaults: build, 24)
#
# FFmpeg cannot read R3D clips, so its input is the DPX sequence of our own render: the same
# frames at the same size and depth, decoded from DPX instead of from the clip.
set -euo pipefail

BUILD_DIR=${1:-build}
FRAMES=${2:-24}
OMBREL="$BUILD_DIR/app/ombrel"
R3D_MAKE="$BUILD_DIR/tools/r3d-make/r3d-make"
for tool in "$OMBREL" "$R3D_MAKE"; do
  [ -x "$tool" ] || { echo "render_vs_ffmpeg: $tool is missing; build first (make build)" >&2; exit 2; }
done
command -v ffmpeg >/dev/null || { echo "render_vs_ffmpeg: ffmpeg is not on PATH" >&2; exit 2; }

WORK=$(mktemp -d "${TMPDIR:-/tmp}/render_vs_ffmpeg.XXXXXX")
trap 'rm -rf "$WORK"' EXIT
export HOME="$WORK/home"  # the render leaves the user's own folders alone
mkdir -p "$HOME"

# A film-like 1D curve and a 64^3 colour cube, in the .cube text form.
awk 'BEGIN { print "LUT_1D_SIZE 1024"; for (i = 0; i < 1024; i++) { x = i / 1023; y = x * x * (3 - 2 * x);
             printf "%.6f %.6f %.6f\n", y, y ^ 1.02, y ^ 1.05 } }' > "$WORK/curve.cube"
awk 'BEGIN { n = 64; print "LUT_3D_SIZE 64";
             for (b = 0; b < n; b++) for (g = 0; g < n; g++) for (r = 0; r < n; r++) {
               R = r / (n - 1); G = g / (n - 1); B = b / (n - 1); l = 0.3 * R + 0.59 * G + 0.11 * B;
               printf "%.6f %.6f %.6f\n", l + 0.8 * (R - l), l + 0.8 * (G - l), l + 0.8 * (B - l) } }' > "$WORK/cube.cube"

now() { date +%s.%N; }
fps() { awk -v n="$1" -v a="$2" -v b="$3" 'BEGIN { printf "%.2f", n / (b - a) }'; }

printf "%-10s %12s %12s %8s\n" size ombrel_fps ffmpeg_fps ratio
for size in 1920x1080 4096x2160; do
  clip="$WORK/$size/A001_C001_0101AB_001.R3D"
  mkdir -p "$WORK/$size"
  "$R3D_MAKE" "$clip" --size "$size" --frames "$FRAMES" --fps 24 --force >/dev/null 2>&1

  t0=$(now)
  "$OMBREL" render --format dpx --stock 5207 --gauge "Super 35" --grain 1 --out "$WORK/$size/ours" "$clip" \
    >/dev/null 2>"$WORK/$size/ours.log" || { cat "$WORK/$size/ours.log" >&2; exit 1; }
  t1=$(now)

  first=$(ls "$WORK/$size/ours/A001_C001_0101AB" | grep '\.dpx$' | head -1)
  start=$(echo "$first" | sed -E 's/.*\.([0-9]+)\.dpx$/\1/')
  mkdir -p "$WORK/$size/ffmpeg"
  t2=$(now)
  ffmpeg -v error -y -start_number "$start" -i "$WORK/$size/ours/A001_C001_0101AB/A001_C001_0101AB.%06d.dpx" \
    -vf "format=rgb48le,lut1d=file=$WORK/curve.cube,lut3d=file=$WORK/cube.cube:interp=tetrahedral,noise=alls=8:allf=t" \
    -c:v dpx -pix_fmt gbrp10le "$WORK/$size/ffmpeg/%06d.dpx"
  t3=$(now)

  ours=$(fps "$FRAMES" "$t0" "$t1")
  theirs=$(fps "$FRAMES" "$t2" "$t3")
  ratio=$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')
  printf "%-10s %12s %12s %8s\n" "$size" "$ours" "$theirs" "$ratio"
done

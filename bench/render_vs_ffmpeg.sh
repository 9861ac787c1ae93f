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
. "$(dirname "$0")/ffmpeg_common.sh"
bench_setup render_vs_ffmpeg "$BUILD_DIR"
write_cubes "$WORK"

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
  printf "%-10s %12s %12s %8s\n" "$size" "$ours" "$theirs" "$(ratio "$ours" "$theirs")"
done

#!/usr/bin/env bash
# Renders a synthetic 1080p clip with the full look to a movie (ProRes 422 HQ and H.264, the
# factory presets apch and avc1), and encodes the same frames with the ffmpeg command line to the
# same codec with the same encoder options, plainly and behind lut3d (64^3, tetrahedral) and
# temporal noise. Prints the frame rates and ours over each of theirs.
#
#   bench/movie_vs_ffmpeg.sh [BUILD_DIR] [FRAMES]      (defaults: build, 48)
#
# FFmpeg cannot read R3D clips, so its input is our own 16-bit TIFF render of the clip, unpacked
# once, before any timing, to raw 16-bit RGB: the encode is timed, not the decoding of files.
set -euo pipefail

BUILD_DIR=${1:-build}
FRAMES=${2:-48}
HERE=$(dirname "$0")
. "$HERE/ffmpeg_common.sh"
bench_setup movie_vs_ffmpeg "$BUILD_DIR"
write_cubes "$WORK"
SIZE=1920x1080
LOOK=(--stock 5207 --gauge "Super 35" --grain 1)

clip="$WORK/A001_C001_0101AB_001.R3D"
"$R3D_MAKE" "$clip" --size "$SIZE" --frames "$FRAMES" --fps 24 --force >/dev/null 2>&1
"$OMBREL" render --format tiff "${LOOK[@]}" --out "$WORK/tiff" "$clip" >/dev/null 2>"$WORK/tiff.log" ||
  { cat "$WORK/tiff.log" >&2; exit 1; }
ffmpeg -v error -y -pattern_type glob -i "$WORK/tiff/A001_C001_0101AB/*.tiff" -f rawvideo -pix_fmt rgb48le \
  "$WORK/frames.rgb48"

# A factory preset's key as ffmpeg arguments: its encoder, pixel format and options.
preset() { sed -n "s/^$2 *= *//p" "$HERE/../data/codecs/$1.dat"; }

# ffmpeg's encode of the raw frames through FILTERS (may be empty) to the preset, BT.709 limited
# range and tagged so, as our movies are.
theirs() {
  local base=$1 filters=$2 options=()
  for o in $(preset "$base" options); do options+=("-${o%%=*}" "${o#*=}"); done
  local t0 t1
  t0=$(now)
  ffmpeg -v error -y -f rawvideo -pix_fmt rgb48le -s "$SIZE" -r 24 -i "$WORK/frames.rgb48" \
    -vf "${filters}scale=out_color_matrix=bt709:out_range=tv,format=$(preset "$base" pixel_format)" \
    -c:v "$(preset "$base" encoder)" "${options[@]}" -tag:v "$(preset "$base" fourcc)" \
    -colorspace bt709 -color_primaries bt709 -color_trc bt709 -color_range tv "$WORK/theirs.mov"
  t1=$(now)
  fps "$FRAMES" "$t0" "$t1"
}

printf "%-6s %10s %12s %7s %12s %7s\n" codec ombrel_fps ffmpeg_plain ratio ffmpeg_look ratio
for codec in apch:hcpa avc1:1cva; do
  fourcc=${codec%%:*} base=${codec#*:}
  rm -rf "$WORK/ours"
  t0=$(now)
  "$OMBREL" render --format mov --codec "$fourcc" "${LOOK[@]}" --out "$WORK/ours" "$clip" \
    >/dev/null 2>"$WORK/ours.log" || { cat "$WORK/ours.log" >&2; exit 1; }
  t1=$(now)
  ours=$(fps "$FRAMES" "$t0" "$t1")
  plain=$(theirs "$base" "")
  look=$(theirs "$base" "lut3d=file=$WORK/cube.cube:interp=tetrahedral,noise=alls=12:allf=t,")
  printf "%-6s %10s %12s %7s %12s %7s\n" "$fourcc" "$ours" "$plain" "$(ratio "$ours" "$plain")" "$look" \
    "$(ratio "$ours" "$look")"
done

#!/usr/bin/env bash
# Renders the same synthetic clips with the full look to 10-bit DPX, and in the same run pushes
# the same frames through FFmpeg's planar chain (gbrp16le, lut1d, lut3d 64^3 tetrahedral,
# temporal noise) to 10-bit DPX. Each side runs RUNS times per size, timed as whole processes;
# prints the median frame rates, their ratio, the largest peak RSS of each side, and the median
# CPU time a frame (user + system) of each side with their ratio, which holds still on a busy
# machine where the frame rates do not.
#
#   bench/render_vs_ffmpeg.sh [BUILD_DIR] [FRAMES] [RUNS] [-- extra render options]
#                                                         (defaults: build, 24, 3; e.g. -- --cpu)
#
# FFmpeg cannot read R3D clips, so its input is our own render turned into 16-bit DPX files
# (untimed): the same frames at the same size, 16 bits a sample, read from files.
set -euo pipefail

BUILD_DIR=${1:-build}
FRAMES=${2:-24}
RUNS=${3:-3}
shift $(( $# < 3 ? $# : 3 ))
[ "${1:-}" = "--" ] && shift
EXTRA=("$@")
. "$(dirname "$0")/ffmpeg_common.sh"
bench_setup render_vs_ffmpeg "$BUILD_DIR"
write_cubes "$WORK"

median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
# Runs a command under /usr/bin/time when there is one; appends the peak RSS (kB) to $2 and
# the CPU seconds to $2.cpu.
timed() {
  local log=$1 rss=$2; shift 2
  if [ -x /usr/bin/time ]; then
    /usr/bin/time -f "%M %U %S" -o "$rss.one" "$@" >/dev/null 2>"$log" || { cat "$log" >&2; exit 1; }
    awk '{ print $1 }' "$rss.one" >> "$rss"
    awk '{ print $2 + $3 }' "$rss.one" >> "$rss.cpu"
  else
    "$@" >/dev/null 2>"$log" || { cat "$log" >&2; exit 1; }
    echo 0 >> "$rss"; echo 0 >> "$rss.cpu"
  fi
}

printf "%-10s %10s %10s %6s %9s %9s %11s %11s %6s\n" size ombrel_fps ffmpeg_fps ratio ombrel_MB ffmpeg_MB \
  ombrel_cpu_ms ffmpeg_cpu_ms ratio
for size in 1920x1080 4096x2160; do
  dir="$WORK/$size"
  clip="$dir/A001_C001_0101AB_001.R3D"
  mkdir -p "$dir/in"
  "$R3D_MAKE" "$clip" --size "$size" --frames "$FRAMES" --fps 24 --force >/dev/null 2>&1

  # FFmpeg's input: the graded frames as 16-bit DPX.
  "$OMBREL" render --format dpx --out "$dir/seed" "$clip" >/dev/null 2>"$dir/seed.log" ||
    { cat "$dir/seed.log" >&2; exit 1; }
  first=$(ls "$dir/seed/A001_C001_0101AB" | grep '\.dpx$' | head -1)
  start=$(echo "$first" | sed -E 's/.*\.([0-9]+)\.dpx$/\1/')
  ffmpeg -v error -y -start_number "$start" -i "$dir/seed/A001_C001_0101AB/A001_C001_0101AB.%06d.dpx" \
    -pix_fmt rgb48le "$dir/in/%06d.dpx"
  rm -rf "$dir/seed"

  : > "$dir/ours.fps"; : > "$dir/theirs.fps"; : > "$dir/ours.rss"; : > "$dir/theirs.rss"
  : > "$dir/ours.rss.cpu"; : > "$dir/theirs.rss.cpu"
  for run in $(seq "$RUNS"); do
    rm -rf "$dir/ours" "$dir/ffmpeg"; mkdir -p "$dir/ffmpeg"
    t0=$(now)
    timed "$dir/ours.log" "$dir/ours.rss" "$OMBREL" render --format dpx --stock 5207 --gauge "Super 35" --grain 1 \
      ${EXTRA[@]+"${EXTRA[@]}"} --out "$dir/ours" "$clip"
    t1=$(now)
    timed "$dir/ffmpeg.log" "$dir/theirs.rss" ffmpeg -v error -y -i "$dir/in/%06d.dpx" \
      -vf "format=gbrp16le,lut1d=file=$WORK/curve.cube,lut3d=file=$WORK/cube.cube:interp=tetrahedral,noise=alls=12:allf=t" \
      -c:v dpx -pix_fmt gbrp10le "$dir/ffmpeg/%06d.dpx"
    t2=$(now)
    fps "$FRAMES" "$t0" "$t1" >> "$dir/ours.fps"; echo >> "$dir/ours.fps"
    fps "$FRAMES" "$t1" "$t2" >> "$dir/theirs.fps"; echo >> "$dir/theirs.fps"
  done

  ours=$(median < "$dir/ours.fps")
  theirs=$(median < "$dir/theirs.fps")
  ours_mb=$(sort -g "$dir/ours.rss" | tail -1 | awk '{ printf "%.0f", $1 / 1024 }')
  theirs_mb=$(sort -g "$dir/theirs.rss" | tail -1 | awk '{ printf "%.0f", $1 / 1024 }')
  ours_ms=$(median < "$dir/ours.rss.cpu" | awk -v n="$FRAMES" '{ printf "%.1f", $1 * 1000 / n }')
  theirs_ms=$(median < "$dir/theirs.rss.cpu" | awk -v n="$FRAMES" '{ printf "%.1f", $1 * 1000 / n }')
  printf "%-10s %10s %10s %6s %9s %9s %11s %11s %6s\n" "$size" "$ours" "$theirs" "$(ratio "$ours" "$theirs")" \
    "$ours_mb" "$theirs_mb" "$ours_ms" "$theirs_ms" "$(ratio "$theirs_ms" "$ours_ms")"
done

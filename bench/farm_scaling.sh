#!/usr/bin/env bash
# The render farm on paper: measures on this machine what one farm task costs (the start-up of an
# `ombrel render` process, the seconds a frame, the bytes a frame writes and reads) and prints a
# model of throughput against node count, with the chunk size at which start-up is under 5% of a
# task. One task at a time per node; the shared file system carries every frame out and its
# source in.
#
#   bench/farm_scaling.sh [BUILD_DIR]       (default build)
#   FARM_FS_MBPS=1000   the shared file system's bandwidth in MB/s (default 1000, about 10 GbE)
#   FARM_SIZE=2048x1080 FARM_FRAMES=26      the test clip (made with r3d-make)
#   FARM_RENDER_OPTS="--cpu"                options of every render (default: the OpenGL pipeline)
set -euo pipefail

BUILD_DIR=${1:-build}
FS_MBPS=${FARM_FS_MBPS:-1000}
SIZE=${FARM_SIZE:-2048x1080}
FRAMES=${FARM_FRAMES:-26}
read -r -a OPTS <<< "${FARM_RENDER_OPTS:-}"
HERE=$(dirname "$0")
. "$HERE/ffmpeg_common.sh"
bench_setup farm_scaling "$BUILD_DIR"

clip="$WORK/A001_C001_0101AB_001.R3D"
"$R3D_MAKE" "$clip" --size "$SIZE" --frames "$FRAMES" >/dev/null 2>&1

# Seconds of one render of frames 0..LAST into a fresh folder; the best of two runs.
render() {
  local last=$1 best="" t0 t1 t
  for run in 1 2; do
    rm -rf "$WORK/out"
    t0=$(now)
    "$OMBREL" render "${OPTS[@]}" --out "$WORK/out" --frames "0-$last" "$clip" >/dev/null 2>&1
    t1=$(now)
    t=$(awk -v a="$t0" -v b="$t1" 'BEGIN { print b - a }')
    best=$(awk -v a="${best:-$t}" -v b="$t" 'BEGIN { print (b < a ? b : a) }')
  done
  echo "$best"
}
short=$(render 1)
long=$(render $((FRAMES - 1)))
frame_bytes=$(stat -c %s "$(ls "$WORK"/out/*/*.dpx | head -1)")
source_bytes=$(awk -v s="$(stat -c %s "$clip")" -v n="$FRAMES" 'BEGIN { printf "%d", s / n }')

awk -v short="$short" -v long="$long" -v n="$FRAMES" -v out="$frame_bytes" -v in_="$source_bytes" \
    -v mbps="$FS_MBPS" -v size="$SIZE" '
BEGIN {
  per = (long - short) / (n - 2)          # seconds a frame once running
  start = short - 2 * per                 # the process: data, pipeline, clip opening
  if (start < 0) start = 0
  # Start-up under 5% of a task: start / (start + c * per) < 0.05, so c > 19 * start / per.
  chunk = int(19 * start / per) + 1
  if (chunk < 2) chunk = 2
  fs = mbps * 1e6 / (out + in_)           # frames a second the shared file system carries
  printf "measured (%s DPX, one task at a time):\n", size
  printf "  start-up per task     %6.2f s\n", start
  printf "  seconds a frame       %6.3f s   (%.2f frames/s on one node)\n", per, 1 / per
  printf "  bytes a frame         %6.2f MB written, %.2f MB of source read\n", out / 1e6, in_ / 1e6
  printf "recommended --chunk %d: start-up is %.1f%% of a task of %.1f s\n", chunk,
         100 * start / (start + chunk * per), start + chunk * per
  printf "\nmodel at --chunk %d, shared file system %d MB/s (carries %.0f frames/s):\n", chunk, mbps, fs
  printf "  %6s  %14s  %14s  %s\n", "nodes", "compute fr/s", "delivered fr/s", "limited by"
  split("1 10 100 1000", nodes, " ")
  for (i = 1; i <= 4; i++) {
    cpu = nodes[i] * chunk / (start + chunk * per)
    got = cpu < fs ? cpu : fs
    printf "  %6d  %14.1f  %14.1f  %s\n", nodes[i], cpu, got, cpu < fs ? "nodes" : "file system"
  }
  printf "\nnodes before the file system is the limit: %.0f\n", fs / (chunk / (start + chunk * per))
}'

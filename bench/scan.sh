#!/usr/bin/env bash
# Times `ombrel scan` of a folder of 500 clips (250 R3D clips, 250 movies, in 25 folders), cold
# (no record files: each clip is opened and its thumbnail made) and warm (records and thumbnails
# read back from ~/Documents/Ombrel/Thumbnails/). HOME points at a scratch folder.
#
#   bench/scan.sh [BUILD_DIR] [CLIPS]      (defaults: build, 500)
set -euo pipefail

BUILD_DIR=${1:-build}
CLIPS=${2:-500}
HERE=$(dirname "$0")
. "$HERE/ffmpeg_common.sh"
bench_setup scan "$BUILD_DIR"
mkdir -p "$WORK/footage"

# One small clip of each kind, copied under the names of a card: a clip is its first file, so
# copies are distinct clips to the scan. Movies must pass the useable size (over 1000000 bytes).
"$R3D_MAKE" "$WORK/A001_C001_0101AB_001.R3D" --size 640x360 --frames 12 >/dev/null
ffmpeg -nostdin -loglevel error -f lavfi -i testsrc=size=320x240:rate=25 -frames:v 6 \
  -c:v rawvideo -pix_fmt rgb24 "$WORK/take.mov"
for ((i = 0; i < CLIPS; i++)); do
  folder="$WORK/footage/roll$((i % 25))"
  mkdir -p "$folder"
  if ((i % 2)); then
    cp "$WORK/take.mov" "$folder/take_$i.mov"
  else
    cp "$WORK/A001_C001_0101AB_001.R3D" "$folder/$(printf 'A%03d_C%03d_0101AB_001.R3D' $((i % 1000)) $((i / 2 % 1000)))"
  fi
done

run() {
  local start end
  start=$(now)
  "$OMBREL" scan --json "$WORK/footage" >"$WORK/out.json" 2>/dev/null
  end=$(now)
  awk -v a="$start" -v b="$end" 'BEGIN { print b - a }'
}
cold=$(run)
warm=$(run)
found=$(grep -o '"path"' "$WORK/out.json" | wc -l)
printf 'ombrel scan of %d clips (%d found): cold %.2f s, warm %.2f s\n' "$CLIPS" "$found" "$cold" "$warm"

#!/usr/bin/env bash
# The window's tour under a virtual display: a fresh HOME whose autosave holds the demo clip and
# a generated movie; tab 2, scrub, bypass on and off, zoom and pan, the next clip, play, a resize,
# tab 3, a save under a new name, quit; then a start on that project. Screenshots (window and viewer) land in the folder given (default: a scratch one).
#   scripts/e2e-gui.sh [BUILD_DIR] [SHOTS_DIR]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$root/build}
ombrel=$build/app/ombrel
demo=$build/demo/A001_C001_0101AB_demo_001.R3D
for need in "$ombrel" "$demo"; do [[ -e $need ]] || { echo "e2e-gui: missing $need (build first)" >&2; exit 2; }; done
command -v xvfb-run > /dev/null || { echo "e2e-gui: xvfb-run is not installed" >&2; exit 2; }
command -v ffmpeg > /dev/null || { echo "e2e-gui: ffmpeg is not installed" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
shots=${2:-$work/shots}
export HOME=$work/home XDG_CONFIG_HOME=$work/home/.config
mkdir -p "$HOME/Documents/Ombrel/Autosave" "$work/clips" "$shots"
cp "$demo" "$work/clips/"
ffmpeg -nostdin -hide_banner -loglevel error -f lavfi -i testsrc2=size=1280x720:rate=24 -frames:v 72 \
  -c:v mpeg4 -q:v 3 "$work/clips/movie.mov"
"$ombrel" project add "$HOME/Documents/Ombrel/Autosave/temp_save.xml" \
  "$work/clips/$(basename "$demo")" "$work/clips/movie.mov" > /dev/null

# @WORK@ stands for the scratch folder.
cat > "$work/tour.txt" <<'TOUR'
wait 0.5
shot 01-start
click tab2button
idle
print mainTabView
print filenameText
shot 02-tab2
slider scrubSlider 24
idle
print textTimeOfDay
shot 03-scrub
key b
idle
print disableFilmCheckbox
shot 04-bypass
key b
idle
key z
idle
drag r3dViewGL 600 400 200 200
idle
shot 05-zoom-pan
key z
idle
select colorSpacePopup 0
print colorSpacePopup
click r3dSettingsMenuItemRC3RG3
print r3dSettingsMenuItemRC3RG3
key Right filmStripCollection
idle
wait 0.5
print filenameText
print textTimeOfDay
shot 06-movie
key space
wait 1.5
print playCheckbox
shot 07-playing
resize 1400 900
wait 0.5
shot 08-resized
key space
idle
click filmStripCollection 0 0
idle
print filenameText
answer @WORK@/saved.xml
menu File/Save As...
print window
answer cancel
menu File/Open...
answer @WORK@/nothing.xml
answer ok
menu File/Open...
click tab3button
idle
shot 09-tab3
select outputFormatPopup 20
select outputSizePopup 0
select outputFolderPopup 0
print outputFormatPopup
idle
shot 10-render-options
click renderButton
wait 0.5
shot 11-rendering
idle
print renderTxtFrames
shot 12-rendered
menu File/Load EDL / XML...
wait 0.3
select inputType 1
type edlPath /nowhere/cut.edl
shot 13-conform-sheet
click closeButton
menu Settings/Preset Manager...
select libraryPopup 0
shot 14-presets-examples
click presetTable 0 2
select targetLibraryPopup 1
click moveButton
shot 15-presets-after-move
click doneButton
answer cancel
menu File/Find Missing Files...
quit
TOUR
# A second start opens the project saved above instead of the autosave.
cat > "$work/project.txt" <<'TOUR'
wait 0.5
print window
click tab2button
idle
print filenameText
shot 10-project
quit
TOUR
sed -i "s|@WORK@|$work|g" "$work/tour.txt"

run() { xvfb-run -a -s "-screen 0 1920x1080x24" "$ombrel" gui "$@"; }
run --script "$work/tour.txt" --shots "$shots"
# What the render's run left, before the second start autosaves over it.
cp "$HOME/Documents/Ombrel/Autosave/temp_save.xml" "$work/rendered.xml"
[[ -f $work/saved.xml ]] || { echo "e2e-gui: File > Save As wrote nothing" >&2; exit 1; }
run --project "$work/saved.xml" --script "$work/project.txt" --shots "$shots"
echo "e2e-gui: shots in $shots"
ls "$shots"

# The window's DPX frames hold the same pictures as the command line's render of the autosave the
# window left behind, clip by clip.
"$ombrel" render --project "$work/rendered.xml" --out "$work/cli" > /dev/null 2>&1
n=0
for f in "$HOME"/Documents/Ombrel/Render/*/*.dpx; do
  g=$work/cli/$(basename "$(dirname "$f")")/$(basename "$f")
  [[ -e $g ]] || { echo "e2e-gui: the command line wrote no $g" >&2; exit 1; }
  a=$(od -An -tu4 --endian=big -j4 -N4 "$f" | tr -d ' '); b=$(od -An -tu4 --endian=big -j4 -N4 "$g" | tr -d ' ')
  cmp -s <(tail -c +$((a + 1)) "$f") <(tail -c +$((b + 1)) "$g") || { echo "e2e-gui: $f differs" >&2; exit 1; }
  n=$((n + 1))
done
((n == 120)) || { echo "e2e-gui: the window rendered $n DPX frames, not 48 + 72" >&2; exit 1; }
echo "e2e-gui: the window's $n DPX frames equal the command line's"

#!/usr/bin/env bash
# The window's tour under a virtual display: a fresh HOME whose autosave holds the demo clip and
# a generated movie; tab 2, scrub, bypass on and off, zoom and pan, the next clip, play, a resize,
# a grade of the first clip (typed values, stock, gauge, a level drag, a colour ball), a preset saved,
# the look changed and the preset loaded back, tab 3 and a DPX render of both clips, a save under a new
# name, a calibration run in the codec of tag 9, quit; then a start on that project with the movie moved away, relinked by Find Missing Files. Screenshots (window and viewer) land in the folder given (default: a scratch one).
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
# A folder of clips in the home folder for the browse tab (hard links: same pictures, no copies).
mkdir -p "$HOME/Footage/Day 1"
ln "$work/clips/$(basename "$demo")" "$work/clips/movie.mov" "$HOME/Footage/Day 1/"
"$ombrel" project add "$HOME/Documents/Ombrel/Autosave/temp_save.xml" \
  "$work/clips/$(basename "$demo")" "$work/clips/movie.mov" > /dev/null

# @WORK@ stands for the scratch folder.
cat > "$work/tour.txt" <<'TOUR'
wait 0.5
shot 00-first-run
print usageStatsCheckbox
click usageContinueButton
print menuItemUpdates
shot 01-start
click fileTree 1 0
wait 1
shot 01b-browse-found
click shotsFoundRadioIcons
click shotListRadioIcons
wait 1
shot 01c-browse-icons
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
click useMetadataCheckbox
print useMetadataCheckbox
type exposureText 0.5
print exposureText
type kelvinText 4800
type colorAmountText 70
type blackText 5
print blackText
select filmStockPopup 99
print filmStockPopup
select filmStockPopup 5
print filmStockLabel
select grainSizePopup 200
drag levelSlider 282 24 231 24
print whiteText
drag gammaWheel 46 40 70 30
idle
shot g1-graded
click savePresetButton
print factoryPresetView
select filmStockPopup 12
type exposureText 1.5
idle
shot g2-changed
click factoryPresetView 0 0
idle
print exposureText
print filmStockPopup
shot g3-preset-loaded
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
idle 600
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
menu Settings/Calibrate Display...
select codecPopup 9
shot 19-calibrate
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
answer @WORK@/moved
menu File/Find Missing Files...
idle
shot 10b-relinked
quit
TOUR
sed -i "s|@WORK@|$work|g" "$work/tour.txt" "$work/project.txt"

run() { xvfb-run -a -s "-screen 0 1920x1080x24" "$ombrel" gui "$@"; }
run --script "$work/tour.txt" --shots "$shots"
# What the render's run left, before the second start autosaves over it.
cp "$HOME/Documents/Ombrel/Autosave/temp_save.xml" "$work/rendered.xml"
[[ -f $work/saved.xml ]] || { echo "e2e-gui: File > Save As wrote nothing" >&2; exit 1; }
# The movie moves away before the second start; Find Missing Files finds it in the folder it went to.
mkdir -p "$work/moved/Day 2"
mv "$work/clips/movie.mov" "$work/moved/Day 2/"
run --project "$work/saved.xml" --script "$work/project.txt" --shots "$shots"
grep -q "moved/Day 2/movie.mov" "$HOME/Documents/Ombrel/Autosave/temp_save.xml" || { echo "e2e-gui: Find Missing Files did not relink the movie" >&2; exit 1; }
# The command line's render below reads the movie where the first run found it.
ln "$work/moved/Day 2/movie.mov" "$work/clips/movie.mov"

# The service sheets against a server on the loopback: the offer of a new version in the reply to
# the launch event, the camera panel, and a data pack that arrives slowly enough to be seen.
python3 - "$work" <<'PY' &
import http.server, io, os, random, socketserver, sys, time, zipfile
work = sys.argv[1]
buf = io.BytesIO()
with zipfile.ZipFile(buf, "w", zipfile.ZIP_STORED) as z:
    z.writestr("LogFlat/LogFlat_5207.tin", random.Random(5).randbytes(3 << 20))
pack = buf.getvalue()
class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        if not self.path.endswith("/packs/LogFlat.zip"):
            self.send_error(404)
            return
        self.send_response(200)
        self.send_header("Content-Type", "application/zip")
        self.send_header("Content-Length", str(len(pack)))
        self.end_headers()
        third = len(pack) // 3
        for part in (pack[:third], pack[third:2 * third], pack[2 * third:]):
            self.wfile.write(part)
            self.wfile.flush()
            time.sleep(2)
    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"]))
        with open(os.path.join(work, "events.txt"), "ab") as f:
            f.write(body + b"\n")
        reply = b"<version>9.9</version><user_message>Ombrel 9.9 renders faster and brings two new stocks.</user_message>"
        self.send_response(200)
        self.send_header("Content-Length", str(len(reply)))
        self.end_headers()
        self.wfile.write(reply)
    def log_message(self, *args):
        pass
server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Handler)
with open(os.path.join(work, "port.tmp"), "w") as f:
    f.write(str(server.server_address[1]))
os.rename(os.path.join(work, "port.tmp"), os.path.join(work, "port"))
server.serve_forever()
PY
server_pid=$!
trap 'kill $server_pid 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 100); do [[ -e $work/port ]] && break; sleep 0.1; done
export OMBREL_SERVER_URL=http://127.0.0.1:$(cat "$work/port")/
# The pack lands in a profile store of this run's own, beside links to the built data.
mkdir -p "$work/data/Profiles"
built=$(cd "$build/data/tessaly" && pwd)
for e in "$built"/*; do [[ $(basename "$e") == Profiles ]] || ln -s "$e" "$work/data/"; done
for e in "$built"/Profiles/*; do ln -s "$e" "$work/data/Profiles/"; done
export OMBREL_DATA_DIR=$work/data
"$ombrel" usage --usage on --updates on > /dev/null
cat > "$work/sheets.txt" <<'TOUR'
wait 1.5
shot 14-new-version
print userMessageWindow/headingText
click versionDoneButton
click tab2button
idle
click filmStripCollection 0 1
idle
print filenameText
click changeCameraButton
wait 0.3
select modelPopup 1
shot 15-camera-panel
click applyCameraButton
wait 0.3
print downloadText
shot 16-download-sheet
click downloadButton
wait 2.5
print cameraDownloadTabView
shot 17-downloading
wait 6
shot 18-download-complete
click downloadContinueButton
print cameraText
quit
TOUR
run --script "$work/sheets.txt" --shots "$shots"
grep -q "event_name=LAUNCH" "$work/events.txt" || { echo "e2e-gui: no launch event reached the server" >&2; exit 1; }
[[ -e $work/data/Profiles/LogFlat/LogFlat_5207.tin ]] || { echo "e2e-gui: the data pack was not installed" >&2; exit 1; }
unset OMBREL_SERVER_URL OMBREL_DATA_DIR
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

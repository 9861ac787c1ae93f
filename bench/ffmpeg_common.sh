# Pieces the bench scripts share (set-up of a scratch HOME and the tools, cubes, timing); sourced, not run.
#
#   bench_setup NAME BUILD_DIR   checks the tools, makes $WORK (gone at exit) with a $HOME of its own,
#                                and sets $OMBREL and $R3D_MAKE
#   write_cubes DIR              a film-like 1D curve (curve.cube) and a 64^3 colour cube (cube.cube)
#   now; fps FRAMES T0 T1; ratio A B

bench_setup() {
  local name=$1 build=$2
  OMBREL="$build/app/ombrel"
  R3D_MAKE="$build/tools/r3d-make/r3d-make"
  for tool in "$OMBREL" "$R3D_MAKE"; do
    [ -x "$tool" ] || { echo "$name: $tool is missing; build first (make build)" >&2; exit 2; }
  done
  command -v ffmpeg >/dev/null || { echo "$name: ffmpeg is not on PATH" >&2; exit 2; }
  WORK=$(mktemp -d "${TMPDIR:-/tmp}/$name.XXXXXX")
  trap 'rm -rf "$WORK"' EXIT
  export HOME="$WORK/home"  # the render leaves the user's own folders alone
  mkdir -p "$HOME"
}

write_cubes() {
  awk 'BEGIN { print "LUT_1D_SIZE 1024"; for (i = 0; i < 1024; i++) { x = i / 1023; y = x * x * (3 - 2 * x);
               printf "%.6f %.6f %.6f\n", y, y ^ 1.02, y ^ 1.05 } }' > "$1/curve.cube"
  awk 'BEGIN { n = 64; print "LUT_3D_SIZE 64";
               for (b = 0; b < n; b++) for (g = 0; g < n; g++) for (r = 0; r < n; r++) {
                 R = r / (n - 1); G = g / (n - 1); B = b / (n - 1); l = 0.3 * R + 0.59 * G + 0.11 * B;
                 printf "%.6f %.6f %.6f\n", l + 0.8 * (R - l), l + 0.8 * (G - l), l + 0.8 * (B - l) } }' > "$1/cube.cube"
}

now() { date +%s.%N; }
fps() { awk -v n="$1" -v a="$2" -v b="$3" 'BEGIN { printf "%.2f", n / (b - a) }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }

#!/usr/bin/env bash
# Starts the console in a real X server (Xvfb, with a window manager that draws captions),
# waits for the main window, and saves a screenshot of the screen.
#   screenshot.sh BIN_DIR OUT_PNG [SECONDS]
# The console runs from a fresh program directory (a copy of the executable), so the test
# neither reads nor leaves settings in the build tree. Fails when the console does not stay
# up or the picture is blank.
set -euo pipefail

if [ "${1:-}" = "--inside-x" ]; then
  # Runs inside the X server that xvfb-run started.
  bin=$2 out=$3 wait_s=$4
  openbox >/dev/null 2>&1 &
  wm=$!
  sleep 1
  QT_QPA_PLATFORM=xcb "$bin/xinglan" >"$bin/console.log" 2>&1 &
  app=$!
  sleep "$wait_s"
  if ! kill -0 "$app" 2>/dev/null; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
    kill "$wm" 2>/dev/null || true
    exit 1
  fi
  import -window root "$out"
  kill "$app" "$wm" 2>/dev/null || true
  wait 2>/dev/null || true
  exit 0
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
wait_s=${3:-4}
mkdir -p "$(dirname "$out")"
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
cp "$src_bin/xinglan" "$bin/"

xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out" "$wait_s"

# A blank or nearly blank screen has only a handful of colours.
colours=$(convert "$out" -format %k info:)
echo "screenshot $out: $colours colours"
[ "$colours" -gt 50 ]

#!/usr/bin/env bash
# Starts the simulated controller bus and the console against it.
#   tools/demo.sh BIN_DIR
# The console's settings file and station store in BIN_DIR get a port COM3,9600 and three
# stations if they do not have them yet. The simulator links its port as BIN_DIR/ports/COM3.
# The console opens at its login, which logs the administrator in by itself after five
# seconds while the default password is untouched. Closing the console stops the simulator.
#
# Without a display the console runs on a virtual X display of its own (Xvfb with a window
# manager); the script says which one, leaves a screenshot once the main window is up, and
# tells how to look at it live. Ctrl-C ends it all.
set -euo pipefail
bin=$(cd "$1" && pwd)

"$bin/xinglan-seed-demo" "$bin"

pids=()
cleanup() {
  local p
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  for p in "${pids[@]}"; do wait "$p" 2>/dev/null || true; done
}
trap cleanup EXIT
trap 'exit 130' INT TERM

mkdir -p "$bin/ports"
"$bin/xinglan-sim" --ports-dir "$bin/ports" --quiet &
pids+=($!)

for _ in $(seq 1 50); do
  [ -e "$bin/ports/COM3" ] && break
  sleep 0.1
done
[ -e "$bin/ports/COM3" ] || { echo "the simulator did not come up" >&2; exit 1; }

if [ -n "${DISPLAY:-}" ] || [ -n "${WAYLAND_DISPLAY:-}" ]; then
  "$bin/xinglan"
  exit 0
fi

# No display: a virtual one. Xvfb picks a free number and writes it to the descriptor given.
numfile=$(mktemp)
Xvfb -displayfd 5 -screen 0 1280x800x24 -nolisten tcp 5>"$numfile" >/dev/null 2>&1 &
pids+=($!)
for _ in $(seq 1 50); do
  [ -s "$numfile" ] && break
  sleep 0.1
done
num=$(tr -dc '0-9' <"$numfile")
rm -f "$numfile"
[ -n "$num" ] || { echo "Xvfb did not start" >&2; exit 1; }
export DISPLAY=":$num"
openbox >/dev/null 2>&1 &
pids+=($!)
"$bin/xinglan" &
console=$!
pids+=("$console")

shot="$bin/demo-screen.png"
cat <<MSG
No display here: the console runs on the virtual display $DISPLAY (Xvfb).
It shows the login first and logs in as administrator after five seconds.
  A screenshot now:   DISPLAY=$DISPLAY import -window root screen.png
  Watch it live:      x11vnc -display $DISPLAY -localhost -nopw   (then a VNC viewer on localhost:5900)
In ten seconds a screenshot of the main window is saved as $shot.
Ctrl-C stops the console and the simulator.
MSG
sleep 10
if import -window root "$shot" 2>/dev/null; then echo "saved $shot"; fi
wait "$console" || true

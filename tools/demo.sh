#!/usr/bin/env bash
# Starts the simulated controller bus and the console against it.
#   tools/demo.sh BIN_DIR
# The console's settings file and station store in BIN_DIR get a port COM3,9600 and three
# stations if they do not have them yet. The simulator links its port as BIN_DIR/ports/COM3.
# Closing the console stops the simulator.
set -euo pipefail
bin=$(cd "$1" && pwd)

"$bin/xinglan-seed-demo" "$bin"

mkdir -p "$bin/ports"
"$bin/xinglan-sim" --ports-dir "$bin/ports" --quiet &
sim=$!
trap 'kill "$sim" 2>/dev/null; wait "$sim" 2>/dev/null || true' EXIT

for _ in $(seq 1 50); do
  [ -e "$bin/ports/COM3" ] && break
  sleep 0.1
done
[ -e "$bin/ports/COM3" ] || { echo "the simulator did not come up" >&2; exit 1; }

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "no display: starting the console under xvfb-run" >&2
  xvfb-run -a -s "-screen 0 1280x800x24" "$bin/xinglan"
else
  "$bin/xinglan"
fi

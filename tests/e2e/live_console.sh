#!/usr/bin/env bash
# The console and the simulator as separate processes on a pseudo-terminal, in a real X server.
#   live_console.sh BIN_DIR OUT_PNG [SECONDS]
# A fresh program directory gets the demo's port and three stations; the simulator serves them
# as ports/COM3; after SECONDS the screen is photographed. Passes when the console stayed up
# and polled the stations (real-time requests answered on the wire), and the picture is not blank.
set -euo pipefail

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3 wait_s=$4
  openbox >/dev/null 2>&1 &
  wm=$!
  "$bin/xinglan-sim" --ports-dir "$bin/ports" >"$bin/sim.log" 2>&1 &
  sim=$!
  for _ in $(seq 1 50); do [ -e "$bin/ports/COM3" ] && break; sleep 0.1; done
  QT_QPA_PLATFORM=xcb "$bin/xinglan" >"$bin/console.log" 2>&1 &
  app=$!
  sleep "$wait_s"
  status=0
  if ! kill -0 "$app" 2>/dev/null; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
    status=1
  else
    import -window root "$out"
  fi
  kill "$app" 2>/dev/null || true
  kill -INT "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  kill "$wm" 2>/dev/null || true
  if [ -e "$bin/ports/COM3" ]; then
    echo "the simulator left its link behind" >&2
    status=1
  fi
  exit $status
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
wait_s=${3:-20}
mkdir -p "$(dirname "$out")"
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
cp "$src_bin/xinglan" "$src_bin/xinglan-sim" "$bin/"
mkdir -p "$bin/ports"
"$src_bin/xinglan-seed-demo" "$bin"

xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out" "$wait_s"

# The console discovered the stations and polled them: the real-time request of station 1
# went out and was answered.
if ! grep -qi '01 03 01 00 00 23' "$bin/sim.log"; then
  echo "no real-time request reached the simulator; its log:" >&2
  tail -n 40 "$bin/sim.log" >&2
  exit 1
fi
colours=$(convert "$out" -format %k info:)
echo "screenshot $out: $colours colours"
[ "$colours" -gt 50 ]

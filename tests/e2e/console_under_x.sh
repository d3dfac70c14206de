#!/usr/bin/env bash
# The console in a real X server (Xvfb, with a window manager that draws captions), photographed.
#   console_under_x.sh BIN_DIR OUT_PNG SECONDS [--with-simulator]
# The console runs from a fresh program directory (a copy of the executables), so the test
# neither reads nor leaves settings in the build tree. With --with-simulator the directory gets
# the demo's port and three stations, and xinglan-sim serves them as ports/COM3 in a process of
# its own; the test then also demands that the console polled the stations (real-time requests
# on the wire) and that the simulator removed its link when stopped.
# Fails when the console does not stay up or the picture is blank.
set -euo pipefail

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3 wait_s=$4 with_sim=$5
  # The window manager draws the caption for the picture of the console alone. The long run
  # with the simulator goes without one: openbox now and then withdraws the window there after
  # some twenty seconds, which would photograph an empty screen.
  wm=""
  if [ "$with_sim" = 0 ]; then
    openbox >/dev/null 2>&1 &
    wm=$!
  fi
  sim=""
  if [ "$with_sim" = 1 ]; then
    "$bin/xinglan-sim" --ports-dir "$bin/ports" >"$bin/sim.log" 2>&1 &
    sim=$!
    for _ in $(seq 1 50); do [ -e "$bin/ports/COM3" ] && break; sleep 0.1; done
  else
    sleep 1
  fi
  QT_QPA_PLATFORM=xcb "$bin/xinglan" >"$bin/console.log" 2>&1 &
  app=$!
  sleep "$wait_s"
  status=0
  # A process that has died but not been reaped still answers kill -0: ask for its state.
  if [ -n "$(ps -o stat= -p "$app" | grep -v Z)" ]; then
    import -window root "$out"
  else
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
    status=1
  fi
  kill "$app" 2>/dev/null || true
  if [ -n "$sim" ]; then
    kill -INT "$sim" 2>/dev/null || true
    wait "$sim" 2>/dev/null || true
    if [ -e "$bin/ports/COM3" ]; then
      echo "the simulator left its link behind" >&2
      status=1
    fi
  fi
  [ -n "$wm" ] && kill "$wm" 2>/dev/null || true
  exit $status
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
wait_s=$3
with_sim=0
[ "${4:-}" = "--with-simulator" ] && with_sim=1
mkdir -p "$(dirname "$out")"
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
cp "$src_bin/xinglan" "$bin/"
if [ "$with_sim" = 1 ]; then
  cp "$src_bin/xinglan-sim" "$bin/"
  mkdir -p "$bin/ports"
  "$src_bin/xinglan-seed-demo" "$bin"
fi

xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out" "$wait_s" "$with_sim"

if [ "$with_sim" = 1 ] && ! grep -qi '01 03 01 00 00 23' "$bin/sim.log"; then
  echo "no real-time request reached the simulator; its log:" >&2
  tail -n 40 "$bin/sim.log" >&2
  exit 1
fi
# A blank or nearly blank screen has only a handful of colours.
colours=$(convert "$out" -format %k info:)
echo "screenshot $out: $colours colours"
[ "$colours" -gt 50 ]

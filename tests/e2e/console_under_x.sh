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

source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3 wait_s=$4 with_sim=$5
  # The window manager draws the caption for the picture of the console alone. The long run
  # with the simulator goes without one: openbox now and then withdraws the window there after
  # some twenty seconds, which would photograph an empty screen.
  if [ "$with_sim" = 1 ]; then start_session "$bin" --no-wm; else start_session "$bin"; fi
  sleep "$wait_s"
  console_alive && import -window root "$out"
  status=0
  end_session || status=1
  if [ "$with_sim" = 1 ] && [ -e "$bin/ports/COM3" ]; then
    echo "the simulator left its link behind" >&2
    status=1
  fi
  exit $status
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
wait_s=$3
with_sim=0
[ "${4:-}" = "--with-simulator" ] && with_sim=1
mkdir -p "$(dirname "$out")"
if [ "$with_sim" = 1 ]; then
  demo_program_dir "$src_bin"
else
  bin=$(mktemp -d)
  trap 'rm -rf "$bin"' EXIT
  cp "$src_bin/xinglan" "$bin/"
fi

xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out" "$wait_s" "$with_sim"

if [ "$with_sim" = 1 ] && ! grep -qi '01 03 01 00 00 23' "$bin/sim.log"; then
  echo "no real-time request reached the simulator; its log:" >&2
  tail -n 40 "$bin/sim.log" >&2
  exit 1
fi
check_picture "$out"

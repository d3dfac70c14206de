#!/usr/bin/env bash
# The real-time and the daily monitor in a real X server (Xvfb with openbox), fed by xinglan-sim,
# photographed twice each, seconds apart.
#   monitors_screenshot.sh BIN_DIR OUT_DIR
# The console runs from a fresh program directory with the demo's port and stations. After the
# discovery a station is chosen in the real-time screen by keyboard (a click into its station
# box, then the Down arrow), the automatic start is awaited, and the screens are taken:
#   realtime-1.png, realtime-2.png   the real-time monitor, a few seconds apart
#   daily-1.png, daily-2.png         the daily monitor (opened from the toolbar), the same
# Input goes through the XTEST extension (x_input.py).
# Fails when the console does not stay up or a picture is nearly blank.
set -euo pipefail

# Positions inside the main window (its client area) of the toolbar buttons "实时监测" and
# "日常监控"; the window's own place comes from xwininfo. The real-time screen, brought to the
# front by its button, gives the keyboard focus to its station box.
REALTIME_DX=165
REALTIME_DY=53
DAILY_DX=230
DAILY_DY=53

source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin"
  status=0
  # The main window can take a while to show under Xvfb; then the discovery must be over.
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 10
  # The choice: the real-time screen to the front (its station box takes the focus) and the
  # Down arrow. The window manager may still
  # move the window, so its place is read anew for each try, and a try counts when the device
  # information request of the choice (a fourth one after the discovery's three) reached the
  # simulator.
  for _ in 1 2 3 4 5; do
    window_origin "星澜站点监控软件"
    xsend click $((wx + REALTIME_DX)) $((wy + REALTIME_DY))
    sleep 0.5
    xsend key Down
    sleep 1.5
    [ "$(grep -c '00 0A 00 11' "$bin/sim.log")" -gt 3 ] && break
    sleep 2
  done
  if [ "$(grep -c '00 0A 00 11' "$bin/sim.log")" -le 3 ]; then
    echo "the station choice did not reach the simulator" >&2
    status=1
  fi
  sleep 6  # the choice's own requests, then the automatic start within five seconds
  import -window root "$out/realtime-1.png"
  sleep 4
  import -window root "$out/realtime-2.png"
  xsend click $((wx + DAILY_DX)) $((wy + DAILY_DY))
  sleep 2
  import -window root "$out/daily-1.png"
  sleep 20  # the next scan round adds a point to the curves
  import -window root "$out/daily-2.png"
  end_session || status=1
  exit $status
fi

screenshot_main "$0" "$1" "$2"

#!/usr/bin/env bash
# The control parameter screen in a real X server (Xvfb with openbox), after a read from
# xinglan-sim, photographed (run by hand).
#   parameter_screenshot.sh BIN_DIR OUT_DIR
# The console runs from a fresh program directory with the demo's port and stations. After the
# discovery the screen is opened from the menu (a click on "参数(P)", Down, Down, Return), a station is
# chosen in its station box (Down), "读取" is clicked, and the screen is taken:
#   parameter-chosen.png   after the station choice (rated values, the chained read lost)
#   parameter-read.png     after "读取"
# Input goes through the XTEST extension (x_input.py).
set -euo pipefail

# Position of the menu "参数(P)" inside the main window.
MENU_DX=221
MENU_DY=11
# Position of "读取" inside the screen's window (from its upper-left corner).
READ_DX=${READ_DX:-716}
READ_DY=${READ_DY:-466}

source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin"
  status=0
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 10  # the discovery fills the station lists
  for _ in 1 2 3; do
    click_in "$MAIN_WINDOW" $MENU_DX $MENU_DY
    sleep 0.7
    keys Down Down Return  # "设备参数", "控制参数"
    sleep 1.1
    window_up "控制参数" && break
    xsend key Escape
    sleep 0.5
  done
  if ! window_up "控制参数"; then
    echo "the control parameter screen did not open" >&2
    status=1
  fi
  xsend key Down  # the station box has the focus: the first station
  sleep 3
  import -window root "$out/parameter-chosen.png"
  xwininfo -name "控制参数" >"$out/geometry.txt" || true
  if [ "$READ_DX" -gt 0 ]; then
    click_in "控制参数" "$READ_DX" "$READ_DY"
    sleep 3
    import -window root "$out/parameter-read.png"
  fi
  end_session || status=1
  exit $status
fi

screenshot_main "$0" "$1" "$2"

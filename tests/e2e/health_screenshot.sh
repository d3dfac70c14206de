#!/usr/bin/env bash
# The link health and the wire view in a real X server (Xvfb with openbox), fed by xinglan-sim,
# run by hand:
#   health_screenshot.sh BIN_DIR OUT_DIR
# The demo's three stations on COM3. After the discovery station 2 falls silent; two rounds
# later its row in the global monitor is stale:
#   global-stale.png   the global monitor (health columns, status bar) with station 2 stale
#   wire-view.png      the wire view (View > 通讯记录) after a few CRC faults of station 1 and
#                      exception replies of station 3
# Input goes through the XTEST extension (libXtst) (x_input.py).
set -euo pipefail

# The toolbar button "全局监控" inside the main window's client area.
GLOBAL_DX=295
GLOBAL_DY=53
# A cell of the global monitor's first row, and the node of station 2 in the tree.
TABLE_DX=300
TABLE_DY=200
NODE2_DX=120
NODE2_DY=185

source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin" --commands
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 12                          # discovery and the first real-time pass
  echo "COM3 2 silent=yes" >&3
  click_in "$MAIN_WINDOW" $GLOBAL_DX $GLOBAL_DY
  sleep 65                          # two rounds of 19 s and more go by without station 2
  click_in "$MAIN_WINDOW" $GLOBAL_DX $GLOBAL_DY
  sleep 2
  # A click into the table and End: the table scrolls to its last columns, the health ones.
  click_in "$MAIN_WINDOW" $TABLE_DX $TABLE_DY
  sleep 0.5
  xsend key End
  sleep 0.5
  # The mouse rests on station 2 in the tree: its tooltip.
  xsend move $((wx + NODE2_DX)) $((wy + NODE2_DY))
  sleep 2
  import -window root "$out/global-stale.png"
  # The wire view from the View menu (its last item), then a round with faults.
  xsend key Alt_L+v
  sleep 0.8
  keys Up Return
  echo "COM3 1 bad_crc=yes" >&3
  echo "COM3 3 exception=2" >&3
  sleep 22
  echo "COM3 1 faults=none" >&3
  echo "COM3 3 faults=none" >&3
  sleep 3
  import -window root "$out/wire-view.png"
  end_session
  exit
fi

screenshot_main "$0" "$1" "$2"

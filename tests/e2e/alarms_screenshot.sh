#!/usr/bin/env bash
# The alarm screen in a real X server (Xvfb with openbox), fed by xinglan-sim, run by hand:
#   alarms_screenshot.sh BIN_DIR OUT_DIR
# The demo's three stations on COM3. After the discovery station 1 reports over-discharge and
# station 2 falls silent; when the silence has been counted, 监控 > 告警记录 is opened:
#   alarms.png   the screen with both alarms open, the red count in the status bar
# Input goes through the XTEST extension (libXtst) (x_input.py).
set -euo pipefail
source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin" --commands
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 12                          # discovery and the first real-time pass
  echo "COM3 1 flags_0121=1" >&3
  echo "COM3 2 silent=yes" >&3
  sleep 75                          # three rounds without station 2
  xsend key Alt_L+m
  sleep 0.8
  keys Up Return
  sleep 3
  import -window root "$out/alarms.png"
  end_session
  exit
fi

screenshot_main "$0" "$1" "$2"

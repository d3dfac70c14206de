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
  openbox >/dev/null 2>&1 &
  wm=$!
  mkfifo "$bin/sim.in"
  "$bin/xinglan-sim" --ports-dir "$bin/ports" <"$bin/sim.in" >"$bin/sim.log" 2>&1 &
  sim=$!
  exec 3>"$bin/sim.in"
  for _ in $(seq 1 50); do [ -e "$bin/ports/COM3" ] && break; sleep 0.1; done
  QT_QPA_PLATFORM=xcb "$bin/xinglan" >"$bin/console.log" 2>&1 &
  app=$!
  for _ in $(seq 1 60); do
    xwininfo -name "星澜站点监控软件" >/dev/null 2>&1 && break
    sleep 1
  done
  sleep 12                          # discovery and the first real-time pass
  echo "COM3 1 flags_0121=1" >&3
  echo "COM3 2 silent=yes" >&3
  sleep 75                          # three rounds without station 2
  xsend key Alt_L+m
  sleep 0.8
  xsend key Up
  sleep 0.3
  xsend key Return
  sleep 3
  import -window root "$out/alarms.png"
  status=0
  if ! kill -0 "$app" 2>/dev/null; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
    status=1
  fi
  kill "$app" 2>/dev/null || true
  exec 3>&-
  kill -INT "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  kill "$wm" 2>/dev/null || true
  exit $status
fi

out=$(realpath -m "$2")
mkdir -p "$out"
demo_program_dir "$1"
xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out"
cp "$bin/sim.log" "$bin/console.log" "$out/"
check_picture "$out"/*.png

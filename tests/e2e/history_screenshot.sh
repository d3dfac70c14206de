#!/usr/bin/env bash
# The history screen in a real X server (Xvfb with openbox), fed by xinglan-sim: thirty days
# read, then the curve and the bars of one item, photographed.
#   history_screenshot.sh BIN_DIR OUT_DIR
# The console runs from a fresh program directory with the demo's port and stations. Input
# goes through the XTEST extension (libXtst), at fixed places in the main window:
#   history.png   the screen after the reading of 30 days
#   curve.png     the chart window with the curve of "蓄电池最低电压(V)"
#   bars.png      the chart window with the bars of the same item
#   reading.png   the screen while the reading runs: the progress box in the days box's place
#   export.png    the file dialog of "导出到excel表格", in the program directory, in Chinese
# Fails when the console does not stay up, when no history request reached the simulator, or
# when a picture is nearly blank.
set -euo pipefail

# Places inside the main window's client area (pixels).
HISTORY_DX=${HISTORY_DX:-390}   # toolbar button "历史监控"
HISTORY_DY=${HISTORY_DY:-53}
COMBO1_DX=${COMBO1_DX:-330}     # station box of the history screen
COMBO1_DY=${COMBO1_DY:-132}
COMBO2_DX=${COMBO2_DX:-360}     # days box
COMBO2_DY=${COMBO2_DY:-165}
READ_DX=${READ_DX:-470}         # "读取"
READ_DY=${READ_DY:-165}
COMBO3_DX=${COMBO3_DX:-640}     # item box
COMBO3_DY=${COMBO3_DY:-165}
CURVE_DX=${CURVE_DX:-800}       # "曲线"
CURVE_DY=${CURVE_DY:-165}
BARS_DX=${BARS_DX:-885}         # "柱状图"
BARS_DY=${BARS_DY:-165}
EXPORT_DX=${EXPORT_DX:-1000}    # "导出到excel表格"
EXPORT_DY=${EXPORT_DY:-165}

source "$(dirname "$0")/x_lib.sh"

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin"
  status=0
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 10  # the discovery
  window_origin "星澜站点监控软件"
  at() { echo $((wx + $1)) $((wy + $2)); }
  xsend click $(at $HISTORY_DX $HISTORY_DY)
  sleep 1
  xsend click $(at $COMBO1_DX $COMBO1_DY)
  sleep 0.5
  xsend key Down
  sleep 1
  xsend click $(at $COMBO2_DX $COMBO2_DY)
  xsend key 3 0
  sleep 0.3
  xsend click $(at $READ_DX $READ_DY)
  sleep 1.5
  import -window root "$out/reading.png"
  sleep 4.5  # 31 ticks of 150 ms
  xsend click $(at $COMBO3_DX $COMBO3_DY)
  sleep 0.5
  xsend key Down Return
  sleep 0.5
  import -window root "$out/history.png"
  # The chart window is modal: each picture waits for it; a click into it and Escape close it.
  chart() {
    xsend click $(at $1 $2)
    for _ in $(seq 1 40); do xwininfo -name "图标" 2>/dev/null | grep -q IsViewable && break; sleep 0.25; done
    sleep 2
    import -window root "$out/$3.png"
    local g cx cy
    g=$(xwininfo -name "图标")
    cx=$(( $(echo "$g" | sed -n 's/.*Absolute upper-left X: *//p') + 100 ))
    cy=$(( $(echo "$g" | sed -n 's/.*Absolute upper-left Y: *//p') + 100 ))
    xsend click $cx $cy
    sleep 0.3
    xsend key Escape
    for _ in $(seq 1 20); do xwininfo -name "图标" 2>/dev/null | grep -q IsViewable || break; sleep 0.25; done
    sleep 0.5
  }
  chart $CURVE_DX $CURVE_DY curve
  chart $BARS_DX $BARS_DY bars
  xsend click $(at $EXPORT_DX $EXPORT_DY)
  for _ in $(seq 1 40); do xwininfo -name "导出到excel表格" 2>/dev/null | grep -q IsViewable && break; sleep 0.25; done
  sleep 1.5
  import -window root "$out/export.png"
  xsend key Escape
  sleep 0.5
  if [ "$(grep -c '03 F0' "$bin/sim.log")" -lt 31 ]; then
    echo "fewer than 31 history requests reached the simulator" >&2
    status=1
  fi
  end_session || status=1
  exit $status
fi

screenshot_main "$0" "$1" "$2"

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
  echo "COM3 2 silent=yes" >&3
  geometry=$(xwininfo -name "星澜站点监控软件")
  wx=$(echo "$geometry" | sed -n 's/.*Absolute upper-left X: *//p')
  wy=$(echo "$geometry" | sed -n 's/.*Absolute upper-left Y: *//p')
  xsend click $((wx + GLOBAL_DX)) $((wy + GLOBAL_DY))
  sleep 65                          # two rounds of 19 s and more go by without station 2
  xsend click $((wx + GLOBAL_DX)) $((wy + GLOBAL_DY))
  sleep 2
  # A click into the table and End: the table scrolls to its last columns, the health ones.
  xsend click $((wx + TABLE_DX)) $((wy + TABLE_DY))
  sleep 0.5
  xsend key End
  sleep 0.5
  # The mouse rests on station 2 in the tree: its tooltip.
  python3 - $((wx + NODE2_DX)) $((wy + NODE2_DY)) <<'PY'
import ctypes, sys
x11 = ctypes.CDLL("libX11.so.6"); xtst = ctypes.CDLL("libXtst.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
xtst.XTestFakeMotionEvent.argtypes = None
d = ctypes.c_void_p(x11.XOpenDisplay(None))
xtst.XTestFakeMotionEvent(d, -1, int(sys.argv[1]), int(sys.argv[2]), ctypes.c_ulong(0))
x11.XFlush(d); x11.XCloseDisplay(d)
PY
  sleep 2
  import -window root "$out/global-stale.png"
  # The wire view from the View menu (its last item), then a round with faults.
  python3 - <<'PY'
import ctypes, time
x11 = ctypes.CDLL("libX11.so.6"); xtst = ctypes.CDLL("libXtst.so.6")
x11.XOpenDisplay.restype = ctypes.c_void_p
x11.XKeysymToKeycode.argtypes = [ctypes.c_void_p, ctypes.c_ulong]
x11.XStringToKeysym.restype = ctypes.c_ulong
xtst.XTestFakeKeyEvent.argtypes = None
d = ctypes.c_void_p(x11.XOpenDisplay(None))
def key(name, down):
    xtst.XTestFakeKeyEvent(d, x11.XKeysymToKeycode(d, x11.XStringToKeysym(name.encode())), down, ctypes.c_ulong(0)); x11.XFlush(d)
key("Alt_L", 1); key("v", 1); key("v", 0); key("Alt_L", 0); time.sleep(0.8)
for k in ("Up", "Return"):
    key(k, 1); key(k, 0); time.sleep(0.5)
x11.XCloseDisplay(d)
PY
  echo "COM3 1 bad_crc=yes" >&3
  echo "COM3 3 exception=2" >&3
  sleep 22
  echo "COM3 1 faults=none" >&3
  echo "COM3 3 faults=none" >&3
  sleep 3
  import -window root "$out/wire-view.png"
  if ! kill -0 "$app" 2>/dev/null; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
    status=1
  fi
  kill "$app" 2>/dev/null || true
  exec 3>&-
  wait "$sim" 2>/dev/null || true
  kill "$wm" 2>/dev/null || true
  exit 0
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
mkdir -p "$out"
bin=$(mktemp -d)
trap 'rm -rf "$bin"' EXIT
cp "$src_bin/xinglan" "$src_bin/xinglan-sim" "$bin/"
mkdir -p "$bin/ports"
"$src_bin/xinglan-seed-demo" "$bin"

xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out"

cp "$bin/sim.log" "$bin/console.log" "$out/"
for png in "$out"/*.png; do
  colours=$(convert "$png" -format %k info:)
  echo "screenshot $png: $colours colours"
  [ "$colours" -gt 50 ]
done

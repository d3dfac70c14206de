# What the real-window checks of the console share; sourced by the scripts beside it.

E2E_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# xsend click X Y | xsend key KEY [KEY...] (a KEY may be a chord, "Alt_L+p"): operator input
# through XTEST.
xsend() { python3 "$E2E_DIR/x_input.py" "$@"; }

# window_origin TITLE: the upper-left corner of the window's client area in wx, wy (empty when
# there is no such window).
window_origin() {
  local geometry
  geometry=$(xwininfo -name "$1" 2>/dev/null) || geometry=""
  wx=$(sed -n 's/.*Absolute upper-left X: *//p' <<<"$geometry")
  wy=$(sed -n 's/.*Absolute upper-left Y: *//p' <<<"$geometry")
}

# check_picture PNG...: fails when a picture is blank or nearly so (a handful of colours).
check_picture() {
  local png colours
  for png in "$@"; do
    colours=$(convert "$png" -format %k info:)
    echo "screenshot $png: $colours colours"
    [ "$colours" -gt 50 ] || return 1
  done
}

# demo_program_dir SRC_BIN: a fresh program directory in `bin` (removed at exit) with the
# console, the simulator and the demo's port and three stations.
demo_program_dir() {
  local src
  src=$(cd "$1" && pwd)
  bin=$(mktemp -d)
  trap 'rm -rf "$bin"' EXIT
  cp "$src/xinglan" "$src/xinglan-sim" "$bin/"
  mkdir -p "$bin/ports"
  "$src/xinglan-seed-demo" "$bin"
}

# start_session BIN: inside the X server, the window manager (pid in wm), the simulator on
# ports/COM3 (sim, its log sim.log) and the console (app, console.log).
start_session() {
  local dir=$1
  openbox >/dev/null 2>&1 &
  wm=$!
  "$dir/xinglan-sim" --ports-dir "$dir/ports" >"$dir/sim.log" 2>&1 &
  sim=$!
  for _ in $(seq 1 50); do [ -e "$dir/ports/COM3" ] && break; sleep 0.1; done
  QT_QPA_PLATFORM=xcb "$dir/xinglan" >"$dir/console.log" 2>&1 &
  app=$!
}

# end_session: stops what start_session started; fails when the console had exited early.
end_session() {
  local alive=0
  kill -0 "$app" 2>/dev/null && alive=1
  if [ $alive = 0 ]; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
  fi
  kill "$app" 2>/dev/null || true
  kill -INT "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  kill "$wm" 2>/dev/null || true
  [ $alive = 1 ]
}

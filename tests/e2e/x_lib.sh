# What the real-window checks of the console share; sourced by the scripts beside it. A script
# runs twice: outside, it prepares a program directory and starts itself with --inside-x under
# Xvfb (run_under_x); inside, it starts the session, drives the console and photographs it.

E2E_DIR=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
MAIN_WINDOW="星澜站点监控软件"

# xsend click X Y | xsend move X Y | xsend key KEY [KEY...] (a KEY may be a chord, "Alt_L+p"):
# operator input through XTEST.
xsend() { python3 "$E2E_DIR/x_input.py" "$@"; }

# keys KEY...: keys one after another, with a pause for the screens after each.
keys() { for k in "$@"; do xsend key "$k"; sleep 0.4; done; }

window_up() { xwininfo -name "$1" >/dev/null 2>&1; }

# wait_for NAME SECONDS: true as soon as a window of that name exists.
wait_for() {
  local i
  for i in $(seq 1 $(($2 * 10))); do
    window_up "$1" && return 0
    sleep 0.1
  done
  return 1
}

# window_origin TITLE: the upper-left corner of the window's client area in wx, wy (empty when
# there is no such window).
window_origin() {
  local geometry
  geometry=$(xwininfo -name "$1" 2>/dev/null) || geometry=""
  wx=$(sed -n 's/.*Absolute upper-left X: *//p' <<<"$geometry")
  wy=$(sed -n 's/.*Absolute upper-left Y: *//p' <<<"$geometry")
}

# click_in TITLE DX DY: a click DX, DY pixels inside the window's client area.
click_in() {
  window_origin "$1"
  xsend click $((wx + $2)) $((wy + $3))
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

# run_under_x SCRIPT OUT [ARG...]: runs SCRIPT --inside-x "$bin" OUT ARG... in a fresh Xvfb,
# then keeps the simulator's and the console's logs beside the pictures.
run_under_x() {
  local script=$1 out=$2 status=0
  shift 2
  xvfb-run -a -s "-screen 0 1280x800x24" "$script" --inside-x "$bin" "$out" "$@" || status=$?
  cp "$bin/sim.log" "$bin/console.log" "$out/" 2>/dev/null || true
  return $status
}

# screenshot_main SCRIPT SRC_BIN OUT: the outside part of a screenshot script: the demo's
# program directory, the run under X, every picture checked.
screenshot_main() {
  local out status=0
  out=$(realpath -m "$3")
  mkdir -p "$out"
  demo_program_dir "$2"
  run_under_x "$1" "$out" || status=$?
  check_picture "$out"/*.png || status=1
  return $status
}

# start_session BIN [--commands] [--no-wm]: inside the X server, the window manager (pid in
# wm), the simulator on ports/COM3 (sim, its log sim.log) and the console (app, console.log).
# With --commands the simulator reads its commands from fd 3 ("COM3 2 silent=yes" >&3). The
# console starts at once without the simulator when BIN has no ports/.
start_session() {
  local dir=$1 commands=0 with_wm=1
  shift
  for a in "$@"; do
    [ "$a" = --commands ] && commands=1
    [ "$a" = --no-wm ] && with_wm=0
  done
  wm="" sim=""
  if [ $with_wm = 1 ]; then
    openbox >/dev/null 2>&1 &
    wm=$!
  fi
  if [ -d "$dir/ports" ]; then
    if [ $commands = 1 ]; then
      mkfifo "$dir/sim.in"
      "$dir/xinglan-sim" --ports-dir "$dir/ports" <"$dir/sim.in" >"$dir/sim.log" 2>&1 &
      sim=$!
      exec 3>"$dir/sim.in"
    else
      "$dir/xinglan-sim" --ports-dir "$dir/ports" >"$dir/sim.log" 2>&1 &
      sim=$!
    fi
    for _ in $(seq 1 50); do [ -e "$dir/ports/COM3" ] && break; sleep 0.1; done
  else
    sleep 1
  fi
  QT_QPA_PLATFORM=xcb "$dir/xinglan" >"$dir/console.log" 2>&1 &
  app=$!
}

# console_alive: the console still runs (a process that has died but not been reaped still
# answers kill -0, so its state is asked for).
console_alive() { [ -n "$(ps -o stat= -p "$app" | grep -v Z)" ]; }

# end_session: stops what start_session started; fails when the console had exited early.
end_session() {
  local alive=0
  console_alive && alive=1
  if [ $alive = 0 ]; then
    echo "the console exited early:" >&2
    cat "$bin/console.log" >&2
  fi
  kill "$app" 2>/dev/null || true
  { exec 3>&-; } 2>/dev/null || true
  if [ -n "$sim" ]; then
    kill -INT "$sim" 2>/dev/null || true
    wait "$sim" 2>/dev/null || true
  fi
  [ -z "$wm" ] || kill "$wm" 2>/dev/null || true
  [ $alive = 1 ]
}

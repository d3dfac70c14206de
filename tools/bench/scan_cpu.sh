#!/usr/bin/env bash
# The console's CPU and memory with 100 stations on 4 lines of xinglan-sim (pseudo-terminals), in
# a real X server, at the one-request-a-second pace and with the fast scan. Run by hand:
#   scan_cpu.sh BIN_DIR [SECONDS] [PACES]      PACES: "paced fast" (default), or one of them
# For each pace: a fresh program directory seeded by bench_scan --seed, the simulator with the
# same site, the console (it logs in by itself) and beside it a bare Qt Widgets window
# (bench_bare_window) in the same X server; after the warm-up (discovery and the first rounds)
# the console's own user and system time over SECONDS (default 60) of wall time, as a share of
# one core, then the resident memory of both and their ratio. Process CPU time, not load: other
# work on the machine does not count, but a busy machine stretches the warm-up.
set -euo pipefail

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 secs=$3 warm=$4
  "$bin/xinglan-sim" --config "$bin/bus.conf" --ports-dir "$bin/ports" --quiet >"$bin/sim.log" 2>&1 &
  sim=$!
  for _ in $(seq 1 100); do [ -e "$bin/ports/COM6" ] && break; sleep 0.1; done
  QT_QPA_PLATFORM=xcb "$bin/xinglan" >"$bin/console.log" 2>&1 &
  app=$!
  QT_QPA_PLATFORM=xcb "$bin/bench_bare_window" >/dev/null 2>&1 &
  bare=$!
  sleep "$warm"
  hz=$(getconf CLK_TCK)
  ticks() { awk '{print $14 + $15}' "/proc/$app/stat"; }
  t0=$(ticks)
  sleep "$secs"
  t1=$(ticks)
  rss() { awk '/^VmRSS/ {print $2}' "/proc/$1/status"; }
  ra=$(rss "$app") rb=$(rss "$bare")
  awk -v a="$t0" -v b="$t1" -v hz="$hz" -v s="$secs" -v ra="$ra" -v rb="$rb" \
    'BEGIN { printf "cpu %.2f %% of a core   rss console %.1f MB  bare window %.1f MB  ratio %.2f\n", 100 * (b - a) / hz / s, ra / 1024, rb / 1024, ra / rb }'
  kill "$app" "$bare" 2>/dev/null || true
  kill -INT "$sim" 2>/dev/null || true
  wait "$sim" 2>/dev/null || true
  exit 0
fi

src_bin=$(cd "$1" && pwd)
secs=${2:-60}
for pace in ${3:-paced fast}; do
  bin=$(mktemp -d)
  cp "$src_bin/xinglan" "$src_bin/xinglan-sim" "$src_bin/bench_bare_window" "$bin/"
  mkdir -p "$bin/ports"
  QT_QPA_PLATFORM=offscreen "$src_bin/bench_scan" --seed "$bin" $([ $pace = fast ] && echo fast)
  # The paced scan needs about 215 s for its first full round; the fast one about 20 s.
  warm=${WARM:-$([ $pace = fast ] && echo 40 || echo 240)}
  printf '%-7s ' "$pace"
  xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$secs" "$warm"
  rm -rf "$bin"
done

#!/usr/bin/env bash
# The site agent with no display: `xinglan --headless --dir D` against xinglan-sim.
#   agent_headless.sh BIN_DIR
# D holds the settings (one port, read interval 1 s, automatic saving every second, the one
# station marked) and a store with that one station; the simulator answers at address 1. With
# DISPLAY unset and the xcb platform asked for (which could not start without a display), the
# agent must record lines of real readings and publish to a local mosquitto, end within 5 s of
# SIGTERM with status 0 after publishing its status "offline", and leave only whole lines (CR LF, as many fields as the heading). A directory without a settings file,
# and an unknown option, give status 2 and one line on standard error.
set -euo pipefail

src_bin=$(cd "$1" && pwd)
dir=$(mktemp -d)
sim=
agent=
broker=
cleanup() {
  [ -n "$broker" ] && kill "$broker" 2>/dev/null || true
  [ -n "$agent" ] && kill -KILL "$agent" 2>/dev/null || true
  [ -n "$sim" ] && kill -INT "$sim" 2>/dev/null || true
  rm -rf "$dir"
}
trap cleanup EXIT
fail() {
  echo "$*" >&2
  echo "--- agent output" >&2
  cat "$dir/agent.out" "$dir/agent.err" >&2 2>/dev/null || true
  exit 1
}
run_agent() { env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb "$src_bin/xinglan" --headless --dir "$@"; }

# Nothing to read: status 2 and one line.
mkdir "$dir/empty"
set +e
run_agent "$dir/empty" >"$dir/agent.out" 2>"$dir/agent.err"
status=$?
set -e
[ $status = 2 ] || fail "an empty directory gave status $status, not 2"
[ "$(wc -l <"$dir/agent.err")" = 1 ] || fail "an empty directory did not give one line"
# An option the agent does not know is refused the same way; --help says what it takes.
set +e
run_agent "$dir/empty" --bogus >/dev/null 2>&1
status=$?
set -e
[ $status = 2 ] || fail "an unknown option gave status $status, not 2"
"$src_bin/xinglan" --help | grep -q -- '--headless' || fail "--help does not describe --headless"

site="$dir/site"
mkdir -p "$site/ports" "$site/data"
"$src_bin/xinglan-seed-demo" "$site"
python3 - "$site/MSCONS.DLL" <<'EOF'
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
db.execute("delete from Station where DeviceID <> '1'")
db.commit()
EOF
station=$(python3 -c "import sqlite3,sys; print(sqlite3.connect(sys.argv[1]).execute('select StationName from Station').fetchone()[0])" "$site/MSCONS.DLL")
printf '[Maintenance Record]\r\nRead Interval=1\r\nAuto Saving=1\r\nFile Path=%s\r\nSave Interval H=0\r\nSave Interval M=0\r\n%s=-1\r\n' \
  "$site/data" "$station" | iconv -f UTF-8 -t GBK >>"$site/MSCON.DLL"
# A local broker that logs what it receives; the agent publishes to it.
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
mosquitto -v -p "$port" >"$dir/broker.log" 2>&1 &
broker=$!
printf '[MQTT]\r\nEnabled=1\r\nHost=127.0.0.1\r\nPort=%s\r\nClient Id=agent-e2e\r\n' "$port" >>"$site/MSCON.DLL"
printf '[bus]\nspeed = 1\n[station]\nport = COM3,9600\naddress = 1\n' >"$dir/bus.conf"

"$src_bin/xinglan-sim" --config "$dir/bus.conf" --ports-dir "$site/ports" --quiet >"$dir/sim.log" 2>&1 &
sim=$!
for _ in $(seq 1 50); do [ -e "$site/ports/COM3" ] && break; sleep 0.1; done
[ -e "$site/ports/COM3" ] || fail "the simulator made no port"

# exec: the pid is the agent's own, not that of a subshell around it.
(exec env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM=xcb "$src_bin/xinglan" --headless --dir "$site") \
  >"$dir/agent.out" 2>"$dir/agent.err" &
agent=$!
csv="$site/data/$station/1.csv"
# The first lines are the zero reading; the battery voltage (field 8) shows the first reply.
for _ in $(seq 1 60); do
  [ -s "$csv" ] && [ "$(tail -n 1 "$csv" | cut -d, -f8)" != "0.0" ] && break
  kill -0 "$agent" 2>/dev/null || fail "the agent ended by itself"
  sleep 0.5
done
[ -s "$csv" ] || fail "no file of the marked station"
[ "$(tail -n 1 "$csv" | cut -d, -f8)" != "0.0" ] || fail "no line with a reading"

kill -TERM "$agent"
ended=0
for _ in $(seq 1 50); do
  kill -0 "$agent" 2>/dev/null || { ended=1; break; }
  sleep 0.1
done
[ $ended = 1 ] || fail "the agent did not end within 5 s of SIGTERM"
set +e
wait "$agent"
status=$?
set -e
agent=
[ $status = 0 ] || fail "the agent ended with status $status"

# Whole lines only: each ends in CR LF and has the heading's number of fields.
fields=$(head -n 1 "$csv" | tr -cd , | wc -c)
python3 - "$csv" "$fields" <<'EOF' || fail "a line of the file is not whole"
import sys
data = open(sys.argv[1], 'rb').read()
assert data.endswith(b'\r\n'), 'the file ends inside a line'
for line in data[:-2].split(b'\r\n'):
    assert line.count(b',') == int(sys.argv[2]), line
EOF
# The site went offline for the broker: its status "offline" (7 bytes).
grep -q "Received PUBLISH from agent-e2e .*'xinglan/agent-e2e/status', ... (7 bytes)" "$dir/broker.log" ||
  fail "the broker did not hear the status offline"
grep -q '^[0-9]\{4\}-[0-9][0-9]-[0-9][0-9] [0-9][0-9]:[0-9][0-9]:[0-9][0-9] 刷新所有站点成功$' "$dir/agent.out" ||
  fail "the message lines are not on standard output with their time"
echo "agent: $(($(wc -l <"$csv") - 1)) lines recorded, status $status after SIGTERM"

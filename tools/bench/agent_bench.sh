#!/usr/bin/env bash
# The site agent's memory and processor time at a site of many stations.
#   agent_bench.sh BIN_DIR [STATIONS [SECONDS [PER_LINE]]]
# Builds a program directory with STATIONS stations (default 100) spread over four ports
# (COM3..COM6 at 9600 baud), all marked for the recorder (a line a minute each), read interval
# 10 s; starts xinglan-sim with the same stations and `xinglan --headless` with no display;
# after SECONDS (default 60) prints the agent's peak and present resident memory and the
# processor time it used, then stops both. PER_LINE=1 turns the fast scan on.
set -euo pipefail

bin=$(cd "$1" && pwd)
count=${2:-100}
seconds=${3:-60}
perLine=${4:-0}
dir=$(mktemp -d)
sim=
agent=
trap '[ -n "$agent" ] && kill "$agent" 2>/dev/null; [ -n "$sim" ] && kill -INT "$sim" 2>/dev/null; rm -rf "$dir"' EXIT
mkdir -p "$dir/ports" "$dir/data"

python3 - "$dir" "$count" "$perLine" <<'EOF'
import sqlite3, sys
d, count, per_line = sys.argv[1], int(sys.argv[2]), sys.argv[3]
ports = ['COM%d,9600' % n for n in range(3, 7)]
db = sqlite3.connect(d + '/MSCONS.DLL')
cols = 'ArraysType,BatteryType,Capacity,DeviceID,LoadType,PeakPower,Port,Power,Remarks,StationName,Vmp,Voc,Voltage'
db.execute('create table Station (%s)' % ','.join(c + ' text collate nocase' for c in cols.split(',')))
bus = ['[bus]', 'speed = 1']
ini = ['[COMS]', 'ListCount=%d' % len(ports)] + ['%d=%s' % (i + 1, p) for i, p in enumerate(ports)]
ini += ['[Scan]', 'Per Line=%s' % per_line]
ini += ['[Maintenance Record]', 'Read Interval=10', 'Auto Saving=1', 'File Path=' + d + '/data',
        'Save Interval H=0', 'Save Interval M=1']
for i in range(count):
    port, address, name = ports[i % len(ports)], i // len(ports) + 1, 'Station%03d' % (i + 1)
    db.execute('insert into Station (%s) values (%s)' % (cols, ','.join('?' * 13)),
               ('c-Si', 'Gel', '200', str(address), 'DC', '600', port, '60', '', name, '', '', '24'))
    bus += ['[station]', 'port = ' + port, 'address = %d' % address]
    ini.append(name + '=-1')
db.commit()
open(d + '/MSCON.DLL', 'wb').write(('\r\n'.join(ini) + '\r\n').encode('gbk'))
open(d + '/bus.conf', 'w').write('\n'.join(bus) + '\n')
EOF

"$bin/xinglan-sim" --config "$dir/bus.conf" --ports-dir "$dir/ports" --quiet >"$dir/sim.log" 2>&1 &
sim=$!
for _ in $(seq 1 50); do [ -e "$dir/ports/COM6" ] && break; sleep 0.1; done
(exec env -u DISPLAY "$bin/xinglan" --headless --dir "$dir") >"$dir/agent.out" 2>&1 &
agent=$!
sleep "$seconds"
ticks=$(getconf CLK_TCK)
read -r utime stime < <(awk '{print $14, $15}' "/proc/$agent/stat")
peak=$(awk '/VmHWM/ {print $2}' "/proc/$agent/status")
rss=$(awk '/VmRSS/ {print $2}' "/proc/$agent/status")
lines=$(find "$dir/data" -name '*.csv' -exec cat {} + | wc -l)
echo "stations $count, per line $perLine, ${seconds} s: peak RSS ${peak} kB, RSS ${rss} kB," \
  "CPU $(( (utime + stime) * 1000 / ticks )) ms ($(awk -v c=$((utime + stime)) -v t="$ticks" -v s="$seconds" 'BEGIN {printf "%.1f", 100 * c / t / s}')%)," \
  "$(grep -c . "$dir/agent.out") log lines, $lines CSV lines"
cat "$dir/agent.out"

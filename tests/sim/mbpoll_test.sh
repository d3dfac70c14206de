#!/usr/bin/env bash
# The simulator tool on a pseudo-terminal, read by mbpoll, an independent Modbus-RTU master:
# the device information block, the real-time block, the parameter block and a history record
# must come back as valid replies, an unknown register as an exception, and the tool must remove
# its port link when it is stopped.
#
# usage: mbpoll_test.sh PATH/TO/xinglan-sim
set -u

sim=${1:?usage: mbpoll_test.sh PATH/TO/xinglan-sim}
if ! command -v mbpoll >/dev/null 2>&1; then
  echo "mbpoll is not installed"
  exit 1
fi

work=$(mktemp -d)
ports="$work/ports"
log="$work/sim.log"
pid=
failures=0

cleanup() {
  if [ -n "$pid" ] && kill -0 "$pid" 2>/dev/null; then kill "$pid"; wait "$pid" 2>/dev/null; fi
  rm -rf "$work"
}
trap cleanup EXIT

fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

"$sim" --ports-dir "$ports" </dev/null >"$log" 2>&1 &
pid=$!

for _ in $(seq 50); do
  [ -L "$ports/COM3" ] && break
  sleep 0.1
done
[ -L "$ports/COM3" ] || { cat "$log"; echo "FAIL: no link $ports/COM3"; exit 1; }

# poll ADDRESS REGISTER COUNT: the values read, one hex word a line ("0x3014").
poll() {
  local out
  out=$(mbpoll -m rtu -b 9600 -P none -a "$1" -r $(($2 + 1)) -c "$3" -t 4:hex -1 -o 1 "$ports/COM3" 2>&1)
  local rc=$?
  if [ $rc -ne 0 ]; then
    echo "$out" >&2
    return $rc
  fi
  echo "$out" | sed -n 's/^\[[0-9]*\]:[[:space:]]*\(0x[0-9A-F]*\).*$/\1/p'
}

# word LIST N: the N-th word (1-based) of a list from poll.
word() { echo "$1" | sed -n "${2}p"; }

# Device information of station 1: 48 V system, 20 A charge, 20 A load; the address in 0x001A.
info=$(poll 1 0x000A 17) || fail "device information block of station 1"
[ "$(echo "$info" | wc -l)" -eq 17 ] || fail "device information: 17 registers expected, got: $info"
[ "$(word "$info" 1)" = 0x3014 ] || fail "0x000A of station 1 is $(word "$info" 1), not 0x3014"
[ "$(word "$info" 17)" = 0x0001 ] || fail "0x001A of station 1 is $(word "$info" 17), not 0x0001"

# Station 2 on the same line answers for itself.
info2=$(poll 2 0x000A 17) || fail "device information block of station 2"
[ "$(word "$info2" 17)" = 0x0002 ] || fail "0x001A of station 2 is $(word "$info2" 17), not 0x0002"

# Real-time block: 35 registers; SOC in the low byte of 0x0100, a battery voltage in 0x0101.
rt=$(poll 1 0x0100 35) || fail "real-time block"
[ "$(echo "$rt" | wc -l)" -eq 35 ] || fail "real-time block: 35 registers expected, got: $rt"
soc=$(( $(word "$rt" 1) ))
volts=$(( $(word "$rt" 2) ))
[ "$soc" -le 100 ] || fail "SOC $soc above 100"
[ "$volts" -ge 200 ] && [ "$volts" -le 320 ] || fail "battery voltage $volts (0.1 V) not that of a 24 V battery"

# Parameter block: the factory values.
params=$(poll 1 0xE001 33) || fail "parameter block"
[ "$(echo "$params" | wc -l)" -eq 33 ] || fail "parameter block: 33 registers expected, got: $params"
[ "$(word "$params" 1)" = 0x07D0 ] || fail "charge current $(word "$params" 1), not 0x07D0"
[ "$(word "$params" 8)" = 0x0090 ] || fail "boost voltage $(word "$params" 8), not 0x0090"
[ "$(word "$params" 15)" = 0x641E ] || fail "SOC limits $(word "$params" 15), not 0x641E"

# History record of three days ago: lowest and highest battery voltage of a 24 V battery.
hist=$(poll 1 0xF003 10) || fail "history record"
[ "$(echo "$hist" | wc -l)" -eq 10 ] || fail "history record: 10 registers expected, got: $hist"
low=$(( $(word "$hist" 1) ))
high=$(( $(word "$hist" 2) ))
[ "$low" -ge 200 ] && [ "$low" -le "$high" ] || fail "history voltages $low..$high"

# An unknown register gets an exception reply, which mbpoll reports as a failure.
if poll 1 0x0200 1 >/dev/null 2>"$work/exception"; then
  fail "0x0200 was read"
fi
grep -qi "illegal data address" "$work/exception" || fail "no illegal-address exception: $(cat "$work/exception")"

# The tool printed the frames it received and sent, as hex.
grep -q "COM3 <- 01 03 00 0A 00 11 A5 C4" "$log" || fail "the request for the device information is not in the log"
grep -q "COM3 -> 01 03 22 30 14" "$log" || fail "the reply with the device information is not in the log"
grep -q "COM3 -> 01 83 02" "$log" || fail "the exception reply is not in the log"

kill -TERM "$pid"
for _ in $(seq 50); do
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.1
done
if kill -0 "$pid" 2>/dev/null; then
  fail "the tool did not stop on SIGTERM"
else
  wait "$pid"
  rc=$?
  [ $rc -eq 0 ] || fail "the tool ended with $rc"
fi
pid=
[ -e "$ports/COM3" ] || [ -L "$ports/COM3" ] && fail "the link $ports/COM3 is left behind"

if [ $failures -ne 0 ]; then
  echo "--- simulator log"
  cat "$log"
  exit 1
fi
echo "mbpoll read every block from the simulator"

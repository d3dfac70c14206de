#!/usr/bin/env bash
# The data recorder in a real X server (Xvfb with openbox), fed by xinglan-sim.
#   recorder_under_x.sh BIN_DIR OUT_DIR
# The console runs from a fresh program directory with the demo's port and three stations; its
# settings mark the first two for saving, with automatic saving on and no save interval (a
# cycle every second) into data/ of that directory. The script demands that the two marked
# stations' files appear and grow and that the unmarked station gets none, then opens the
# recorder from the toolbar and photographs it:
#   recorder.png       the screen over the main window
#   lines.txt          the first and last lines of a marked station's file (as UTF-8)
# Input goes through the XTEST extension (libXtst) from a few lines of Python.
# Fails when the console does not stay up, a file is missing or does not grow, or the picture
# is nearly blank.
set -euo pipefail

# The place of the toolbar button "数据保存设置" inside the main window.
RECORD_DX=438
RECORD_DY=53

source "$(dirname "$0")/x_lib.sh"

size_of() { stat -c %s "$1" 2>/dev/null || echo 0; }

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin"
  status=0
  wait_for "$MAIN_WINDOW" 60 || true
  one="$bin/data/东山一号站/1.csv"
  two="$bin/data/东山二号站/1.csv"
  # The files appear with the first save cycle, a second or two after the start.
  for _ in $(seq 1 40); do
    [ -s "$one" ] && [ -s "$two" ] && break
    sleep 1
  done
  # The first round of polling follows the discovery and a rest of the read interval; until
  # then the lines are the zero reading.
  for _ in $(seq 1 40); do
    [ -s "$one" ] && [ "$(tail -n 1 "$one" | cut -d, -f8)" != "0.0" ] && break
    sleep 1
  done
  before1=$(size_of "$one") before2=$(size_of "$two")
  sleep 5
  after1=$(size_of "$one") after2=$(size_of "$two")
  echo "files: $one $before1 -> $after1 bytes, $two $before2 -> $after2 bytes"
  if [ "$before1" -eq 0 ] || [ "$before2" -eq 0 ]; then
    echo "a marked station's file did not appear" >&2
    status=1
  elif [ "$after1" -le "$before1" ] || [ "$after2" -le "$before2" ]; then
    echo "a marked station's file did not grow" >&2
    status=1
  fi
  if [ -e "$bin/data/西岭三号站" ]; then
    echo "the unmarked station got a folder" >&2
    status=1
  fi
  { head -n 3 "$one"; echo ...; tail -n 2 "$one"; } | iconv -f GBK -t UTF-8 >"$out/lines.txt" || status=1
  if [ "$(tail -n 1 "$one" | cut -d, -f8)" = "0.0" ]; then
    echo "the last line has no battery voltage: no reply reached the recorder" >&2
    status=1
  fi

  # The window manager may still move the window, so its place is read anew for each try.
  for _ in 1 2 3 4 5; do
    click_in "$MAIN_WINDOW" $RECORD_DX $RECORD_DY
    sleep 2
    window_up "数据保存" && break
  done
  if ! window_up "数据保存"; then
    echo "the toolbar button did not open the recorder (window at $wx,$wy)" >&2
    status=1
  fi
  import -window root "$out/recorder.png"
  end_session || status=1
  exit $status
fi

demo_program_dir "$1"
out=$(realpath -m "$2")
mkdir -p "$out" "$bin/data"
# The recorder's settings, in the settings file's GBK with CR LF.
printf '[Maintenance Record]\r\nRead Interval=10\r\nAuto Saving=1\r\nFile Path=%s\r\nSave Interval H=0\r\nSave Interval M=0\r\n东山一号站=-1\r\n东山二号站=-1\r\n' \
  "$bin/data" | iconv -f UTF-8 -t GBK >>"$bin/MSCON.DLL"
run_under_x "$0" "$out"
check_picture "$out/recorder.png"

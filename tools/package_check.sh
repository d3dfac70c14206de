#!/usr/bin/env bash
# Builds the Debian package with `./dev package` and checks what it holds: stripped
# executables, the desktop entry, icon, metainfo and man page, and a Depends line.
# Validates the desktop entry and the metainfo where desktop-file-validate and appstreamcli
# are installed. Slow (a Release build), so it is run by hand, not by the test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$(pwd)

[ "${1:-}" = "--no-build" ] || ./dev package

deb=$(ls -t "$ROOT"/build-package/xinglan_*.deb | head -n 1)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
dpkg-deb -x "$deb" "$tmp/root"
dpkg-deb -e "$deb" "$tmp/control"

fails=0
passes=0
check() {  # description, command...
  local what=$1; shift
  if "$@" >/dev/null 2>&1; then echo "ok   $what"; passes=$((passes + 1)); else echo "FAIL $what"; fails=$((fails + 1)); fi
}
stripped() { file -b "$1" | grep -q 'ELF.*, stripped'; }
depends() { grep -Eq '^Depends: .*libqt6widgets6.*' "$tmp/control/control"; }
name_is() { grep -qx 'Name=星澜站点监控软件' "$1"; }

for exe in xinglan xinglan-sim; do
  check "usr/bin/$exe is there, executable and stripped" stripped "$tmp/root/usr/bin/$exe"
  check "usr/bin/$exe finds every library" bash -c "! ldd '$tmp/root/usr/bin/$exe' | grep -q 'not found'"
done
desktop=$tmp/root/usr/share/applications/org.xinglan.StationMonitor.desktop
metainfo=$tmp/root/usr/share/metainfo/org.xinglan.StationMonitor.metainfo.xml
check "desktop entry named 星澜站点监控软件" name_is "$desktop"
check "icon" test -s "$tmp/root/usr/share/icons/hicolor/scalable/apps/xinglan.svg"
check "metainfo" test -s "$metainfo"
check "man page xinglan.1 and its xinglan-sim name" \
  bash -c "gzip -t '$tmp/root/usr/share/man/man1/xinglan.1.gz' && test -L '$tmp/root/usr/share/man/man1/xinglan-sim.1.gz'"
check "Depends names the Qt libraries" depends
check "no debug sections in the executables" \
  bash -c "! readelf -S '$tmp/root/usr/bin/xinglan' '$tmp/root/usr/bin/xinglan-sim' | grep -q debug_info"
if command -v desktop-file-validate >/dev/null; then
  check "desktop-file-validate" desktop-file-validate "$desktop"
else
  echo "skip desktop-file-validate (desktop-file-utils not installed)"
fi
if command -v appstreamcli >/dev/null; then
  check "appstreamcli validate" appstreamcli validate --no-net "$metainfo"
else
  echo "skip appstreamcli validate (appstream not installed)"
fi

# Run as a user who cannot write the executables' folder, as an installed console is run: the
# program directory must be that user's data folder, the store made there at the first start,
# and the simulator's ports/ beside it.
if [ "$(id -u)" -eq 0 ] && command -v runuser >/dev/null; then
  chmod 755 "$tmp"
  mkdir "$tmp/home" && chown nobody "$tmp/home"
  as_user() { runuser -u nobody -- env -u XDG_DATA_HOME HOME="$tmp/home" QT_QPA_PLATFORM=offscreen "$@"; }
  # The simulator ends when its standard input does.
  as_user timeout 10 "$tmp/root/usr/bin/xinglan-sim" --quiet < <(sleep 7) >/dev/null 2>&1 &
  sim=$!
  as_user timeout 5 "$tmp/root/usr/bin/xinglan" >/dev/null 2>&1 || true
  data=$tmp/home/.local/share/xinglan
  check "installed console: store in ~/.local/share/xinglan" test -s "$data/MSCONS.DLL"
  check "installed simulator: ports/COM3 beside it" test -L "$data/ports/COM3"
  check "nothing written beside the executables" bash -c "[ \$(ls '$tmp/root/usr/bin' | wc -l) -eq 2 ]"
  wait "$sim" || true
else
  echo "skip the installed program directory (needs root and runuser)"
fi

echo
grep -E '^(Package|Version|Architecture|Installed-Size|Depends|Suggests):' "$tmp/control/control"
echo "package: $(basename "$deb"), $(stat -c %s "$deb") bytes"
echo "$passes passed, $fails failed"
[ "$fails" -eq 0 ]

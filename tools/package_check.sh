#!/usr/bin/env bash
# Builds the Debian package with `./dev package` and checks what it holds: stripped
# executables, the desktop entry, icon, metainfo and man page, a Depends line, the site agent's
# systemd unit (checked by systemd-analyze where installed) and the maintainer scripts.
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
check "man page: --headless, --dir and the service" \
  bash -c "zcat '$tmp/root/usr/share/man/man1/xinglan.1.gz' | grep -q 'headless' && zcat '$tmp/root/usr/share/man/man1/xinglan.1.gz' | grep -q 'xinglan-agent.service'"

# The site agent: its unit, run as its own user on /var/lib/xinglan, and the scripts that make
# the user and the directory without enabling or starting the service.
unit=usr/lib/systemd/system/xinglan-agent.service
unit_has() { grep -qx "$1" "$tmp/root/$unit"; }
check "unit $unit" test -s "$tmp/root/$unit"
check "unit runs /usr/bin/xinglan --headless --dir /var/lib/xinglan" \
  unit_has 'ExecStart=/usr/bin/xinglan --headless --dir /var/lib/xinglan'
check "unit: user xinglan in dialout, restarted on failure" \
  bash -c "grep -qx 'User=xinglan' '$tmp/root/$unit' && grep -qx 'SupplementaryGroups=dialout' '$tmp/root/$unit' && grep -qx 'Restart=on-failure' '$tmp/root/$unit'"
check "unit: writes only /var/lib/xinglan" \
  bash -c "grep -qx 'ProtectSystem=strict' '$tmp/root/$unit' && grep -qx 'ReadWritePaths=/var/lib/xinglan' '$tmp/root/$unit'"
# A device allow list (DevicePolicy=, PrivateDevices=, ProtectClock=) would shut out the serial
# ports.
check "unit leaves the serial devices reachable" \
  bash -c "! grep -Eq '^(DevicePolicy|DeviceAllow|PrivateDevices|ProtectClock)=' '$tmp/root/$unit'"
for script in postinst prerm postrm; do
  check "maintainer script $script, executable" test -x "$tmp/control/$script"
done
check "postinst makes the user and the directory" \
  bash -c "grep -q 'useradd --system' '$tmp/control/postinst' && grep -q '/var/lib/xinglan' '$tmp/control/postinst'"
check "no maintainer script enables or starts the service" \
  bash -c "! grep -Eq 'systemctl (enable|start)|deb-systemd-helper enable' '$tmp/control/postinst' '$tmp/control/prerm' '$tmp/control/postrm'"
if command -v systemd-analyze >/dev/null; then
  # Offline, inside the unpacked package: the unit's keys and values, and its ExecStart.
  check "systemd-analyze verify" \
    systemd-analyze verify --man=no --recursive-errors=no --root="$tmp/root" "/$unit"
  exposure=$(systemd-analyze security --offline=true --root="$tmp/root" "/$unit" 2>/dev/null | grep -o 'Overall exposure level.*' || true)
else
  echo "skip systemd-analyze verify (systemd not installed)"
fi
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
[ -z "${exposure:-}" ] || echo "agent unit: $exposure"
echo "$passes passed, $fails failed"
[ "$fails" -eq 0 ]

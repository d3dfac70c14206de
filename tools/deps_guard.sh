#!/usr/bin/env bash
# Checks that every system file a build read comes from a package of the install list or from a
# package those depend on, so that a package installed by hand on this machine (and missing on a
# fresh one) is caught in seconds instead of on the next bare machine.
#   deps_guard.sh BUILD_DIR PACKAGE_LIST_FILE
# The files:
#   - the CMake package files that configure read (the inputs of the re-run rule of build.ninja),
#   - the headers the compiler read (ninja -t deps),
#   - the shared libraries the executables load (ldd).
# Each file under /usr (and /lib, the same tree on a merged-/usr system) is mapped to its package
# with dpkg -S; the closure of the list is computed with apt-cache depends --recurse over Depends
# and Pre-Depends. Exit 1 naming each missing package and one file of it that the build read.
set -euo pipefail

build=$(cd "$1" && pwd)
list=$2
[ -f "$build/build.ninja" ] || { echo "deps guard: $build has no build.ninja" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# 1. The files the build read.
{
  # The re-run rule: "build build.ninja: RERUN_CMAKE | file file ..." (one line).
  grep -E '^build build\.ninja: RERUN_CMAKE' "$build/build.ninja" | sed 's/.*RERUN_CMAKE |//' | tr ' ' '\n'
  # Headers recorded by the compiler's dependency output.
  ninja -C "$build" -t deps | sed -n 's/^ \{4\}//p'
  # Shared libraries of every executable of the build.
  find "$build" -type f -perm -u+x \( -path '*/bin/*' -o -path '*/tests/*' -o -path '*/fuzz/*' \) \
       ! -name '*.sh' -print0 |
    while IFS= read -r -d '' exe; do
      file_type=$(head -c 4 "$exe" | od -An -c | tr -d ' ')
      [ "$file_type" = '177ELF' ] || continue
      ldd "$exe" 2>/dev/null | sed -n 's/.*=> \(\/[^ ]*\) .*/\1/p'
    done
} | grep -E '^/(usr|lib)' | sort -u >"$work/files"

# 2. Each file to its package. dpkg knows a file by the path its package ships; on a merged-/usr
# system the same file may be reached as /lib/... or /usr/lib/..., and through a link.
owner_of() {  # path -> package (without architecture), or nothing
  local f=$1 alt
  for alt in "$f" "$(readlink -f "$f")" "${f#/usr}" "/usr$f"; do
    [ -n "$alt" ] || continue
    local line
    line=$(dpkg-query -S "$alt" 2>/dev/null | grep -v '^diversion' | head -n 1) || true
    if [ -n "$line" ]; then
      echo "${line%%:*}" | cut -d, -f1 | sed 's/:.*//'
      return
    fi
  done
}
# dpkg-query -S takes many paths at once: map the bulk in one call, then the rest one by one.
: >"$work/owners"
xargs -a "$work/files" -d '\n' dpkg-query -S 2>/dev/null | grep -v '^diversion' |
  while IFS= read -r line; do
    pkgs=${line%%: /*}
    path=${line#*: }
    for p in ${pkgs//,/ }; do printf '%s\t%s\n' "${p%%:*}" "$path"; done
  done >>"$work/owners" || true
cut -f2 "$work/owners" | sort -u >"$work/known"
comm -23 "$work/files" "$work/known" | while IFS= read -r f; do
  p=$(owner_of "$f")
  if [ -n "$p" ]; then
    printf '%s\t%s\n' "$p" "$f"
  else
    printf '%s\t%s\n' "(no package)" "$f"
  fi
done >>"$work/owners"

# 3. The closure of the install list over Depends and Pre-Depends.
mapfile -t listed < <(grep -vE '^\s*(#|$)' "$list")
apt-cache depends --recurse --no-recommends --no-suggests --no-conflicts --no-breaks \
  --no-replaces --no-enhances "${listed[@]}" 2>/dev/null |
  sed -n -e 's/^\([^ <][^ ]*\)$/\1/p' -e 's/^ *|\?\(Pre\)\?Depends: \([^ <][^ ]*\)$/\2/p' |
  sed 's/:.*//' | sort -u >"$work/closure"
printf '%s\n' "${listed[@]}" | sed 's/:.*//' >>"$work/closure"
sort -u -o "$work/closure" "$work/closure"
# Packages every Debian system has (Essential and required) need not be listed.
dpkg-query -W -f='${Package} ${Essential} ${Priority}\n' 2>/dev/null |
  awk '$2 == "yes" || $3 == "required" { print $1 }' >>"$work/closure"
sort -u -o "$work/closure" "$work/closure"

# 4. Every owner must be in the closure.
status=0
sort -t$'\t' -k1,1 -u "$work/owners" | while IFS=$'\t' read -r pkg file; do
  if [ "$pkg" = "(no package)" ]; then
    echo "deps guard: $file, read by the build, belongs to no Debian package (installed by hand?)"
    echo missing >>"$work/missing"
  elif ! grep -qxF "$pkg" "$work/closure"; then
    echo "deps guard: package $pkg is missing from the install list (the build read $file)"
    echo missing >>"$work/missing"
  fi
done
[ -s "$work/missing" ] && status=1
if [ $status -eq 0 ]; then
  echo "deps guard: $(wc -l <"$work/files") system files read by the build, from $(cut -f1 "$work/owners" | sort -u | wc -l) packages, all installed by the list"
fi
exit $status

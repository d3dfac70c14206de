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

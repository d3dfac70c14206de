#!/usr/bin/env bash
# The login and the new dialogs in a real X server (Xvfb with openbox), photographed.
#   login_under_x.sh BIN_DIR OUT_DIR
# 1. With the default password and the simulator: the login appears first, the main window
#    follows by itself within six seconds of it; then the port list, the station editor, the
#    password change, About and the user switch are opened from the keyboard (Alt and the
#    menus' keys) and photographed:
#      login.png main.png port_configuration.png add_station.png change_password.png
#      about.png user_switch.png
# 2. With a changed password: the login stays, and no main window comes (login_changed.png).
# Input goes through the XTEST extension (x_input.py).
set -euo pipefail

source "$(dirname "$0")/x_lib.sh"

# shoot_dialog KEYS... -- NAME FILE: opens a dialog from the keyboard, photographs it, cancels it.
shoot_dialog() {
  local keys=()
  while [ "$1" != "--" ]; do keys+=("$1"); shift; done
  local name=$2 file=$3 try
  # A busy machine can open the menu after its key has been sent: the key is then lost, so
  # the menu is closed and the keys are sent again, three times at most.
  for try in 1 2 3; do
    keys "${keys[@]}"
    wait_for "$name" 5 && break
    if [ $try = 3 ]; then
      echo "the dialog $name did not open" >&2
      return 1
    fi
    keys Escape Escape
  done
  sleep 1
  import -window root "$out/$file"
  keys Escape
  sleep 1
}

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3 changed=$4
  start_session "$bin"
  status=0
  if ! wait_for "登录" 10; then
    echo "no login window" >&2
    status=1
  elif window_up "$MAIN_WINDOW"; then
    echo "the main window came before the login" >&2
    status=1
  fi
  shown=$(date +%s.%N)
  if [ $status = 0 ] && [ "$changed" = 0 ]; then
    sleep 1
    import -window root "$out/login.png"
    if ! wait_for "$MAIN_WINDOW" 6; then
      echo "no main window within six seconds of the login" >&2
      status=1
    else
      echo "main window $(awk "BEGIN{printf \"%.1f\", $(date +%s.%N) - $shown}") s after the login appeared"
      sleep 4
      import -window root "$out/main.png"
      shoot_dialog Alt_L+c Return -- "通讯端口配置" port_configuration.png || status=1
      shoot_dialog Alt_L+c Down Return -- "添加站点" add_station.png || status=1
      shoot_dialog Alt_L+s Down Down Return -- "修改密码" change_password.png || status=1
      shoot_dialog Alt_L+h Return -- "关于" about.png || status=1
      shoot_dialog Alt_L+s Down Return -- "登录" user_switch.png || status=1
    fi
  elif [ $status = 0 ]; then
    sleep 8
    import -window root "$out/login_changed.png"
    if window_up "$MAIN_WINDOW" || ! window_up "登录"; then
      echo "with a changed password the main window came by itself" >&2
      status=1
    fi
  fi
  end_session || status=1
  exit $status
fi

src_bin=$(cd "$1" && pwd)
out=$(realpath -m "$2")
mkdir -p "$out"
status=0
for changed in 0 1; do
  bin=$(mktemp -d)
  cp "$src_bin/xinglan" "$bin/"
  if [ $changed = 0 ]; then
    cp "$src_bin/xinglan-sim" "$bin/"
    mkdir -p "$bin/ports"
    "$src_bin/xinglan-seed-demo" "$bin"
  else
    printf '[Main]\r\nconfig=changed\r\n' >"$bin/MSCON.DLL"
  fi
  xvfb-run -a -s "-screen 0 1280x800x24" "$0" --inside-x "$bin" "$out" "$changed" || status=1
  rm -rf "$bin"
done
exit $status

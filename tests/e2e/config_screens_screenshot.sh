#!/usr/bin/env bash
# The three configuration screens in a real X server (Xvfb with openbox), against xinglan-sim,
# each photographed after a read, a find or a command (run by hand):
#   config_screens_screenshot.sh BIN_DIR OUT_DIR
# The console runs from a fresh program directory with the demo's port and stations. Each
# screen is opened from the menu "参数" by keyboard; inside it the station or port is chosen
# with the Down arrow and the button is pressed by a click at its place in the window (the
# window's place comes from xwininfo, the button's from the screen's layout):
#   load.png      负载控制配置 after "读取"
#   factory.png   系统设置 after "RS485用于并机模式" (its message box closed)
#   deviceid.png  设备ID设置 after "读取设备ID" found the controller
# plus factory-open.png and deviceid-open.png just before the click, and factory-message.png
# with the message box up; they show where the buttons are when the layout changes (the
# offsets from the window's lower right corner can be given as LOAD_READ_DX/_DY, FACTORY_DX/_DY,
# ID_READ_DX/_DY).
# Input goes through the XTEST extension (x_input.py).
set -euo pipefail

source "$(dirname "$0")/x_lib.sh"

# The place of a window by its caption: "X Y W H".
place() {
  local g
  g=$(xwininfo -name "$1")
  echo "$(echo "$g" | sed -n 's/.*Absolute upper-left X: *//p') $(echo "$g" | sed -n 's/.*Absolute upper-left Y: *//p')" \
       "$(echo "$g" | sed -n 's/.*Width: *//p') $(echo "$g" | sed -n 's/.*Height: *//p')"
}

# A click at the lower right of a window, `dx` and `dy` pixels in from its corner.
click_from_corner() {
  local x y w h
  read -r x y w h < <(place "$1")
  xsend click $((x + w - $2)) $((y + h - $3))
}

if [ "${1:-}" = "--inside-x" ]; then
  bin=$2 out=$3
  start_session "$bin"
  wait_for "$MAIN_WINDOW" 60 || true
  sleep 10  # the discovery fills the station lists

  # 参数 > 负载配置 > 负载输出模式; the first station; 读取.
  xsend key Alt_L+p; sleep 0.5
  keys Down Down Right Return
  sleep 1.5
  keys Down
  click_from_corner "负载控制配置" "${LOAD_READ_DX:-137}" "${LOAD_READ_DY:-24}"
  sleep 2
  import -window root "$out/load.png"
  xsend key Alt_L+F4; sleep 0.5

  # 参数 > 系统设置; the first station; RS485用于并机模式, then the message box closed.
  xsend key Alt_L+p; sleep 0.5
  keys Down Down Down Return
  sleep 1.5
  keys Down
  import -window root "$out/factory-open.png"
  click_from_corner "系统设置" "${FACTORY_DX:-102}" "${FACTORY_DY:-84}"
  sleep 2
  import -window root "$out/factory-message.png"
  keys Return
  sleep 1
  import -window root "$out/factory.png"
  xsend key Alt_L+F4; sleep 0.5

  # 参数 > 设备参数 > 设备ID设置; the port; 读取设备ID.
  xsend key Alt_L+p; sleep 0.5
  keys Right Return
  sleep 1.5
  keys Down
  import -window root "$out/deviceid-open.png"
  click_from_corner "设备ID设置" "${ID_READ_DX:-137}" "${ID_READ_DY:-24}"
  sleep 3
  import -window root "$out/deviceid.png"

  end_session
  exit
fi

screenshot_main "$0" "$1" "$2"

#pragma once
// FrmDeviceIDSetting ("设备ID设置"): finds the bus address of the one controller on a port and
// gives it a new one. Works on a port, not on a station.
//
// "读取设备ID" polls the addresses 1 to 241, one every 300 ms (Timer2), with a one-register read
// on MSComm2; the first sound reply ends the pass, and its first byte is the address found.
// While a pass runs the background scan is paused (its rest counter) and its port closed; the
// scan is given back after a find, after a pass without one and when the screen closes.
// "设置设备ID" writes the typed address to register 0x001A of the controller found last (0
// before any find) on MSComm3; Timer1 closes that port 500 ms later.
//
// Opens modally from the menu. Closing it really closes it: the pass ends, both ports close,
// and the next opening starts afresh with the port list of the settings. The rules live in
// configuration/device_id.h.

#include <cstdint>

#include "configuration/device_id.h"
#include "link/serial_session.h"
#include "platform/timer.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

namespace xl::configuration {

class FrmDeviceIDSetting : public ui::Screen, public ui::Singleton<FrmDeviceIDSetting> {
  Q_OBJECT
  friend class ui::Singleton<FrmDeviceIDSetting>;

 public:
  // --- Handlers -----------------------------------------------------------------------------
  void Command1_Click();
  void Command2_Click();
  void Timer1_Timer();
  void Timer2_Timer();

  int scanAddress() const { return scan_.scanAddress(); }
  std::int32_t foundAddress = 0;  // the address of the last reply found; the target of a write

  platform::Timer Timer1;  // the end of the wait for the write's reply, 500 ms
  platform::Timer Timer2;  // the polling pace, 300 ms
  // After the last poll of a pass, one pace more for its reply; then the polling port closes,
  // so that the scan, given back, can open it again.
  platform::Timer lastPollWait;

 protected:
  void showEvent(QShowEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmDeviceIDSetting();
  ~FrmDeviceIDSetting() override;
  void Form_Load();
  void Form_Unload();
  // The end of a pass: the button comes back and the scan goes on.
  void endPass();
  void lastPollWait_Timer();
  void MSComm2_Reply(const Bytes& reply, const std::string& text);
  void MSComm3_Reply(const Bytes& reply, const std::string& text);

  QGroupBox* Frame1;  // "警告"
  QLabel* Label1;     // the warning text
  QComboBox* Combo1;  // the port
  QLineEdit* LTextBox2;
  QPushButton* Command1;
  QPushButton* Command2;
  link::SerialSession MSComm2;  // polling
  link::SerialSession MSComm3;  // writing
  AddressScan scan_;
  bool loaded_ = false;
};

}  // namespace xl::configuration

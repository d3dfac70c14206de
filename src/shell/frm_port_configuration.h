#pragma once
// FrmPortConfiguration ("通讯端口配置"): the modal dialog that edits the port list, section
// COMS of the settings file. It finds the serial ports that exist by opening each of the
// numbers 1 to 100, and takes the bus scan off the line while it does.

#include <QString>
#include <map>

#include "platform/serial_port.h"
#include "platform/timer.h"
#include "ui/modal.h"

class QComboBox;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace xl::shell {

class FrmPortConfiguration : public ui::ModalForm<FrmPortConfiguration> {
  Q_OBJECT
  friend class ui::Singleton<FrmPortConfiguration>;

 public:
  // True once OK has saved the list; read by the main window after the dialog.
  bool accepted = false;
  // The list index of the entry that the port in Combo1 matches.
  int editIndex = 0;

  // --- Handlers, public for tests ---
  void Combo1_Change();
  void Command1_Click();
  void Command2_Click();
  void Command3_Click();
  void Command4_Click();
  void Timer1_Timer();

  // The entries of List1, in order.
  QStringList entries() const;
  // The gateway ports as the dialog holds them now ("COM5" to "tcp://HOST:PORT"); written to
  // section `Network Ports` by OK, for the ports in the list.
  const std::map<QString, QString>& gateways() const { return gateways_; }

  platform::Timer Timer1;  // 300 ms: OK only with at least one entry
  platform::SerialControl MSComm1{"FrmPortConfiguration.MSComm1"};

 protected:
  void closeBox() override { Command4_Click(); }
  void Form_Load() override;

 private:
  FrmPortConfiguration();
  ~FrmPortConfiguration() override;

  // The address box shows the gateway of the port in Combo1 when that port is listed or mapped.
  void showGateway();
  // Takes the address box for the port in Combo1; false, with a message, when it cannot.
  bool checkGateway(QString& key, QString& value);
  void saveGateways();

  std::map<QString, QString> gateways_;
  std::map<QString, QString> savedGateways_;  // as the file held them at load

  QComboBox* Combo1;
  QComboBox* Combo2;
  QLineEdit* GatewayAddress;  // "HOST:PORT" of a serial-to-Ethernet gateway; empty for a serial port
  QListWidget* List1;
  QPushButton* Command1;
  QPushButton* Command2;
  QPushButton* Command3;
  QPushButton* Command4;
};

}  // namespace xl::shell

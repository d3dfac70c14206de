#pragma once
// FrmFactoryOperation ("系统设置"): five one-shot commands to the controller of the station
// chosen in Combo1: restore the factory settings, clear the history, the use of the RS-485
// port (communication or parallel operation) and a restart. One frame, one reply, one message
// box; no command asks for a confirmation. Text1 shows the port's use after a command of this
// screen (the screen never reads it).
//
// Opens modally from the menu; closing it hides it and empties LTextBox1. The rules live in
// configuration/factory_commands.h.

#include <cstdint>
#include <string>

#include "configuration/factory_commands.h"
#include "link/serial_session.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QLineEdit;
class QPushButton;

namespace xl::ui {
class StationBox;
}

namespace xl::configuration {

class FrmFactoryOperation : public ui::Screen, public ui::Singleton<FrmFactoryOperation> {
  Q_OBJECT
  friend class ui::Singleton<FrmFactoryOperation>;

 public:
  // --- Handlers -----------------------------------------------------------------------------
  void Combo1_Click();
  void Command1_Click() { send(FactoryCommand::Command1); }
  void Command2_Click() { send(FactoryCommand::Command2); }
  void Command3_Click() { send(FactoryCommand::Command3); }
  void Command4_Click() { send(FactoryCommand::Command4); }
  void Command5_Click() { send(FactoryCommand::Command5); }

  std::int32_t pendingRead = 0;  // the command sent last: 1, 2, 3 or 5; never cleared
  std::string replyText;         // hex text of the last reply

 protected:
  // Form_Unload: the screen hides and forgets the address.
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmFactoryOperation();
  ~FrmFactoryOperation() override;
  void send(FactoryCommand command);
  void onReply(const Bytes& reply);

  ui::StationBox* Combo1;
  QLineEdit* LTextBox1;  // device ID
  QLineEdit* Text1;      // the RS-485 port's use
  QPushButton* Command1;
  QPushButton* Command2;
  QPushButton* Command3;
  QPushButton* Command4;
  QPushButton* Command5;
  link::SerialSession MSComm1;
};

}  // namespace xl::configuration

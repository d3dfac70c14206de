#pragma once
// FrmGeneralGLoadConfiguration ("负载控制配置"): how a controller drives its load output. Reads
// and writes the three registers of the load block (0xE01D mode, 0xE01E delay, 0xE01F
// light-control switch-on voltage) of the station chosen in Combo1.
//
// The tags of LTextBox2 and LTextBox3 (the dynamic property "Tag") hold the voltage and the
// delay that a write sends: the last read puts the device's values there in every mode, and a
// change of the boxes reaches them only while Option3 is selected. The tags outlive ClearAll
// and a change of station.
//
// The screen opens from the menu, modally, after ClearAll; closing it hides it. The rules live
// in configuration/load_block.h.

#include <cstdint>
#include <optional>
#include <string>

#include "link/serial_session.h"
#include "ui/registry.h"
#include "ui/screen.h"

class QComboBox;
class QGroupBox;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace xl::ui {
class StationBox;
}

namespace xl::configuration {

class FrmGeneralGLoadConfiguration : public ui::Screen, public ui::Singleton<FrmGeneralGLoadConfiguration> {
  Q_OBJECT
  friend class ui::Singleton<FrmGeneralGLoadConfiguration>;

 public:
  // --- Named operations: the menu empties the screen before it shows it ---------------------
  void ClearAll();

  // --- Handlers -----------------------------------------------------------------------------
  void Combo1_Click();
  void Combo1_Change();
  void LTextBox2_Click();
  void LTextBox2_Change();
  void LTextBox3_Click();
  void LTextBox3_Change();
  void Option3_Click();
  void Command1_Click();
  void Command2_Click();
  void showLoadBlock(const Bytes& reply);

  std::int32_t pendingRead = 0;  // 1 read, 2 write; never cleared

 private:
  FrmGeneralGLoadConfiguration();
  ~FrmGeneralGLoadConfiguration() override;
  void Form_Load();
  void onReply(const Bytes& reply);

  ui::StationBox* Combo1;
  QLineEdit* LTextBox1;   // device ID
  QGroupBox* Frame1;      // the load output modes
  QRadioButton* Option3;  // 0 light control
  QRadioButton* Option5;  // 1..14 light control and hours
  QRadioButton* Option4;  // 15 manual
  QRadioButton* Option6;  // 16 debug
  QRadioButton* Option7;  // 17 always on
  QComboBox* LTextBox2;   // light-control switch-on voltage, 4..10
  QComboBox* LTextBox3;   // delay, 1..60 minutes
  QComboBox* Combo2;      // working hours, 1..14
  QLineEdit* LTextBox4;   // never visible: light-off voltage
  QLineEdit* LTextBox5;   // never visible: delay
  QComboBox* Combo3;      // never visible: working hours 2
  QLineEdit* LTextBox8;   // never visible: hours at night
  QGroupBox* Picture2;    // never visible, disabled, unused
  QPushButton* Command1;  // read
  QPushButton* Command2;  // write
  QPushButton* Command3;  // below the lower edge, no handler
  QPushButton* Command4;  // below the lower edge, no handler
  link::SerialSession MSComm1;
  // The station (port and address) the last read went to, and the one whose block the screen
  // holds, with the delay and voltage it had: a write goes only there, and sends back a value
  // outside the screen's lists only when it is the one that was read.
  struct ReadFrom {
    QString port;
    std::uint8_t address = 0;
    std::string delay, voltage;
    bool operator==(const ReadFrom&) const = default;
  };
  std::optional<ReadFrom> asked_;
  std::optional<ReadFrom> readFrom_;
};

}  // namespace xl::configuration

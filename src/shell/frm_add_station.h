#pragma once
// FrmAddStation ("添加站点"): the station editor. One modal dialog adds, updates, deletes and
// previews a station; the caller chooses the mode by enabling one of the three action buttons
// (Command1 add, Command3 update, Command4 delete) before showing it.

#include <functional>

#include "core/settings.h"
#include "core/station_store.h"
#include "shell/station_form.h"
#include "ui/modal.h"

class QComboBox;
class QLineEdit;
class QPushButton;

namespace xl::shell {

class FrmAddStation : public ui::ModalForm<FrmAddStation> {
  Q_OBJECT
  friend class ui::Singleton<FrmAddStation>;

 public:
  // Enables or disables the thirteen fields.
  void setEnabled(bool flag);
  // Remembers `name`, fills the fields from the store and shows the dialog modally.
  void openStation(const QString& name);

  // The three action buttons, as the callers set the mode.
  void setModeButtons(bool add, bool update, bool remove);

  // The fields as a station record.
  core::Station fields() const;
  // The name of the station the dialog edits: the one openStation received, then the new name
  // of each successful update. Updates and deletes work on it.
  const QString& openedName() const { return openedName_; }

  // --- Handlers, public for tests ---
  void Command1_Click();  // add
  void Command2_Click();  // cancel
  void Command3_Click();  // update
  void Command4_Click();  // delete

 protected:
  void Form_Load() override;

 private:
  FrmAddStation();
  void showStation(const core::Station& s);
  // The first refusal of the fields as a message; empty when they may be stored.
  QString refusal(StationAction action, const core::Station& s) const;
  // The store and the station's mark in the settings file change as one step. `mark` changes
  // the settings document (false: nothing to write); `store` changes the store. A file that
  // cannot be written leaves both as they were and gives one line, `failure` and its cause.
  bool changeTogether(const QString& failure, const std::function<bool(core::IniDocument&)>& mark,
                      const std::function<bool()>& store);

  QLineEdit* StationNameSS;
  QLineEdit* DeviceID;
  QComboBox* Port;
  QComboBox* ArraysType;
  QLineEdit* PeakPower;
  QLineEdit* Voc;
  QLineEdit* Vmp;
  QComboBox* BatteryType;
  QLineEdit* Capacity;
  QLineEdit* Voltage;
  QComboBox* LoadType;
  QLineEdit* Power;
  QLineEdit* Remarks;
  QPushButton* Command1;
  QPushButton* Command2;
  QPushButton* Command3;
  QPushButton* Command4;
  QString openedName_;
};

}  // namespace xl::shell

#pragma once
// FrmMqttSettings ("MQTT发布设置"): the broker publisher's settings, section "MQTT" of the
// settings file, for the administrator (Maintenance menu).
//
// Showing the screen reads the file into the boxes; "确定" checks the port, writes every key
// and has the publisher apply the file; "取消" closes without writing. The file stays the one
// place the settings live: the publisher reads it, never the boxes.

#include "ui/registry.h"
#include "ui/screen.h"

class QCheckBox;
class QLineEdit;
class QPushButton;

namespace xl::publish {

class FrmMqttSettings : public ui::Screen, public ui::Singleton<FrmMqttSettings> {
  Q_OBJECT
  friend class ui::Singleton<FrmMqttSettings>;

 public:
  void Form_Load();       // the file into the boxes
  void Command1_Click();  // 确定
  void Command2_Click();  // 取消

 protected:
  void showEvent(QShowEvent* event) override;

 private:
  FrmMqttSettings();

  QCheckBox* Check1;  // Enabled
  QLineEdit* TextHost;
  QLineEdit* TextPort;
  QLineEdit* TextClientId;
  QLineEdit* TextPrefix;
  QLineEdit* TextUser;
  QLineEdit* TextPassword;
  QLineEdit* TextCaFile;
  QLineEdit* TextDiscovery;
  QPushButton* Command1;
  QPushButton* Command2;
};

// The one rule of the port box: a whole number of 1..65535, blanks around allowed.
bool validPortText(const QString& text, int* port = nullptr);

}  // namespace xl::publish

#pragma once
// FrmAbout ("关于") and the idle screens behind the hidden or disabled items of the main
// window. An idle screen only takes over the main window's icon when it loads; it sends
// nothing to a device. FrmRealTimeClock also shows the present time in LTextBox2.

#include <QDateTime>

#include "ui/modal.h"

class QLineEdit;

namespace xl::shell {

class FrmAbout : public ui::ModalForm<FrmAbout> {
  Q_OBJECT
  friend class ui::Singleton<FrmAbout>;

 private:
  FrmAbout();
};

// The time text of the clock screen: "YYYY-MM-DD HH:MM:SS".
QString clockText(const QDateTime& when);

class FrmRealTimeClock : public ui::ModalForm<FrmRealTimeClock> {
  Q_OBJECT
  friend class ui::Singleton<FrmRealTimeClock>;

 public:
  QLineEdit* LTextBox2;

 private:
  FrmRealTimeClock();
};

// The empty ones, told apart by name.
#define XL_IDLE_SCREEN(Name)                \
  class Name : public ui::ModalForm<Name> { \
    friend class ui::Singleton<Name>;       \
                                            \
   private:                                 \
    Name();                                 \
  };
XL_IDLE_SCREEN(FrmSystemConfiguration)
XL_IDLE_SCREEN(FrmDeviceInformation)
XL_IDLE_SCREEN(FrmDeviceParameter)
XL_IDLE_SCREEN(FrmPrintSetup)
XL_IDLE_SCREEN(FrmPrintPreview)
#undef XL_IDLE_SCREEN

}  // namespace xl::shell

#pragma once
// FrmGlobalMonitoring: the polling engine of the whole program and the table of all stations.
//
// It first finds out which stations answer (discovery, up to three passes of the device
// information request, Timer4), then walks through those that do, one request a second: a
// real-time pass (Timer1), a load mode pass (Timer3), then a rest of the read interval
// (Timer2). Every good reply goes to the station's row, to the recorder's grid, and, for the
// station watched on the real-time screen, to that screen.

#include <QWidget>

#include "link/serial_session.h"
#include "platform/flex_grid.h"
#include "platform/singleton.h"
#include "platform/timer.h"

class QGroupBox;
class QLabel;
class QLineEdit;

namespace xl::monitoring {

// What the scan hands the real-time screen for the station it watches. The real-time screen
// registers itself here when it exists.
class WatchedStation {
 public:
  virtual ~WatchedStation();
  // The station chosen on the real-time screen (its Combo1 text).
  virtual QString watchedName() const = 0;
  // True while monitoring runs there (its Command2 is disabled).
  virtual bool monitoringRuns() const = 0;
  virtual void readDatasA2(Bytes& reply) = 0;
  virtual void readDatasA3(Bytes& reply) = 0;
};

class FrmGlobalMonitoring : public QWidget, public platform::Singleton<FrmGlobalMonitoring> {
  Q_OBJECT
  friend class platform::Singleton<FrmGlobalMonitoring>;

 public:

  // Column of the hidden answer mark, found by its key.
  static constexpr const char* kAnswerKey = "wwwwww";
  int answerColumn() const { return VsFList1->colIndex(kAnswerKey); }
  bool answered(int row) const;

  void setWatchedStation(WatchedStation* w) { watched_ = w; }

  // Handlers, public for the screens that drive them and for tests.
  void Timer1_Timer();
  void Timer2_Timer();
  void Timer3_Timer();
  void Timer4_Timer();
  void readDatasA1(Bytes& reply);
  void readDatasA2(Bytes& reply);
  void readDatasA3(Bytes& reply);

  platform::FlexGrid* VsFList1;
  QLineEdit* Text1;  // the hexadecimal text of the last reply; not shown
  QGroupBox* Frame1;
  QLabel* Label1;
  QLabel* Label2;
  platform::Timer Timer1;
  platform::Timer Timer2;
  platform::Timer Timer3;
  platform::Timer Timer4;
  link::SerialSession MSComm1;

  int readInterval = 0;  // seconds of rest between rounds
  int infoRow = 0;       // row of the discovery, 0 = before the first row

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  FrmGlobalMonitoring();
  ~FrmGlobalMonitoring() override;
  void Form_Load();
  // Sends `literal` to the station of `row`, by its name in column 0.
  void sendToRow(int row, const char* literal);
  // One step of a data pass: the next answering row, or the end of the pass (false).
  bool nextAnsweringRow();
  // One tick of a data pass: the next answering station gets `literal`; past the last row the
  // pass ends and `nextPass` (if any) is turned on.
  void dataPassTick(const char* literal, platform::Timer& pass, platform::Timer* nextPass);
  bool isWatched(int row) const;

  int scanRow_ = 0;    // row of the data passes, 0 = before the first row
  int idleTicks_ = 0;  // seconds counted toward readInterval
  int infoPass_ = 0;   // finished discovery passes
  WatchedStation* watched_ = nullptr;
};

}  // namespace xl::monitoring

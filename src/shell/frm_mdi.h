#pragma once
// FrmMDI ("星澜站点监控软件"): the main window. Menus, toolbar, the station pane (TreeView1)
// on the left, the child monitors in the middle, the message window (Text1, the program's
// log) below. Each command opens a screen or flips a pane; the window holds no session on the
// bus.
//
// The station explorer (the tree, the port-by-port loading of the stations and the marking
// of the stations after a bus scan) lives in station_explorer.cpp.

#include <QHash>
#include <QMainWindow>

#include "platform/flex_grid.h"
#include "platform/timer.h"
#include "ui/registry.h"

class QAction;
class QDockWidget;
class QLabel;
class QMdiArea;
class QMdiSubWindow;
class QMenu;
class QPlainTextEdit;
class QToolBar;
class QTreeWidget;
class QTreeWidgetItem;

namespace xl::shell {

class FrmMDI : public QMainWindow, public ui::Singleton<FrmMDI> {
  Q_OBJECT
  friend class ui::Singleton<FrmMDI>;

 public:
  // The one main window, created at first touch.

  QMdiArea* mdiArea() const { return mdiArea_; }
  QPlainTextEdit* Text1() const { return text1_; }
  QTreeWidget* TreeView1() const { return treeView1_; }
  QToolBar* Toolbar1() const { return toolbar1_; }
  QAction* action(const QString& name) const;  // a menu item or toolbar button by its name

  // Puts a child screen into the middle area (once), shows it and brings it to the front.
  void showChild(QWidget* screen);

  void MDIForm_Load();

  // --- station explorer ---
  void refreshStations();
  void fullRefresh();
  // A full refresh after its first step (refreshStations): the port-by-port loading starts
  // over and the two monitors of one station stop.
  void restOfRefresh();
  // At start, a line that tells the operator of a site without ports or stations what to do.
  void logEmptySiteHint();
  void Timer2_Timer();
  void getStations(const QString& port);
  void loadStationsOfPort(const QString& port);
  void setStationEnabled();
  void RefreshAllStations_Click();
  // A tree node: the picture index it shows (1, 2 or 3), or 0 when there is no such key.
  int nodeImage(const QString& key) const;
  QTreeWidgetItem* node(const QString& key) const { return nodes_.value(key); }

  // --- commands ---
  void Exit_Click();
  void GlobalMonitoring_Click();
  void RealTimeMonitoring_Click();
  void Monitoring1_Click();
  void HlstoryMonitoring_Click();
  void ExchangeLog_Click();
  void AlarmLog_Click();
  void AlarmSettings_Click();
  // The count of unacknowledged open alarms in the status bar and the marks of the stations
  // with an open alarm in the tree (red, the alarms in the tooltip).
  void refreshAlarms();
  void AddStation_Click();
  void ViewStation_Click();
  void GeneralGLoadConfiguration_Click();
  void DeviceIDSetting_Click();
  void FactoryOperation_Click();
  void ControlParameter_Click();
  void MaintenanceRecord_Click();
  void EditStation1_Click();
  void DeleteStation_Click();
  // The station editor on the selected station in one of the modes of the tree's pop-up.
  enum class StationMode { View, Update, Delete };
  void stationDialog(StationMode mode);
  void PortConfiguration_Click();
  void LogOff_Click();
  void UserSwitch_Click();
  void ChangePassword_Click();
  void About_Click();
  void RealTimeClock_Click();
  void SystemConfiguration_Click();
  void DeviceInformation_Click();
  void DeviceParameter_Click();
  void PrintSetup_Click();
  void PrintPreview_Click();
  void ExportData_Click();
  void ImportData_Click();
  void MqttSettings_Click();

  platform::Timer Timer2;  // port-by-port loading, 300 ms
  int portCursor = 0;
  platform::FlexGrid* VsFList1;  // name and address of every loaded station; written, never read

 protected:
  void closeEvent(QCloseEvent* event) override;

 private:
  // Gives a child its place: the area's top left, the area's size less a margin.
  void placeChild(QMdiSubWindow* sub);
  FrmMDI();
  ~FrmMDI() override;
  void buildMenus();
  void buildToolbar();
  void buildPanes();
  QAction* addItem(QMenu* menu, const char* name, const QString& caption, void (FrmMDI::*handler)() = nullptr);
  QTreeWidgetItem* addNode(QTreeWidgetItem* parent, const QString& key, const QString& text, int image);
  void setNodeImage(QTreeWidgetItem* node, int image);
  void treeMouseUp(Qt::MouseButton button);

  QMdiArea* mdiArea_;
  QPlainTextEdit* text1_;
  QDockWidget* picture1_;
  QDockWidget* picture14_;
  QTreeWidget* treeView1_;
  QToolBar* toolbar1_;
  QLabel* healthStatus_;
  QLabel* alarmStatus_;
  int alarmListener_ = 0;
  void markAlarms(QTreeWidgetItem* node);
  QMenu* editStation_;
  QHash<QString, QAction*> actions_;
  QHash<QString, QTreeWidgetItem*> nodes_;

  // The node of the last left click; kept as text, so it outlives a rebuild of the tree.
  struct SelectedNode {
    bool set = false;
    QString text;
    bool hasParent = false;
    QString parentText;
  } selected_;
};

}  // namespace xl::shell

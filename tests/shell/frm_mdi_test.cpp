#include "shell/frm_mdi.h"

#include <gtest/gtest.h>

#include <QAction>
#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QToolBar>
#include <QTreeWidget>

#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "shell_fixture.h"
#include "ui/station_box.h"

namespace xl::shell {
namespace {

using platform::ms;
using testing::itemsOf;

// Column `col` of a table's rows below its header.
QStringList column(const platform::FlexGrid* g, int col) {
  QStringList l;
  for (int r = 1; r < g->rows(); ++r) l << g->textMatrix(r, col);
  return l;
}

class MainWindowTest : public testing::ShellFixture {};

TEST_F(MainWindowTest, LoadWithoutPortsShowsTheRootAndStartsAnEmptyScan) {
  start();
  EXPECT_EQ(mdi().windowTitle(), QStringLiteral("星澜站点监控软件"));
  EXPECT_EQ(core::appStarted, "1");
  EXPECT_EQ(core::configPath, dir.path() + "/MSCON.DLL");
  // The refresh writes the first line, without a leading break; the load writes the second;
  // a site without ports gets a third that tells the operator where to begin.
  const QStringList lines = logLines();
  ASSERT_EQ(lines.size(), 3);
  EXPECT_TRUE(lines[2].contains(QStringLiteral("端口配置"))) << lines[2].toStdString();
  QTreeWidget* tree = mdi().TreeView1();
  ASSERT_EQ(tree->topLevelItemCount(), 1);
  EXPECT_EQ(tree->topLevelItem(0)->text(0) + QString::number(tree->topLevelItem(0)->childCount()),
            QStringLiteral("站点资源管理器0"));
  // Timer2 stops on its first tick and hands over to the scan on an empty table.
  clock.advance(ms(299));
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(1));
  EXPECT_TRUE(!mdi().Timer2.enabled() && scan().Timer4.enabled());
  clock.advance(ms(10000));
  EXPECT_TRUE(scan().Timer4.enabled());  // waits for stations, timer on
  EXPECT_EQ(testing::grid(scan(), "VsFList1")->rows(), 1);
}

TEST_F(MainWindowTest, MenusAndToolbarStandAsDesigned) {
  start();
  // The items without a working screen are hidden; the clock and the manual are greyed out.
  for (const char* name : {"PrintSetup", "PrintPreview", "DeviceParameter", "SystemConfiguration",
                           "DeviceInformation", "ExportData", "ImportData", "sysc"})
    EXPECT_FALSE(mdi().action(name)->isVisible()) << name;
  EXPECT_TRUE(mdi().action("RealTimeClock")->isVisible() && !mdi().action("RealTimeClock")->isEnabled());
  for (QAction* a : mdi().menuBar()->actions()) EXPECT_NE(a->text(), QStringLiteral("编辑站点"));  // the pop-up

  // Seven toolbar buttons by key; each runs its menu item's command.
  QStringList keys;
  for (QAction* a : mdi().Toolbar1()->actions()) keys << a->objectName();
  EXPECT_EQ(keys, (QStringList{"User Switch", "Port Configuration", "Real Time Monitoring", "Daily Monitoring",
                               "Global Monitoring", "History Monitoring", "Data Save Seting"}));
  scan().hide();
  mdi().action("Global Monitoring")->trigger();
  EXPECT_TRUE(scan().isVisibleTo(&mdi()) && mdi().mdiArea()->activeSubWindow()->widget() == &scan());
}

TEST_F(MainWindowTest, ViewChecksHideThePanesAndTheLogGoesOn) {
  start();
  QAction* messages = mdi().action("MessageWindow");
  auto* pane = mdi().findChild<QDockWidget*>("Picture14");
  mdi().show();
  EXPECT_TRUE(pane->isVisible());
  messages->trigger();
  EXPECT_FALSE(messages->isChecked() || pane->isVisible());
  core::appendLog("still written");
  EXPECT_TRUE(logLines().last().endsWith("]still written"));
  messages->trigger();
  EXPECT_TRUE(pane->isVisible());
  mdi().action("ToolBar")->trigger();
  EXPECT_FALSE(mdi().Toolbar1()->isVisible());
  mdi().action("StationExplorer")->trigger();
  EXPECT_FALSE(mdi().findChild<QDockWidget*>("Picture1")->isVisible());
  mdi().hide();
}

TEST_F(MainWindowTest, ExitAndCloseAskAndOnlyYesEnds) {
  start();
  dialogs.answers = {platform::kNo, platform::kYes, platform::kNo, platform::kYes};
  mdi().action("Exit")->trigger();
  EXPECT_EQ(ended, 0);
  mdi().action("Exit")->trigger();
  EXPECT_EQ(ended, 1);
  QCloseEvent no;
  QApplication::sendEvent(&mdi(), &no);
  EXPECT_FALSE(no.isAccepted());
  QCloseEvent yes;
  QApplication::sendEvent(&mdi(), &yes);
  EXPECT_EQ(ended, 2);
  EXPECT_EQ(messages(), QStringList({"确定退出?", "确定退出?", "确定要退出?", "确定要退出?"}));
  for (const auto& s : dialogs.shown) EXPECT_EQ(s.style, 68);
}

TEST_F(MainWindowTest, StationsLoadPortByPortIntoTreeAndTables) {
  setPorts({"COM3,9600", "COM4,19200", "COM5,9600"});
  addStation("A", "COM3,9600", "1");
  addStation("B", "COM3,9600", "2");
  addStation("C", "COM4,19200", "7");
  addStation("Lost", "COM4,9600", "8");  // its port's baud rate changed: not listed
  start();
  QTreeWidgetItem* root = mdi().TreeView1()->topLevelItem(0);
  ASSERT_EQ(root->childCount(), 3);
  EXPECT_EQ(root->child(1)->text(0), "COM4,19200");
  EXPECT_EQ(root->child(0)->childCount(), 0);  // nothing loaded before the first tick
  clock.advance(ms(300));
  EXPECT_EQ(std::pair(root->child(0)->childCount(), root->child(1)->childCount()), std::pair(2, 0));
  clock.advance(ms(300));
  EXPECT_EQ(root->child(1)->childCount(), 1);
  EXPECT_EQ(std::pair(mdi().nodeImage("COM4,19200,7"), mdi().nodeImage("COM4,9600,8")), std::pair(2, 0));
  clock.advance(ms(300));  // COM5 has no stations
  EXPECT_EQ(root->child(2)->childCount(), 0);
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(300));  // past the last port: the scan takes over
  EXPECT_TRUE(scan().Timer4.enabled());
  // Both tables hold the stations in the same order.
  ASSERT_EQ(recorder().engine().stationCount(), 3);  // the rows the recorder saves by
  const QStringList names = {"A", "B", "C"}, ids = {"1", "2", "7"};
  EXPECT_EQ(column(testing::grid(scan(), "VsFList1"), 0), names);
  EXPECT_EQ(column(testing::grid(scan(), "VsFList1"), 1), ids);
  EXPECT_EQ(column(testing::grid(recorder(), "VSFlexGrid1"), 1), names);
  EXPECT_EQ(column(testing::grid(recorder(), "VSFlexGrid1"), 2), ids);
  for (int r = 1; r <= 3; ++r) EXPECT_EQ(recorder().engine().stationName(r), names[r - 1]);
}

TEST_F(MainWindowTest, CollidingKeyEndsTheListingOfItsPort) {
  setPorts({"COM3,9600"});
  addStation("A", "COM3,9600", "1");
  addStation("Twin", "COM3,9600", "1");
  addStation("C", "COM3,9600", "3");
  start();
  clock.advance(ms(300));
  EXPECT_EQ(mdi().TreeView1()->topLevelItem(0)->child(0)->childCount(), 1);
  EXPECT_EQ(testing::grid(scan(), "VsFList1")->rows(), 2);
}

TEST_F(MainWindowTest, ScanOutcomeFillsTheStationListsAndARefreshEmptiesThem) {
  setPorts({"COM3,9600"});
  addStation("A", "COM3,9600", "1");
  addStation("B", "COM3,9600", "2");
  start();
  // The working screens, created by the start-up, have handed their lists to the shell.
  QComboBox& realTime = *testing::combo(monitoring::FrmRealTimeMonitoring::instance());
  QComboBox& load = *testing::combo(configuration::FrmGeneralGLoadConfiguration::instance());
  QComboBox& factory = *testing::combo(configuration::FrmFactoryOperation::instance());
  clock.advance(ms(300));
  scan().scanEngine().markAnswered(2);
  mdi().setStationEnabled();
  for (QComboBox* list : {&realTime, &load, &factory}) EXPECT_EQ(itemsOf(list), QStringList{"B"});
  EXPECT_TRUE(factory.currentText().isEmpty());
  // A refresh empties the lists until the next scan is over.
  mdi().RefreshAllStations_Click();
  for (QComboBox* list : {&realTime, &load, &factory}) EXPECT_EQ(list->count(), 0);
  EXPECT_EQ(recorder().engine().stationCount(), 0);  // the rows the recorder saves by go too
  EXPECT_EQ(mdi().portCursor, 0);
  EXPECT_TRUE(mdi().Timer2.enabled());
}

TEST_F(MainWindowTest, ClosingTheGlobalMonitorHidesItsFrameToo) {
  start();
  clock.advance(ms(300));  // the scan is shown when discovery starts
  QMdiSubWindow* frame = nullptr;
  for (QMdiSubWindow* w : mdi().mdiArea()->subWindowList())
    if (w->widget() == &scan()) frame = w;
  ASSERT_NE(frame, nullptr);
  ASSERT_FALSE(frame->isHidden());
  frame->close();  // the frame's close box
  EXPECT_TRUE(frame->isHidden() && scan().isHidden() && monitoring::FrmGlobalMonitoring::exists());
  mdi().action("GlobalMonitoring")->trigger();
  EXPECT_FALSE(frame->isHidden() || scan().isHidden());
}

TEST_F(MainWindowTest, ChildWindowsOpenAtOneSize) {
  start();  // the real-time monitor opens before the main window has its size
  clock.advance(ms(300));
  mdi().show();
  QCoreApplication::sendPostedEvents();
  mdi().action("HlstoryMonitoring")->trigger();
  const auto frames = mdi().mdiArea()->subWindowList();
  ASSERT_GE(frames.size(), 3);
  for (QMdiSubWindow* w : frames) {
    EXPECT_EQ(w->geometry(), frames.first()->geometry()) << w->widget()->objectName().toStdString();
    EXPECT_GT(w->width(), 600);
  }
}

TEST_F(MainWindowTest, StationNamedLikeACommentKeepsItsRecorderMark) {
  setPorts({"COM3,9600"});
  addStation("#1", "COM3,9600", "1");
  addStation(";2", "COM3,9600", "2");
  const QString ini = dir.path() + "/MSCON.DLL";
  core::writeIniFile("Maintenance Record", "#1", "-1", ini);
  start();
  clock.advance(ms(1500));  // loaded at 300 ms, the recorder applies its settings a second later
  // ';' does start a comment: that name has no key.
  EXPECT_EQ(column(testing::grid(recorder(), "VSFlexGrid1"), 0), QStringList({"-1", ""}));
}

}  // namespace
}  // namespace xl::shell

#include "shell/frm_mdi.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDockWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QToolBar>

#include "configuration/frm_factory_operation.h"
#include "configuration/frm_general_g_load_configuration.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "monitoring/frm_real_time_monitoring.h"
#include "shell_fixture.h"
#include "ui/station_box.h"

namespace xl::shell {
namespace {

// Columns `cols` of a table's rows below its header, a row a line, cells joined by blanks.
QString rowsOf(const platform::FlexGrid* g, std::initializer_list<int> cols) {
  QString s;
  for (int r = 1; r < g->rows(); ++r) {
    for (int c : cols) s += g->textMatrix(r, c) + " ";
    s += "\n";
  }
  return s;
}

class MainWindowTest : public testing::ShellFixture {};

// A site without ports from the load to the exit: the tree, the scan's hand-over, menus and
// toolbar, the global monitor's frame, the child windows' size, the panes, the exit question.
TEST_F(MainWindowTest, AnEmptySiteFromLoadToExit) {
  start();  // the real-time monitor opens before the main window has its size
  EXPECT_EQ(mdi().windowTitle(), QStringLiteral("星澜站点监控软件"));
  EXPECT_EQ(core::appStarted, "1");
  EXPECT_EQ(core::configPath, dir.path() + "/MSCON.DLL");
  // The refresh writes the first line, without a leading break; the load writes the second;
  // a site without ports gets a third that tells the operator where to begin.
  const QStringList lines = logLines();
  ASSERT_EQ(lines.size(), 3);
  EXPECT_TRUE(lines[2].contains(QStringLiteral("端口配置"))) << lines[2].toStdString();
  ASSERT_EQ(mdi().TreeView1()->topLevelItemCount(), 1);
  EXPECT_EQ(treeText(), "站点资源管理器:");
  // Timer2 stops on its first tick and hands over to the scan on an empty table; the scan is
  // shown then.
  clock.advance(ms(299));
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(1));
  EXPECT_TRUE(!mdi().Timer2.enabled() && scan().Timer4.enabled());
  clock.advance(ms(10000));
  EXPECT_TRUE(scan().Timer4.enabled());  // waits for stations, timer on
  EXPECT_EQ(testing::grid(scan(), "VsFList1")->rows(), 1);

  // The items without a working screen are hidden; the clock and the manual are greyed out.
  for (const char* name : {"PrintSetup", "PrintPreview", "DeviceParameter", "SystemConfiguration", "DeviceInformation",
                           "ExportData", "ImportData", "sysc"})
    EXPECT_FALSE(mdi().action(name)->isVisible()) << name;
  EXPECT_TRUE(mdi().action("RealTimeClock")->isVisible() && !mdi().action("RealTimeClock")->isEnabled());
  for (QAction* a : mdi().menuBar()->actions()) EXPECT_NE(a->text(), QStringLiteral("编辑站点"));  // the pop-up
  // Seven toolbar buttons by key.
  QStringList keys;
  for (QAction* a : mdi().Toolbar1()->actions()) keys << a->objectName();
  EXPECT_EQ(keys, (QStringList{"User Switch", "Port Configuration", "Real Time Monitoring", "Daily Monitoring",
                               "Global Monitoring", "History Monitoring", "Data Save Seting"}));

  // The global monitor's close box hides its frame too; the menu item and the toolbar button
  // each bring both back.
  QMdiSubWindow* frame = nullptr;
  for (QMdiSubWindow* w : mdi().mdiArea()->subWindowList())
    if (w->widget() == &scan()) frame = w;
  ASSERT_NE(frame, nullptr);
  ASSERT_FALSE(frame->isHidden());
  for (const char* item : {"GlobalMonitoring", "Global Monitoring"}) {
    frame->close();
    EXPECT_TRUE(frame->isHidden() && scan().isHidden() && monitoring::FrmGlobalMonitoring::exists());
    mdi().action(item)->trigger();
    EXPECT_FALSE(frame->isHidden() || scan().isHidden()) << item;
    EXPECT_EQ(mdi().mdiArea()->activeSubWindow(), frame) << item;
  }

  // Child windows open at one size.
  mdi().show();
  QCoreApplication::sendPostedEvents();
  mdi().action("HlstoryMonitoring")->trigger();
  const auto frames = mdi().mdiArea()->subWindowList();
  ASSERT_GE(frames.size(), 3);
  for (QMdiSubWindow* w : frames) {
    EXPECT_EQ(w->geometry(), frames.first()->geometry()) << w->widget()->objectName().toStdString();
    EXPECT_GT(w->width(), 600);
  }

  // The view checks hide the panes, and the log goes on.
  QAction* messageWindow = mdi().action("MessageWindow");
  auto* pane = mdi().findChild<QDockWidget*>("Picture14");
  EXPECT_TRUE(pane->isVisible());
  messageWindow->trigger();
  EXPECT_FALSE(messageWindow->isChecked() || pane->isVisible());
  core::appendLog("still written");
  EXPECT_TRUE(logLines().last().endsWith("]still written"));
  messageWindow->trigger();
  EXPECT_TRUE(pane->isVisible());
  mdi().action("ToolBar")->trigger();
  EXPECT_FALSE(mdi().Toolbar1()->isVisible());
  mdi().action("StationExplorer")->trigger();
  EXPECT_FALSE(mdi().findChild<QDockWidget*>("Picture1")->isVisible());
  mdi().hide();

  // Exit and the close box ask; only Yes ends.
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

// Stations load port by port into the tree and both tables; the scan's outcome fills the
// station lists of the working screens, and a refresh empties them.
TEST_F(MainWindowTest, StationsLoadPortByPortAndTheScanFillsTheLists) {
  setPorts({"COM3,9600", "COM4,19200", "COM5,9600"});
  addStation("A", "COM3,9600", "1");
  addStation("B", "COM3,9600", "2");
  addStation("C", "COM4,19200", "7");
  addStation("Lost", "COM4,9600", "8");  // its port's baud rate changed: not listed
  start();
  // The working screens, created by the start-up, have handed their lists to the shell.
  QComboBox& realTime = *testing::combo(monitoring::FrmRealTimeMonitoring::instance());
  QComboBox& load = *testing::combo(configuration::FrmGeneralGLoadConfiguration::instance());
  QComboBox& factory = *testing::combo(configuration::FrmFactoryOperation::instance());
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [] COM4,19200 [] COM5,9600 []");  // before the first tick
  clock.advance(ms(300));
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;] COM4,19200 [] COM5,9600 []");
  clock.advance(ms(300));
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;] COM4,19200 [C;] COM5,9600 []");
  EXPECT_EQ(std::pair(mdi().nodeImage("COM4,19200,7"), mdi().nodeImage("COM4,9600,8")), std::pair(2, 0));
  clock.advance(ms(300));  // COM5 has no stations
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [A;B;] COM4,19200 [C;] COM5,9600 []");
  EXPECT_FALSE(scan().Timer4.enabled());
  clock.advance(ms(300));  // past the last port: the scan takes over
  EXPECT_TRUE(scan().Timer4.enabled());
  // Both tables hold the stations in the same order, and the rows the recorder saves by.
  EXPECT_EQ(rowsOf(testing::grid(scan(), "VsFList1"), {0, 1}), "A 1 \nB 2 \nC 7 \n");
  EXPECT_EQ(rowsOf(testing::grid(recorder(), "VSFlexGrid1"), {1, 2}), "A 1 \nB 2 \nC 7 \n");
  ASSERT_EQ(recorder().engine().stationCount(), 3);
  for (int r = 1; r <= 3; ++r) EXPECT_EQ(recorder().engine().stationName(r), QString("ABC")[r - 1]);

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

// A station whose port and ID another one listed before it has ends the listing of its port;
// names like comments of the settings file keep their recorder marks, where they can have one.
TEST_F(MainWindowTest, CollidingKeyEndsTheListingAndCommentLikeNamesKeepTheirMarks) {
  setPorts({"COM3,9600"});
  addStation("#1", "COM3,9600", "1");
  addStation(";2", "COM3,9600", "2");
  addStation("Twin", "COM3,9600", "1");
  addStation("C", "COM3,9600", "3");
  core::writeIniFile("Maintenance Record", "#1", "-1", dir.path() + "/MSCON.DLL");
  start();
  clock.advance(ms(300));
  EXPECT_EQ(treeText(), "站点资源管理器: COM3,9600 [#1;;2;]");
  clock.advance(ms(1200));  // the recorder applies its settings a second after the load
  // ';' does start a comment: that name has no key.
  EXPECT_EQ(rowsOf(testing::grid(scan(), "VsFList1"), {0, 1}), "#1 1 \n;2 2 \n");
  EXPECT_EQ(rowsOf(testing::grid(recorder(), "VSFlexGrid1"), {0, 1}), "-1 #1 \n ;2 \n");
}

}  // namespace
}  // namespace xl::shell

// The station editor through its controls in its four modes, from the menu and from the
// tree's pop-up: the order of the checks and their messages, the store afterwards, the log
// lines, and the full refresh after the dialog.

#include <gtest/gtest.h>

#include <QAction>
#include <QTreeWidget>

#include "core/app_state.h"
#include "shell/frm_add_station.h"
#include "shell/login.h"
#include "shell_fixture.h"

namespace xl::shell {
namespace {

using platform::ms;
using testing::button;
using testing::combo;
using testing::edit;

class AddStationTest : public testing::ShellFixture {
 protected:
  void SetUp() override {
    ShellFixture::SetUp();
    setPorts({"COM3,9600", "COM4,4800"});
  }
  // Starts the console and lets the stations load into the tree.
  void startAndLoad() {
    start();
    mdi().show();
    clock.advance(ms(300 * 3));
  }
  void type(QLineEdit* box, const QString& text) { testing::retype(box, text); }
  void choose(QComboBox* list, const QString& text) {
    const int i = list->findText(text);
    ASSERT_GE(i, 0) << text.toStdString();
    list->setCurrentIndex(i);
  }
  // A left click (or a double click) on the node `text` of the tree.
  void clickNode(const QString& text, bool dbl = false) {
    QTreeWidget* tree = mdi().TreeView1();
    const auto found = tree->findItems(text, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(found.size(), 1) << text.toStdString();
    tree->scrollToItem(found[0]);
    QCoreApplication::processEvents();
    const QPoint at = tree->visualItemRect(found[0]).center();
    QTest::mouseClick(tree->viewport(), Qt::LeftButton, {}, at);
    // The second press of a double click arrives as the double click.
    if (dbl) QTest::mouseDClick(tree->viewport(), Qt::LeftButton, {}, at);
  }
  // A left click on the station node, then the pop-up item `item`.
  void popup(const QString& station, const char* item) {
    clickNode(station);
    mdi().action(item)->trigger();
  }
};

TEST_F(AddStationTest, AddChecksInOrderThenStoresAllThirteenFields) {
  startAndLoad();
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_EQ(f.windowTitle(), QStringLiteral("添加站点"));
    EXPECT_TRUE(button(f, "Command1")->isEnabled());
    EXPECT_FALSE(button(f, "Command3")->isEnabled() || button(f, "Command4")->isEnabled());
    // The port list holds the configured entries; nothing is chosen yet.
    QComboBox* port = combo(f, "Port");
    EXPECT_EQ(testing::itemsOf(port), (QStringList{"COM3,9600", "COM4,4800"}));
    EXPECT_EQ(port->currentText(), "");
    EXPECT_EQ(QStringList({testing::labelText(edit(f, "StationNameSS")), testing::labelText(edit(f, "DeviceID")),
                           testing::labelText(port), testing::labelText(edit(f, "Capacity"))}),
              QStringList({"设置站点名称", "绑定的设备ID", "选择通讯端口", "容量(Ah)"}));
    // Everything empty: only the name is asked for.
    click(f, "Command1");
    type(edit(f, "StationNameSS"), "O'Brien 站");
    click(f, "Command1");
    type(edit(f, "DeviceID"), "7");
    click(f, "Command1");
    for (const auto& [box, text] : {std::pair{"Port", "COM4,4800"}, {"ArraysType", "Thin-Film"}, {"BatteryType", "LI"},
                                    {"LoadType", "AC+DC"}})
      choose(combo(f, box), text);
    for (const auto& [box, text] : {std::pair{"PeakPower", "250"}, {"Voc", "44.5"}, {"Vmp", "36"}, {"Capacity", "100"},
                                    {"Voltage", "24"}, {"Power", "60"}, {"Remarks", "屋顶, 东"}})
      type(edit(f, box), QString::fromUtf8(text));
    click(f, "Command1");
    // The dialog stays with its fields; a second add of the name is a duplicate.
    EXPECT_TRUE(f.isVisible());
    click(f, "Command1");
    click(f, "Command2");
  });
  mdi().action("AddStation")->trigger();
  EXPECT_EQ(messages(), (QStringList{"必须填写站点名称", "必须填写设备ID", "必须填写端口", "添加站点成功", "站点名称重复"}));
  const core::Station want{"O'Brien 站", "COM4,4800", "7", "Thin-Film", "250", "44.5", "36", "LI", "100", "24",
                           "AC+DC", "60", "屋顶, 东"};
  EXPECT_EQ(core::getStations("COM4,4800"), std::vector<core::Station>{want});
  EXPECT_EQ(logLines().filter(QStringLiteral("]添加 O'Brien 站 站点成功")).size(), 1);
  // Cancel unloaded the dialog, and the full refresh rebuilt the tree and loads again.
  EXPECT_FALSE(FrmAddStation::exists());
  EXPECT_TRUE(logLines().last().endsWith(QStringLiteral("刷新所有站点，请稍等...")));
  clock.advance(ms(900));
  EXPECT_NE(mdi().node("COM4,4800,7"), nullptr);
}

TEST_F(AddStationTest, AStillLoadedFormKeepsItsFieldsForTheNextAdd) {
  startAndLoad();
  drivers.push_back([&](ui::DialogForm& f) {
    type(edit(f, "StationNameSS"), "A");
    f.hide();  // closed without unloading (as by the window system)
  });
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_EQ(edit(f, "StationNameSS")->text(), "A"); });
  mdi().AddStation_Click();
  ASSERT_TRUE(FrmAddStation::exists());
  mdi().AddStation_Click();
}

// Every refusal of add and update, in the editor's order; none changes the store or the
// settings file.
TEST_F(AddStationTest, RefusalsChangeNeitherTheStoreNorTheSettings) {
  addStation("S1", "COM3,9600", "1");
  addStation("S2", "COM3,9600", "2");
  startAndLoad();
  const QByteArray settings = settingsBytes();
  const auto rows = core::getStations("COM3,9600");
  struct Case {
    bool update;  // else add
    const char* name;
    const char* id;
    const char* message;
  };
  const Case cases[] = {
      {false, "line count", "5", "站点名称不能与设置项同名：line count"},  // the settings' way: case and
      {false, " File Path", "5", "站点名称不能与设置项同名： File Path"},   // blanks around don't count
      {false, "s1", "5", "站点名称重复"},
      {false, "S9", "2", "COM3 上已有设备ID为 2 的站点：S2"},
      {false, "S9", " 02", "COM3 上已有设备ID为 2 的站点：S2"},  // one bus address, other text
      {true, "", "1", "必须填写站点名"},
      {true, "Temporary", "1", "站点名称不能与设置项同名：Temporary"},
      {true, "s2", "1", "站点名称重复"},  // a rename onto another station's name
      {true, "S1", "2", "COM3 上已有设备ID为 2 的站点：S2"},
  };
  for (const Case& c : cases) {
    drivers.push_back([&](ui::DialogForm& f) {
      type(edit(f, "StationNameSS"), QString::fromUtf8(c.name));
      type(edit(f, "DeviceID"), c.id);
      choose(combo(f, "Port"), "COM3,9600");
      click(f, c.update ? "Command3" : "Command1");
      EXPECT_TRUE(f.isVisible());
      click(f, "Command2");
    });
    c.update ? popup("S1", "EditStation1") : mdi().AddStation_Click();
    clock.advance(ms(900));
    EXPECT_EQ(messages().value(int(&c - cases)), QString::fromUtf8(c.message)) << c.name;
  }
  EXPECT_EQ(core::getStations("COM3,9600"), rows);
  EXPECT_EQ(settingsBytes(), settings);
}

TEST_F(AddStationTest, ViewShowsTheStationAndNothingButCancelActs) {
  addStation("S1", "COM3,9600", "1");
  startAndLoad();
  drivers.push_back([&](ui::DialogForm& f) {
    EXPECT_EQ(edit(f, "DeviceID")->text(), "1");
    for (const char* b : {"Command1", "Command3", "Command4"}) {
      EXPECT_FALSE(button(f, b)->isEnabled()) << b;
      click(f, b);
    }
    for (const char* box : {"StationNameSS", "DeviceID", "Remarks"}) {
      EXPECT_FALSE(edit(f, box)->isEnabled()) << box;
      testing::typeText(edit(f, box), "x");
    }
    EXPECT_FALSE(combo(f, "Port")->isEnabled());
    EXPECT_EQ(edit(f, "StationNameSS")->text(), "S1");
    click(f, "Command2");
  });
  const int before = logLines().size();
  popup("S1", "ViewStation");
  EXPECT_TRUE(dialogs.shown.empty() && core::getStations("COM3,9600").size() == 1u);
  // Looking at a station rescans the bus as well.
  EXPECT_EQ(logLines().size(), before + 1);
  // A double click on the node is a preview too.
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_FALSE(button(f, "Command1")->isEnabled()); });
  clock.advance(ms(900));
  clickNode("S1", true);
  EXPECT_EQ(modals.size(), 2);
}

TEST_F(AddStationTest, TheGuestReachesTheEditorThroughThePopupOnly) {
  addStation("S1", "COM3,9600", "1");
  startAndLoad();
  mdi().LogOff_Click();
  EXPECT_FALSE(mdi().action("AddStation")->isEnabled());
  for (const char* item : {"ViewStation", "AddStation1", "EditStation1", "DeleteStation"})
    EXPECT_TRUE(mdi().action(item)->isEnabled()) << item;
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_TRUE(button(f, "Command1")->isEnabled()); });
  mdi().action("AddStation1")->trigger();
  clock.advance(ms(900));
  drivers.push_back([&](ui::DialogForm& f) { EXPECT_TRUE(button(f, "Command3")->isEnabled()); });
  popup("S1", "EditStation1");
  EXPECT_EQ(modals, (QStringList{"FrmAddStation", "FrmAddStation"}));
  // A node that is no station (a port) opens nothing.
  clock.advance(ms(900));
  popup("COM3,9600", "EditStation1");
  EXPECT_EQ(modals.size(), 2);
}

}  // namespace
}  // namespace xl::shell

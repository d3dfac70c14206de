// The port list dialog through its controls: the probe, the match, add, update, delete, the
// OK rule, the settings file afterwards, and the main window's refresh after OK only.

#include <gtest/gtest.h>

#include <QAction>
#include <QLineEdit>
#include <QListWidget>
#include <QStyledItemDelegate>
#include <QTreeWidget>

#include "shell/frm_port_configuration.h"
#include "shell/port_list.h"
#include "shell_fixture.h"

namespace xl::shell {
namespace {

using platform::ms;
using testing::button;
using testing::combo;
using testing::control;

class PortConfigurationTest : public testing::ShellFixture {
 protected:
  QListWidget* list(const QObject& f) { return control<QListWidget>(f, "List1"); }
  QStringList items(const QObject& f) {
    QStringList l;
    for (int i = 0; i < list(f)->count(); ++i) l << list(f)->item(i)->text();
    return l;
  }
  static QStringList entries(const QComboBox* box) { return testing::itemsOf(box); }
  void clickRow(const QObject& f, int row) {
    QListWidgetItem* item = list(f)->item(row);
    QTest::mouseClick(list(f)->viewport(), Qt::LeftButton, {}, list(f)->visualItemRect(item).center());
  }
  void type(QComboBox* box, const QString& text) { testing::typeOver(box, text); }
  // Opens the port list from the main window, `drive` working its controls.
  void openPorts(std::function<void(FrmPortConfiguration&)> drive) {
    drivers.push_back([drive](ui::DialogForm& form) { drive(static_cast<FrmPortConfiguration&>(form)); });
    mdi().PortConfiguration_Click();
  }
};

TEST_F(PortConfigurationTest, LoadProbesThePortsAndMatchesThePortBox) {
  driver.addLine("COM3", 9600);
  driver.addLine("COM12", 9600);
  setPorts({"COM12,4800", "COM7,9600"});
  start();
  scan().setReadInterval(10);
  scan().Timer2.setEnabled(true);
  openPorts([&](FrmPortConfiguration& f) {
    QComboBox* ports = combo(f, "Combo1");
    EXPECT_EQ(entries(ports), (QStringList{"COM3", "COM12"}));
    EXPECT_EQ(ports->currentText(), "COM3");  // the first port found
    EXPECT_EQ(items(f), (QStringList{"COM12,4800", "COM7,9600"}));
    EXPECT_EQ(QStringList({button(f, "Command1")->text(), combo(f, "Combo2")->currentText(), testing::labelText(ports),
                           testing::labelText(combo(f, "Combo5"))}),
              QStringList({QStringLiteral("添加"), "9600", QStringLiteral("端口"), QStringLiteral("奇偶校验位")}));
    // The scan has its rest counter back once the load is done.
    EXPECT_TRUE(scan().Timer2.enabled());
    // Choosing a listed port turns the button into an update of that entry.
    testing::activate(ports, 1);
    EXPECT_EQ(button(f, "Command1")->text() + QString::number(f.editIndex), QStringLiteral("更新0"));
    // Typing matches as the port list's rules say ("M7" is inside "COM7,9600").
    type(ports, "m7");
    EXPECT_EQ(button(f, "Command1")->text() + QString::number(f.editIndex), QStringLiteral("更新1"));
    click(f, "Command4");
  });
  EXPECT_EQ(modals, QStringList{"FrmPortConfiguration"});
  EXPECT_FALSE(FrmPortConfiguration::exists());
}

TEST_F(PortConfigurationTest, AddUpdateDeleteAndOkWriteTheListAndRefresh) {
  driver.addLine("COM3", 9600);
  driver.addLine("COM5", 9600);
  writeSettings("[Main]\r\nconfig=\r\n[COMS]\r\nListCount=4\r\n1=COM3,9600\r\n2=COM4,9600\r\n3=COM6,9600\r\n"
                "4=COM8,9600\r\n");
  // Stations on entries that change: their rows stay, they drop out of the tree.
  addStation("S3", "COM3,9600", "1");
  addStation("S4", "COM4,9600", "2");
  addStation("S6", "COM6,9600", "3");
  start();
  clock.advance(ms(300 * 5));
  ASSERT_TRUE(mdi().node("COM3,9600,1") && mdi().node("COM4,9600,2"));
  const int linesBefore = logLines().size();
  openPorts([&](FrmPortConfiguration& f) {
    QComboBox* ports = combo(f, "Combo1");
    // Update COM3 to 4800: the refresh after OK rebuilds the tree from the new list.
    EXPECT_EQ(button(f, "Command1")->text(), QStringLiteral("更新"));
    type(combo(f, "Combo2"), "4800");
    click(f, "Command1");
    // Add COM5 at 19200, chosen from the list.
    testing::activate(ports, 1);
    combo(f, "Combo2")->setCurrentText("19200");
    EXPECT_EQ(button(f, "Command1")->text(), QStringLiteral("添加"));
    click(f, "Command1");
    EXPECT_EQ(button(f, "Command1")->text(), QStringLiteral("更新"));  // now in the list
    // An empty baud rate adds nothing.
    type(ports, "COM9");
    combo(f, "Combo2")->setCurrentText("");
    click(f, "Command1");
    // COM4 still has a station (Yes to the question), COM8 has none.
    dialogs.answers = {platform::kYes};
    clickRow(f, 1);
    click(f, "Command2");
    clickRow(f, 2);
    click(f, "Command2");
    EXPECT_EQ(messages().size(), 1);
    EXPECT_EQ(items(f), (QStringList{"COM3,4800", "COM6,9600", "COM5,19200"}));
    click(f, "Command3");
    EXPECT_TRUE(f.accepted);
  });
  EXPECT_FALSE(FrmPortConfiguration::exists());  // unloaded by the caller
  // Keys above the new count stay behind; the rest is written in place, byte for byte.
  EXPECT_EQ(settingsBytes(), QByteArray("[Main]\r\nconfig=\r\n[COMS]\r\nListCount=3\r\n1=COM3,4800\r\n2=COM6,9600\r\n"
                                        "3=COM5,19200\r\n4=COM8,9600\r\n"));
  // The full refresh: a rebuilt tree with the new entries, loading from the first port again.
  const QStringList lines = logLines();
  EXPECT_EQ(lines.size(), linesBefore + 1);
  EXPECT_TRUE(lines.last().endsWith(QStringLiteral("刷新所有站点，请稍等...")));
  QTreeWidgetItem* root = mdi().TreeView1()->topLevelItem(0);
  ASSERT_EQ(root->childCount(), 3);
  EXPECT_EQ(root->child(2)->text(0), "COM5,19200");
  EXPECT_EQ(mdi().portCursor, 0);
  EXPECT_TRUE(mdi().Timer2.enabled());
  clock.advance(ms(300 * 4));
  EXPECT_EQ(mdi().node("COM3,9600,1"), nullptr);  // its entry has another baud rate now
  EXPECT_EQ(mdi().node("COM4,9600,2"), nullptr);  // its entry is gone
  EXPECT_NE(mdi().node("COM6,9600,3"), nullptr);
  EXPECT_TRUE(core::findStation("S3") && core::findStation("S4"));
}

// A gateway port: listed as present without a device, added with its address, its address
// changed and taken away again; the settings file holds exactly what the dialog showed.
TEST_F(PortConfigurationTest, GatewayPortsAreAddedUpdatedAndRemoved) {
  driver.addLine("COM3", 9600);
  writeSettings("[COMS]\r\nListCount=2\r\n1=COM3,9600\r\n2=COM7,9600\r\n[Network Ports]\r\nCOM7=TCP://10.0.0.9:502\r\n");
  start();
  const auto address = [](const QObject& f) { return control<QLineEdit>(f, "GatewayAddress"); };
  // What the list shows of an entry.
  const auto shown = [this](const QObject& f, int row) {
    auto* delegate = static_cast<QStyledItemDelegate*>(list(f)->itemDelegate());
    return delegate->displayText(list(f)->item(row)->text(), QLocale());
  };
  openPorts([&](FrmPortConfiguration& f) {
    QComboBox* ports = combo(f, "Combo1");
    EXPECT_EQ(entries(ports), (QStringList{"COM3", "COM7"}));  // COM3 probed, COM7 mapped
    EXPECT_EQ(testing::labelText(address(f)), QStringLiteral("网关地址"));
    EXPECT_EQ(QStringList({shown(f, 0), shown(f, 1)}), QStringList({"COM3,9600", QStringLiteral("COM7,9600 → 10.0.0.9:502")}));
    // Refused with a message, nothing added: no port number, no address.
    for (const auto& [port, typed] : {std::pair{"COMX", "192.168.1.50:8899"}, {"COM5", "192.168.1.50"}, {"COM5", "h:0"}}) {
      type(ports, port);
      address(f)->setText(typed);
      click(f, "Command1");
    }
    EXPECT_EQ(messages().size(), 3);
    EXPECT_EQ(items(f).size(), 2);
    address(f)->setText("192.168.1.50:8899");
    click(f, "Command1");
    EXPECT_EQ(items(f).last() + button(f, "Command1")->text(), QStringLiteral("COM5,9600更新"));
    // The box shows the chosen port's gateway, and empties for a listed serial port.
    type(ports, "COM3");
    EXPECT_EQ(address(f)->text(), "");
    type(ports, "COM7");
    EXPECT_EQ(address(f)->text(), "10.0.0.9:502");
    address(f)->setText("tcp://[fe80::1]:4001");
    click(f, "Command1");
    EXPECT_EQ(shown(f, 1), QStringLiteral("COM7,9600 → [fe80::1]:4001"));
    click(f, "Command3");
  });
  EXPECT_EQ(settingsBytes(), QByteArray("[COMS]\r\nListCount=3\r\n1=COM3,9600\r\n2=COM7,9600\r\n3=COM5,9600\r\n"
                                        "[Network Ports]\r\nCOM7=tcp://[fe80::1]:4001\r\nCOM5=tcp://192.168.1.50:8899\r\n"));
  EXPECT_EQ(shell::gatewayOfPort("COM5"), "tcp://192.168.1.50:8899");
  // Again: COM7 back to a serial port, COM5 deleted from the list takes its address along.
  openPorts([&](FrmPortConfiguration& f) {
    type(combo(f, "Combo1"), "COM7");
    EXPECT_EQ(address(f)->text(), "[fe80::1]:4001");
    address(f)->clear();
    click(f, "Command1");
    list(f)->setCurrentRow(2);
    click(f, "Command2");
    click(f, "Command3");
  });
  EXPECT_EQ(settingsBytes(), QByteArray("[COMS]\r\nListCount=2\r\n1=COM3,9600\r\n2=COM7,9600\r\n3=COM5,9600\r\n"
                                        "[Network Ports]\r\n"));
}

TEST_F(PortConfigurationTest, OkIsGreyWithAnEmptyListAndCancelTouchesNothing) {
  const QByteArray before = "[COMS]\r\nListCount=1\r\n1=COM3,9600\r\n";
  writeSettings(before);
  start();
  clock.advance(ms(20000));
  const QStringList linesBefore = logLines();
  openPorts([&](FrmPortConfiguration& f) {
    EXPECT_EQ(combo(f, "Combo1")->count(), 0);  // no port exists on this bus
    EXPECT_TRUE(button(f, "Command3")->isEnabled());
    clickRow(f, 0);
    click(f, "Command2");
    // Within 300 ms OK is grey, and a click on it does nothing.
    clock.advance(ms(300));
    EXPECT_FALSE(button(f, "Command3")->isEnabled());
    click(f, "Command3");
    EXPECT_TRUE(!f.accepted && f.isVisible());
    click(f, "Command4");
  });
  EXPECT_EQ(settingsBytes(), before);
  EXPECT_EQ(logLines(), linesBefore);  // no refresh
  EXPECT_FALSE(FrmPortConfiguration::exists());
  // The close box is a cancel as well.
  drivers.push_back([&](ui::DialogForm& form) { form.close(); });
  mdi().action("Port Configuration")->trigger();
  EXPECT_EQ(modals.size(), 2);
  EXPECT_EQ(settingsBytes(), before);
  EXPECT_FALSE(FrmPortConfiguration::exists());
}

TEST_F(PortConfigurationTest, TheProbeClosesTheScansPortFirstAndSkipsHeldPorts) {
  driver.addLine("COM3", 9600);
  driver.addLine("COM4", 9600);
  platform::SerialControl holder("Holder");
  holder.setCommPort(4);
  holder.setPortOpen(true);
  start();
  platform::SerialControl* scanPort = link::SerialSession::scanControl();
  ASSERT_NE(scanPort, nullptr);
  scanPort->setCommPort(3);
  scanPort->setPortOpen(true);
  drivers.push_back([&](ui::DialogForm& form) {
    // COM3 was closed for the probe and found; COM4, held, is absent.
    EXPECT_FALSE(scanPort->portOpen());
    EXPECT_EQ(entries(combo(form, "Combo1")), QStringList{"COM3"});
    click(form, "Command4");
  });
  mdi().PortConfiguration_Click();
  holder.setPortOpen(false);
}

}  // namespace
}  // namespace xl::shell

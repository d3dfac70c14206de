// The parameter file on disk, and "恢复默认值".

#include "configuration/parameter_file.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>

#include "configuration/parameter_rules.h"
#include "core/settings.h"
#include "parameter_test_util.h"
#include "platform/gbk.h"

namespace xl::configuration {
namespace {

using namespace testing;
using C = Control;
using Outcome = ImportResult::Outcome;

const QDateTime kNow(QDate(2024, 5, 1), QTime(8, 30, 0));

class ParameterFile : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(dir_.isValid()); }

  QString name(const char* base) const { return dir_.filePath(QString::fromUtf8(base)); }
  QByteArray bytes(const QString& path) const {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }
  void write(const QString& path, const QString& text) const {
    QFile f(path);
    ASSERT_TRUE(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
    f.write(platform::toGbk(text));
  }
  // A file naming a battery type, and more keys.
  QString file(const char* base, const QString& lines) const {
    return write(name(base), "[配置]\r\n" + lines), name(base);
  }

  QTemporaryDir dir_;
};

// A screen with a value of its own in every saved box: a user battery, 24 V, SOC.
ParameterBoxes editedScreen() {
  ParameterBoxes b;
  b.setText(C::LTextBox4, "30.00");
  selectEntry(b, C::Combo2, "User");
  selectEntry(b, C::Combo3, "SOC");
  selectEntry(b, C::Combo4, "24V");
  setTexts(b,
           "LTextBox12=16.50 LTextBox16=14.70 LTextBox18=14.50 LTextBox20=13.70 LTextBox22=13.10 LTextBox38=12.50 "
           "LTextBox40=11.90 LTextBox36=11.00 LTextBox34=10.50 SetChargeCurr=25.00 LTextBox32=28 LTextBox28=90 "
           "LTextBox29=100 LTextBox10=-4 LTextBox8=350 LTextBox45=8 LTextBox24=95 LTextBox44=35 TextLimit=16.00");
  return b;
}

TEST_F(ParameterFile, ExportWritesTheKeysInOrderInGbk) {
  const ExportResult result = exportParameters(editedScreen(), name("station"), kNow);
  EXPECT_TRUE(result.written);
  EXPECT_EQ(result.path, name("station.txt"));
  const QByteArray raw = bytes(result.path);
  EXPECT_EQ(platform::fromGbk(raw),
            "[配置]\r\n电池类型=User\r\n超压电压(V)=16.50\r\n均衡充电电压(V)=14.70\r\n提升充电电压(V)=14.50\r\n"
            "浮充充电电压(V)=13.70\r\n提升充电返回电压(V)=13.10\r\n过放返回电压(V)=12.50\r\n低压警告电压(V)=11.90\r\n"
            "过放电压(V)=11.00\r\n放电限制电压(V)=10.50\r\n充电电流设置(A)=25.00\r\n系统电压=24V\r\n充电模式=SOC\r\n"
            "均衡充电间隔(天)=28\r\n均衡充电时间(分钟)=90\r\n提升充电时间(分钟)=100\r\n温度补偿系数(mV/℃/2V)=-4\r\n"
            "蓄电池容量(Ah)=350\r\n过放延时时间(秒)=8\r\n蓄电池充满电量(%)=95\r\n蓄电池放电限制电量(%)=35\r\n"
            "充电限制电压(V)=16.00\r\n保存日期=2024-05-01    08:30:00\r\n");
}

// The save dialog's name as typed, with and without the suffix, an existing file, a file that
// cannot be written.
TEST_F(ParameterFile, ExportNamesGetTxtOnceAndAFailedWriteIsTold) {
  const std::pair<const char*, const char*> names[] = {
      {"a.txt", "a.txt"}, {"b.TXT", "b.TXT"}, {"c", "c.txt"}, {"d.b", "d.b.txt"}, {"e.txt.bak", "e.txt.bak.txt"}};
  for (const auto& [typed, written] : names) {
    const ExportResult r = exportParameters(editedScreen(), name(typed), kNow);
    EXPECT_EQ(r.path, name(written));
    EXPECT_TRUE(r.written && QFile::exists(name(written))) << typed;
  }
  EXPECT_EQ(QDir(dir_.path()).entryList(QDir::Files).size(), 5);
  EXPECT_EQ(exportParameters(editedScreen(), QString(), kNow).path, QString());
  // Over an existing file: that file, replaced key by key.
  write(name("a.txt"), QStringLiteral("[配置]\r\n电池类型=Gel\r\n"));
  EXPECT_TRUE(exportParameters(editedScreen(), name("a.txt"), kNow).written);
  EXPECT_EQ(core::readIniFile("配置", "电池类型", name("a.txt")), "User");
  // A read-only file and a missing folder: not written, and said so.
  write(name("ro.txt"), QStringLiteral("[配置]\r\n"));
  ASSERT_TRUE(QFile::setPermissions(name("ro.txt"), QFileDevice::ReadOwner | QFileDevice::ReadGroup));
  for (const QString& target : {name("ro"), name("no/such/x")})
    EXPECT_FALSE(exportParameters(editedScreen(), target, kNow).written) << target.toStdString();
  EXPECT_EQ(bytes(name("ro.txt")), platform::toGbk(QStringLiteral("[配置]\r\n")));

  // An emptied screen exports empty values, which import as nothing at all.
  ParameterBoxes empty;
  const QString path = exportParameters(empty, name("empty"), kNow).path;
  EXPECT_TRUE(platform::fromGbk(bytes(path)).contains(QStringLiteral("电池类型=\r\n")));
  ParameterBoxes target = editedScreen();
  EXPECT_EQ(importParameters(target, path).outcome, Outcome::Stopped);
  EXPECT_EQ(target, editedScreen());
}

// A file written before the key of the charge limit existed: the limit is what the battery
// type puts there.
TEST_F(ParameterFile, AnOlderFileKeepsTheTypesLimit) {
  const QString path = exportParameters(editedScreen(), name("round"), kNow).path;
  ParameterBoxes b;
  ASSERT_EQ(importParameters(b, path).outcome, Outcome::Imported);
  EXPECT_TRUE(hasTexts(b, "TextLimit=16.00"));
  write(path,
        platform::fromGbk(bytes(path)).remove(QRegularExpression(QStringLiteral("充电限制电压\\(V\\)=[^\r]*\r\n"))));
  ASSERT_EQ(core::readIniFile("配置", "充电限制电压(V)", path), "");
  ASSERT_EQ(importParameters(b, path).outcome, Outcome::Imported);
  EXPECT_TRUE(hasTexts(b, "TextLimit=15.50"));
}

TEST_F(ParameterFile, ImportNamesAndTypesThatStopIt) {
  EXPECT_EQ(importFileName(QStringLiteral("a.b")), QStringLiteral("a.b"));
  EXPECT_EQ(importFileName(QStringLiteral("a")), QStringLiteral("a.txt"));
  EXPECT_EQ(importFileName(QString()), QStringLiteral(".txt"));

  // A name with a dot and no extension is read as it stands; one without a dot gets ".txt".
  write(name("a.b"), QStringLiteral("[配置]\r\n电池类型=Gel\r\n"));
  ParameterBoxes b;
  EXPECT_EQ(importParameters(b, name("a.b")).outcome, Outcome::Imported);
  EXPECT_EQ(b.text(C::Combo2), "Gel");
  write(name("plain.txt"), QStringLiteral("[配置]\r\n电池类型=Flooded\r\n"));
  EXPECT_EQ(importParameters(b, name("plain")).outcome, Outcome::Imported);
  EXPECT_EQ(b.text(C::Combo2), "Flooded");

  // An unknown type, a type in other case, a missing file, a cancelled dialog: nothing changes.
  const ParameterBoxes before = editedScreen();
  for (const char* content : {"电池类型=Lithium\r\n超压电压(V)=12\r\n", "电池类型=gel\r\n", "超压电压(V)=12\r\n"}) {
    b = before;
    EXPECT_EQ(importParameters(b, file("bad.txt", QString::fromUtf8(content))).outcome, Outcome::Stopped) << content;
    EXPECT_EQ(b, before);
  }
  b = before;
  EXPECT_EQ(importParameters(b, name("missing.txt")).outcome, Outcome::Stopped);
  EXPECT_EQ(importParameters(b, QString()).outcome, Outcome::Stopped);
  EXPECT_EQ(b, before);
}

TEST_F(ParameterFile, ImportedValuesGoInAsTheyStandAndAreWrittenSo) {
  // Every key but the over-voltage.
  const QString path =
      file("gel.txt",
           QStringLiteral(
               "电池类型=Gel\r\n均衡充电电压(V)=14.60\r\n提升充电电压(V)=99\r\n浮充充电电压(V)=13.80\r\n"
               "提升充电返回电压(V)=13.20\r\n过放返回电压(V)=12.60\r\n低压警告电压(V)=12.00\r\n过放电压(V)=11.10\r\n"
               "放电限制电压(V)=10.60\r\n充电电流设置(A)=12.00\r\n系统电压=12V\r\n充电模式=Volt.Comp.\r\n"
               "均衡充电间隔(天)=0\r\n均衡充电时间(分钟)=0\r\n提升充电时间(分钟)=120\r\n温度补偿系数(mV/℃/2V)=3\r\n"
               "蓄电池容量(Ah)=200\r\n过放延时时间(秒)=5\r\n蓄电池充满电量(%)=150\r\n蓄电池放电限制电量(%)=30\r\n"));
  ReadScreen s = readScreen(parameterReply());
  ASSERT_EQ(importParameters(s.boxes, path).outcome, Outcome::Imported);
  // No limit on the boost voltage; the coefficient's change rule alone runs; a key the file
  // lacks (the over-voltage) empties its box.
  EXPECT_TRUE(hasTexts(s.boxes, "-LTextBox16=14.60 LTextBox24=150 LTextBox18=99 LTextBox10=-3 LTextBox12="));
  // The write sends what the boxes say; the empty over-voltage refuses it.
  EXPECT_EQ(command2Click(s.boxes, s.state).action, SetCommand::Action::LogFailure);
  s.boxes.setText(C::LTextBox12, "16.00");
  s.boxes.setText(C::LTextBox18, "14.20");
  const SetCommand cmd = command2Click(s.boxes, s.state);
  ASSERT_EQ(cmd.action, SetCommand::Action::Send) << cmd.text;
  EXPECT_EQ(
      (std::array{wordAt(cmd.frame, 19), std::uint16_t{cmd.frame[35]}, wordAt(cmd.frame, 45), wordAt(cmd.frame, 7)}),
      (std::array<std::uint16_t, 4>{146, 150, 3, 1200}));
}

TEST_F(ParameterFile, LithiumFromAFileCarriesNoCoupling) {
  ParameterBoxes b;
  const QString li = file("li.txt", QStringLiteral("电池类型=LI\r\n提升充电电压(V)=14.00\r\n超压电压(V)=15.00\r\n"));
  ASSERT_EQ(importParameters(b, li).outcome, Outcome::Imported);
  // No system voltage in the file: the type's "Auto".
  EXPECT_TRUE(hasTexts(b, "LTextBox18=14.00 LTextBox12=15.00 TextLimit=15.50 Combo4=Auto"));
}

TEST_F(ParameterFile, ASystemVoltageTheListLacksStopsTheImportWithoutSuccess) {
  for (const char* volts : {"60V", "72V", "96V"}) {
    ParameterBoxes b = editedScreen();
    const QString path =
        file("volts.txt", QStringLiteral("电池类型=Gel\r\n超压电压(V)=15.00\r\n充电电流设置(A)=9.00\r\n"
                                         "系统电压=%1\r\n充电模式=SOC\r\n蓄电池容量(Ah)=500\r\n")
                              .arg(QString::fromUtf8(volts)));
    const ImportResult r = importParameters(b, path);
    EXPECT_EQ(r.outcome, Outcome::Failed) << volts;
    EXPECT_NE(r.logLine.find(volts), std::string::npos) << r.logLine;
    // Steps up to the ten values are done; the list, the mode and the rest are not.
    EXPECT_TRUE(
        hasTexts(b, "Combo2=Gel LTextBox12=15.00 SetChargeCurr=9.00 Combo4=Auto Combo3=Volt.Comp. LTextBox8=200"));
  }
  // Any other unknown text leaves the list alone and the import goes on.
  ParameterBoxes b;
  const QString odd =
      file("odd.txt", QStringLiteral("电池类型=LI\r\n系统电压=110V\r\n充电模式=soc\r\n蓄电池容量(Ah)=500\r\n"));
  EXPECT_EQ(importParameters(b, odd).outcome, Outcome::Imported);
  EXPECT_TRUE(hasTexts(b, "Combo4=Auto Combo3=Volt.Comp. LTextBox8=500"));
}

TEST(RestoreDefaults, TheReferenceColumnWhateverTheTypeWas) {
  ParameterBoxes b = editedScreen();
  selectEntry(b, C::Combo2, "LI");
  restoreDefaults(b);
  ParameterBoxes sealed;
  selectEntry(sealed, C::Combo2, "Sealed");
  for (const ReferenceEntry& e : referenceColumn()) {
    if (e.current == C::SetChargeCurr) continue;
    EXPECT_EQ(b.text(e.current), e.text) << controlName(e.current);
    EXPECT_EQ(b.text(e.current), sealed.text(e.current)) << controlName(e.current);
  }
  // "Volt.Comp." closes the SOC fields again.
  EXPECT_TRUE(hasTexts(b, "SetChargeCurr=30.00 TextLimit=15.50 -LTextBox18 -LTextBox24"));
}

TEST(RestoreDefaults, OnAnEmptyScreenTheCurrentStaysEmptyAndSetAsksForARead) {
  ReadScreen s = readScreen(parameterReply());
  clearAll(s.boxes);
  restoreDefaults(s.boxes);
  EXPECT_TRUE(hasTexts(s.boxes, "SetChargeCurr="));
  const SetCommand cmd = command2Click(s.boxes, s.state);
  EXPECT_EQ(std::pair(cmd.action, cmd.text), std::pair(SetCommand::Action::ShowMessage, std::string("请先读数据")));
}

}  // namespace
}  // namespace xl::configuration

// The settings: GBK text, the settings text without files (how a document reads, and what a
// write changes), and the settings routines on real files (persistence, failures). The station
// table on a real SQLite file, and a request sent to a station by its name.

#include <QFile>
#include <QTemporaryDir>
#include <QThread>
#include <functional>

#include "core/app_state.h"
#include "core/message_log.h"
#include "core/settings.h"
#include "core/sqlite_db.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "core/text_cases.h"
#include "link/frame_codec.h"
#include "platform/failure.h"
#include "platform/gbk.h"
#include "platform/sim_bus.h"

using namespace xl::core;
using xl::platform::fromGbk;
using xl::platform::toGbk;
using xl::testing::mapsTo;

namespace {

QByteArray afterSet(const QByteArray& file, const QString& section, const QString& key, const QString& value) {
  IniDocument doc = IniDocument::parse(file);
  EXPECT_TRUE(doc.set(section, key, value));
  return doc.serialize();
}

Station station(const QString& name, const QString& port, const QString& id) {
  Station s;
  std::tie(s.StationName, s.Port, s.DeviceID) = std::tie(name, port, id);
  return s;
}

QStringList names(const std::vector<Station>& stations) {
  QStringList list;
  for (const Station& s : stations) list << s.StationName;
  return list;
}

// The settings file and the station store of a test, in a folder of its own.
class CoreFiles : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(dir_.isValid());
    configPath = config_ = dir_.filePath("MSCON.DLL");
    setStationStorePath(path_ = dir_.filePath("MSCONS.DLL"));
  }
  void TearDown() override {
    QFile::setPermissions(config_, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    configPath.clear();
    setStationStorePath(QString());
  }

  QByteArray bytes() const {
    QFile file(config_);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
  }
  void setBytes(const QByteArray& data) const {
    QFile file(config_);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(data);
  }
  // Runs SQL on the store directly, as another tool would.
  void execute(const char* sql) const { EXPECT_TRUE(SqliteDb(path_, SQLITE_OPEN_READWRITE, 2000).exec(sql)) << sql; }

  QTemporaryDir dir_;
  QString config_, path_;
};
using SettingsFile = CoreFiles;
using StationStore = CoreFiles;

}  // namespace

// Characters without a GBK code become '?', the text around them stays ('，' is the CSV comma
// stand-in). Invalid bytes read as U+FFFD and the ASCII after them is kept; each call is a
// whole text: a lead byte at the end is not held back for the next call.
TEST(Gbk, ChineseTextHasItsCodePageBytesAndWhatHasNoneLosesOnlyItself) {
  const auto gbk = [](const std::string& t) { return toGbk(QString::fromStdString(t)).toHex(' ').toStdString(); };
  EXPECT_TRUE(mapsTo(gbk, "星澜>d0 c7 c0 bd|配置>c5 e4 d6 c3|，>a3 ac|COM3,9>43 4f 4d 33 2c 39|a😀b>61 3f 62"));
  const auto text = [](const std::string& hex) { return fromGbk(QByteArray::fromHex(hex.c_str())).toStdString(); };
  EXPECT_TRUE(mapsTo(text, "81 3d 78>\uFFFD=x|61 d0>a\uFFFD|c7>\uFFFD|d0 c7>星"));
}

// "section/key>value" read from a hand-edited file, as its editor meant it: sections and keys
// without regard to case; only ';' starts a comment, as in the profile calls ('#' begins an
// ordinary key); only the first of duplicated sections and keys counts; values trimmed, one
// pair of quotes taken off, cut at 499 characters before the trim, freed of NULs; "#key" is
// the profile integer call's reading of the value.
TEST(IniDocument, ReadsAHandEditedFileAsItsEditorMeantIt) {
  const QByteArray file =
      "orphan=before any section\n  [ Main ]  \n\n; note=commented out\n# other=commented out\n"
      "   config   =   pw 1   \njust a line without equals\n[COMS]\r\nListCount=2\r\n"
      "[A]\r\nk=first\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n"
      "[S]\r\nblank=    \r\nempty=\r\npadded=   x y  \t\r\ndq=\"quoted\"\r\nsq='single'\r\n"
      "mixed=\"mixed'\r\ninner=\"a\"b\"\r\nlone=\"\r\nspaced=\" in quotes \"\r\n" +
      QByteArray("nul=a\0b\0\r\n", 10) + "long=" + QByteArray(499, 'a') + QByteArray(101, 'b') +
      "\r\nedge=" + QByteArray(498, 'a') + " zzz\r\n" +
      "[N]\r\nabc=abc\r\nblanks=  42\r\nneg=-17\r\nplus=+5\r\ntail=12abc\r\nhex=0x1F\r\nquoted=\"7\"\r\n"
      "wrap=4294967295\r\nempty=\r\n" +
      "1=COM3,9600";  // no final line end
  const IniDocument doc = IniDocument::parse(file);
  const auto value = [&](const std::string& at) {
    const auto slash = at.find('/');
    const QString section = QString::fromStdString(at.substr(0, slash)),
                  key = QString::fromStdString(at.substr(slash + 1));
    if (key.startsWith('#') && section == "N") return std::to_string(readIniIntValue(doc, section, key.mid(1)));
    const QString v = readIniValue(doc, section, key);
    return v.size() > 20 ? std::to_string(v.size()) + " " + v.right(1).toStdString() : v.toStdString();
  };
  EXPECT_TRUE(mapsTo(value,
                     "Main/config>pw 1|main/CONFIG>pw 1|coms/listcount>2|Main/ListCount>|Other/config>|Main/; note>|"
                     "Main/note>|Main/# other>commented out|Main/just a line without equals>|/orphan>|A/k>first|"
                     "A/other>|S/blank>|S/empty>|S/padded>x y|S/dq>quoted|S/sq>single|S/mixed>\"mixed'|S/inner>a\"b|"
                     "S/lone>\"|S/spaced>in quotes|S/nul>ab|S/long>499 a|S/edge>498 a|N/#abc>0|N/#blanks>42|"
                     "N/#neg>-17|N/#plus>5|N/#tail>12|N/#hex>31|N/#quoted>7|N/#wrap>-1|N/#empty>0|N/#missing>0|"
                     "N/1>COM3,9600"));
  EXPECT_FALSE(doc.value("Main", "ListCount").has_value());
  // Reading and writing back unchanged gives the same bytes.
  EXPECT_EQ(doc.serialize(), file);
  // A write goes to the same first section, so it reads back; the duplicate stays as it was.
  const QByteArray twice = "[A]\r\nk=first\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n";
  EXPECT_EQ(afterSet(twice, "a", "K", "new"),
            "[A]\r\nk=new\r\nk=second\r\n[B]\r\nk=b\r\n[a]\r\nk=third\r\nother=4\r\n");
}

// A written key is replaced where it stands, with its own line end (also in an LF file); a new
// key follows the last entry of its section; a new section goes to the end of the file. A file
// with a UTF-8 mark is read and written as UTF-8, its first section found behind the mark.
TEST(IniDocument, WritesReplaceInPlaceOrAppendAndEndAtANulOrLineBreakAndBadNamesAreRefused) {
  const QByteArray lf = "[A]\r\nx=1\r\n  Key = old value\r\ny=2\r\n[B]\nkey=b\n",
                   gap = "[A]\r\nx=1\r\n\r\n; about B\r\n[B]\r\nk=b\r\n";
  using Write = std::tuple<QByteArray, const char*, const char*, const char*, QByteArray>;
  const Write writes[] = {{lf, "a", "KEY", "new", "[A]\r\nx=1\r\n  Key = new\r\ny=2\r\n[B]\nkey=b\n"},
                          {lf, "B", "key", "c", "[A]\r\nx=1\r\n  Key = old value\r\ny=2\r\n[B]\nkey=c\n"},
                          {gap, "A", "y", "2", "[A]\r\nx=1\r\ny=2\r\n\r\n; about B\r\n[B]\r\nk=b\r\n"},
                          {"[A]\r\n[B]\r\n", "A", "y", "2", "[A]\r\ny=2\r\n[B]\r\n"},
                          {"[A]", "A", "y", "2", "[A]\r\ny=2\r\n"},
                          {"", "COMS", "ListCount", "0", "[COMS]\r\nListCount=0\r\n"},
                          {"[A]\nx=1", "B", "k", "v", "[A]\nx=1\r\n[B]\r\nk=v\r\n"},
                          {"\xEF\xBB\xBF[配置]\r\n名称=星澜\r\n", "配置", "备注", "站点",
                           "\xEF\xBB\xBF[配置]\r\n名称=星澜\r\n备注=站点\r\n"},
                          {"", "配置", "电池类型", "星澜", toGbk(QStringLiteral("[配置]\r\n电池类型=星澜\r\n"))}};
  for (const auto& [file, section, key, value, written] : writes)
    EXPECT_EQ(afterSet(file, section, key, value), written) << written.toStdString();

  IniDocument doc = IniDocument::parse("[S]\r\nk=old\r\n");
  EXPECT_TRUE(doc.set("S", "k", "one\r\n[Evil]\r\nx=1") &&
              doc.set("S", "n", QStringLiteral("ab") + QChar(u'\0') + "cd") && doc.set("S", "q", "\"quoted\""));
  EXPECT_EQ(doc.serialize(), "[S]\r\nk=one\r\nn=ab\r\nq=\"quoted\"\r\n");
  EXPECT_EQ(readIniValue(doc, "S", "q"), "quoted");

  // "section/key>what a write does": a name that would read as another line or section is
  // refused and changes nothing; a station named "#1" is a key like any other.
  const auto set = [&](const std::string& at) {
    const QString section = QString::fromStdString(at.substr(0, at.find('/')));
    return doc.set(section, QString::fromStdString(at.substr(at.find('/') + 1)), "-1") ? "set" : "refused";
  };
  EXPECT_TRUE(
      mapsTo(set, "S/a=b>refused|S/[x>refused|S/;x>refused|S/a\nb>refused|S/😀>refused|S\r\nT/k>refused|S/#1>set"));
  EXPECT_EQ(doc.serialize(), "[S]\r\nk=one\r\nn=ab\r\nq=\"quoted\"\r\n#1=-1\r\n");
  EXPECT_EQ(readIniValue(doc, "S", "#1"), "-1");
}

// Whatever a settings dialog accepts (settingsValueRefusal finds nothing wrong) reads back
// exactly as typed, whatever it sits between; what it refuses is named.
TEST_F(SettingsFile, AnyValueTheDialogsAcceptReadsBackAsTyped) {
  const QStringList pool{"a", "Z", "0",  " ",  "\t", "\"", "'", "=", ";",  "[",
                         "]", "#", "\\", "中", "€",  "·",  "ö", "😀", "\r", "\n"};
  std::uint32_t seed = 12345;
  const auto next = [&seed](std::uint32_t n) {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % n;
  };
  int accepted = 0;
  for (int i = 0; i < 3000; ++i) {
    QString value;
    const std::uint32_t length = next(9);
    for (std::uint32_t k = 0; k < length; ++k)
      value += pool[static_cast<qsizetype>(next(static_cast<std::uint32_t>(pool.size())))];
    if (!settingsValueRefusal("值", value).isEmpty()) continue;
    ++accepted;
    const QString key = "k" + QString::number(i % 7);
    writeIni("S", key, value), writeIni("S", "after", "x");
    ASSERT_EQ(readIni("S", key), value) << value.toStdString();
  }
  EXPECT_GT(accepted, 300);

  const auto refusal = [](const std::string& value) {
    return settingsValueRefusal("密码", QString::fromStdString(value)).toStdString();
  };
  // The other refusals are read by the settings dialogs' tests; an accepted quote or blank at an
  // end would fail the round trip above.
  EXPECT_TRUE(mapsTo(refusal, "站点-😀>不能保存字符：😀|a\nb>密码不能包含换行或控制字符"));
  EXPECT_EQ(settingsValueRefusal("密码", QString(500, u'a')), "密码不能超过499个字符");
}

// A missing file reads empty and comes into being with the first write; every call goes to the
// file: a change made behind the routines' back is seen by the next read and kept by the next
// write, which keeps the file's permissions; a file that cannot be written keeps its contents.
TEST_F(SettingsFile, EveryCallGoesToTheFileAndAFailedWriteChangesNothing) {
  EXPECT_TRUE(readIni("COMS", "ListCount").isEmpty() && readIniInt("COMS", "ListCount") == 0);
  EXPECT_EQ(getPassword(), "426813");
  EXPECT_FALSE(QFile::exists(config_));  // reading creates nothing
  writeIni("Main", "config", "1111");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=1111\r\n");
  EXPECT_EQ(getPassword(), "1111");

  setBytes("[Main]\r\nconfig=2222\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  EXPECT_EQ(getPassword(), "2222");
  const auto mode = QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadGroup;
  ASSERT_TRUE(QFile::setPermissions(config_, mode));
  writeIni("MAIN", "Config", "3333");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=3333\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  // Owner, group and other bits; the user bits depend on who runs the test.
  EXPECT_EQ(QFile::permissions(config_) & 0xF0FF, mode);

  ASSERT_TRUE(QFile::setPermissions(config_, QFileDevice::ReadOwner | QFileDevice::ReadGroup));
  writeIni("Main", "config", "4444"), writeIni("New", "k", "v");
  EXPECT_EQ(bytes(), "[Main]\r\nconfig=3333\r\n; kept\r\n[Other]\r\nx = 1\r\n");
  ASSERT_TRUE(QFile::setPermissions(config_, mode));
  // An all-blank password is no password.
  writeIni("Main", "config", "   ");
  EXPECT_EQ(getPassword(), "426813");
}

TEST_F(StationStore, AMissingFileIsNotCreatedTheInstallerMakesItOnceAndAFileOfJunkIsLeftAlone) {
  EXPECT_FALSE(checkDatabase() || findStation("S1") || insertStation(station("S1", "COM3,9600", "1")) ||
               deleteStation("S1") || updateStation("S1", station("S1", "COM3,9600", "1")));
  EXPECT_EQ(getStationPort("S1") + getStationDeviceID("S1"), "");
  EXPECT_TRUE(getStations("COM3,9600").empty() && !QFile::exists(path_));
  // The installer makes the table once and never alters it.
  ASSERT_TRUE(createStore() && checkDatabase() && insertStation(station("S1", "COM3,9600", "1")));
  EXPECT_TRUE(createStore());
  EXPECT_EQ(getStationPort("S1"), "COM3,9600");

  // A file that is no database is left as it is, and reads as empty.
  setBytes(QByteArray(4096, 'x'));
  setStationStorePath(config_);
  EXPECT_FALSE(checkDatabase() || createStore());
  EXPECT_EQ(getStationPort("S1"), "");
  EXPECT_EQ(bytes(), QByteArray(4096, 'x'));
}

// Every column's round trip is the station editor's test. Here: the stations of a port in
// table order, by the whole port text without regard to case; a quote in a name is just text;
// deleting nothing is no failure; an update that fails loses nothing, a rename comes last.
TEST_F(StationStore, StationsOfAPortInTableOrderAndUpdatesThatLoseNothing) {
  ASSERT_TRUE(createStore());
  const QString quoted = QStringLiteral("O'B \"北站\"");  // same port and DeviceID as B
  for (const Station& s : {station("B", "COM3,9600", "1"), station("A", "COM3,19200", "2"),
                           station(quoted, "COM3,9600", "1"), station("D", "COM4,9600", "3")})
    ASSERT_TRUE(insertStation(s));
  EXPECT_EQ(names(getStations("com3,9600")), QStringList({"B", quoted}));
  EXPECT_EQ(names(getStations("COM3,19200")), QStringList({"A"}));
  EXPECT_TRUE(getStations("COM3").empty() && getStations("COM3,9600 ").empty());
  EXPECT_EQ(findStation(quoted), station(quoted, "COM3,9600", "1"));
  EXPECT_EQ(getStationDeviceID("d"), "3");
  ASSERT_TRUE(deleteStation("b") && deleteStation(quoted) && deleteStation(quoted));
  EXPECT_TRUE(getStations("COM3,9600").empty());

  // An insert that fails after the delete: the old row is still there.
  execute(
      "create trigger refuse before insert on Station when new.StationName = 'Bad' "
      "begin select raise(abort, 'refused'); end");
  EXPECT_FALSE(updateStation("A", station("Bad", "COM3,9600", "9")));
  EXPECT_EQ(findStation("A"), station("A", "COM3,19200", "2"));
  EXPECT_TRUE(updateStation("A", station("S9", "COM4,9600", "5")) && !findStation("A"));
  EXPECT_TRUE(names(getStations("COM4,9600")) == QStringList({"D", "S9"}) && getStationDeviceID("S9") == "5");

  // sameStationName is the store's own comparison: the store finds a name exactly when it says so.
  const std::pair<const char*, const char*> pairs[] = {{"abc", "ABC"}, {"东区", "东区"}, {"Äa", "äa"},
                                                       {"a", "a "},    {"Σ", "σ"},       {"x1", "X1"}};
  for (const auto& [stored, asked] : pairs) ASSERT_TRUE(insertStation(station(stored, "COM9,9600", "1")));
  for (const auto& [stored, asked] : pairs)
    EXPECT_EQ(findStation(asked).has_value(), sameStationName(stored, asked)) << stored << " / " << asked;
}

// The lookup by name is cached; every change, through the routines or by another tool on the
// file, is seen at the next lookup.
TEST_F(StationStore, TheCachedLookupFollowsEveryChange) {
  // The first row of a name counts.
  ASSERT_TRUE(createStore() && insertStation(station("S1", "COM3,9600", "1")) &&
              insertStation(station("s1", "COM4,9600", "7")));
  EXPECT_EQ(getStationPort("S1") + "|" + getStationDeviceID("s1"), "COM3,9600|1");
  EXPECT_EQ(getStationPort(QStringLiteral("Ｓ1")), "");  // only ASCII letters fold, as in the file

  // The port and ID of a name, looked up before a change and again after it.
  const auto after = [](const QString& name, const std::function<void()>& change) {
    getStationPort(name);
    change();
    return getStationPort(name) + "|" + getStationDeviceID(name);
  };
  EXPECT_EQ(after("S2", [] { insertStation(station("S2", "COM5,9600", "2")); }), "COM5,9600|2");
  EXPECT_EQ(after("S2", [] { updateStation("S2", station("S3", "COM6,9600", "3")); }), "|");
  EXPECT_EQ(after("S1", [] { deleteStation("S1"); }), "|");
  // Another tool's change: the file is looked at again after 250 ms.
  const auto otherTool = [this] {
    execute("update Station set Port = 'COM8,9600' where StationName = 'S3'");
    QThread::msleep(300);
  };
  EXPECT_EQ(after("S3", otherTool), "COM8,9600|3");
  EXPECT_EQ(after("S3", [this] { setStationStorePath(dir_.filePath("none")); }), "|");
}

namespace xl::core {

TEST_F(StationStore, ARequestTakesAddressAndPortFromTheStoreByName) {
  ASSERT_TRUE(createStore());
  for (const auto& [name, id] : {std::pair{"Ten", "10"}, {"Huge", "99999999999"}, {"Words", "abc"}})
    ASSERT_TRUE(insertStation(station(name, "COM3,9600", id)));
  platform::VirtualClock clock;
  platform::setScheduler(&clock);
  platform::SimBusDriver driver;
  platform::setPortDriver(&driver);
  platform::SimLine& line = driver.addLine("COM3", 9600);
  link::SerialSession session("Test.MSComm1", {}, [](Bytes&, const std::string&) {});
  QString log;
  setLogBox({[&] { return log; }, [&](const QString& t) { log = t; }});

  // "r name" through the scan's form, "s name" through a screen's, "q name" a screen's that
  // passes a name that is no station over in silence: "sent frame", "refused" or "thrown",
  // then the line in the message window. The scan's form reads leniently: an address that is
  // no number reads as 0. A screen's form never sends to 0, to an address that does not fit or
  // to a name that is no station; each refusal is one plain Chinese line.
  const auto send = [&](const std::string& call) {
    log.clear();
    const QString name = QString::fromStdString(call.substr(2));
    const std::size_t before = line.wire().size();
    std::string out;
    try {
      if (call[0] == 'r')
        requestStation(session, name, " 03 0100 0023");
      else if (!trySendToStation(session, name, " 03 0100 0023", call[0] == 's'))
        out = "refused";
    } catch (const RuntimeFailure&) {
      out = "thrown";
    }
    if (line.wire().size() > before) out = "sent " + hexText(line.wire().back().bytes);
    clock.advance(platform::ms(400));  // the line is free again (silence)
    return out + log.mid(log.indexOf(']') + 1).toStdString();
  };
  EXPECT_TRUE(mapsTo(send,
                     "r Ten>sent 0A03010000230494|r Words>sent 000301000023043E|r Huge>thrown|"
                     "s Huge>refusedHuge：设备ID无效，请求未发送|s Words>refusedWords：设备ID无效，请求未发送|"
                     "s Nobody>refused没有名为“Nobody”的站点，未发送任何数据|q Nobody>refused|s >refused|"
                     "q Ten>sent 0A03010000230494"));
  setLogBox({});
}

}  // namespace xl::core

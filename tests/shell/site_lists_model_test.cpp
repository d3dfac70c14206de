// Random sequences of what an operator does with the port list and the station editor, through
// their controls (clicks, keys, the answers of the question boxes), against a small model of
// the settings file (the port list, the recorder's marks) and of the station store. Every step
// is compared with the model; the first difference fails with the sequence's seed and steps.
// Invariants that follow: never two stations of one name, never an entry removed that was not
// chosen, marks follow their stations, a file that cannot be written changes neither.
//
// XL_MODEL_SEQUENCES sets the number of sequences (2000 unless set; 300 under the sanitizers,
// which look for memory faults rather than for more sequences), XL_MODEL_SEED the first seed.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <QListWidget>
#include <map>
#include <random>

#include "platform/gbk.h"
#include "shell/frm_add_station.h"
#include "shell/frm_port_configuration.h"
#include "shell_fixture.h"

namespace xl::shell {
namespace {

using testing::button;
using testing::combo;
using testing::edit;

const QStringList kNames = {"东区", "南区", "西区", "abc", "ABC", "Line Count"};
const QStringList kIds = {"1", "2", "3"};
const QStringList kPortPool = {"COM3", "COM4", "COM5", "com3"};
const QStringList kBauds = {"9600", "4800"};
const QString kRecorder = QStringLiteral("Maintenance Record");

bool same(const QString& a, const QString& b) { return a.compare(b, Qt::CaseInsensitive) == 0; }

struct Row {
  QString name, port, id;
  bool operator==(const Row&) const = default;
};

// What the two files hold, as the operator's moves should leave them.
struct Model {
  QStringList ports;
  std::vector<Row> rows;
  std::map<QString, QString> marks;  // by the lower-case name: one key of the settings file

  const Row* named(const QString& name) const {
    const auto r = std::ranges::find_if(rows, [&](const Row& r) { return same(r.name, name); });
    return r == rows.end() ? nullptr : &*r;
  }
  int onPort(const QString& entry) const {
    return static_cast<int>(std::count_if(rows.begin(), rows.end(), [&](const Row& r) { return same(r.port, entry); }));
  }
  // The refusal of the station editor for `s`; `opened` is the station an update edits.
  QString refusal(const Row& s, const QString* opened) const {
    if (s.port.isEmpty()) return "必须填写端口";
    if (same(s.name, "Line Count")) return "站点名称不能与设置项同名：" + s.name;
    const auto other = [&](const Row& r) { return !opened || !same(r.name, *opened); };
    if (const Row* r = named(s.name); r && other(*r)) return "站点名称重复";
    for (const Row& r : rows)
      if (same(r.port, s.port) && r.id == s.id && other(r))
        return QStringLiteral("%1 上已有设备ID为 %2 的站点：%3").arg(r.port.section(',', 0, 0), r.id, r.name);
    return {};
  }
  // Whether renaming `from` to `to` changes a key of the settings file.
  bool marksChange(const QString& from, const QString& to) const {
    return !same(from, to) && (marks.contains(from.toLower()) || marks.contains(to.toLower()));
  }
};

class SiteListsModelTest : public testing::ShellFixture {
 protected:
  // ---- the files ----------------------------------------------------------------------

  void writeFiles(const Model& m) {
    QString ini = "[COMS]\r\nListCount=" + QString::number(m.ports.size()) + "\r\n";
    for (int i = 0; i < m.ports.size(); ++i) ini += QString::number(i + 1) + "=" + m.ports[i] + "\r\n";
    ini += "[" + kRecorder + "]\r\nRead Interval=10\r\nLine Count=32000\r\n";
    for (const Row& r : m.rows)
      if (m.marks.contains(r.name.toLower())) ini += r.name + "=" + m.marks.at(r.name.toLower()) + "\r\n";
    QFile::setPermissions(settingsPath(), QFile::ReadOwner | QFile::WriteOwner);
    QFile file(settingsPath());
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(platform::toGbk(ini));
    file.close();
    // The store in one transaction: thousands of sequences start from a state of their own.
    if (!core::checkDatabase()) {
      ASSERT_TRUE(core::createStore());
    }
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(core::stationStorePath().toUtf8().constData(), &db), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(db, "begin; delete from Station", nullptr, nullptr, nullptr), SQLITE_OK);
    for (const Row& r : m.rows) {
      sqlite3_stmt* insert = nullptr;
      sqlite3_prepare_v2(db, "insert into Station values (?, ?, ?, '', '', '', '', '', '', '', '', '', '')", -1, &insert, nullptr);
      for (int i = 0; const QString* text : {&r.name, &r.port, &r.id}) {
        const QByteArray utf8 = text->toUtf8();
        sqlite3_bind_text(insert, ++i, utf8.constData(), int(utf8.size()), SQLITE_TRANSIENT);
      }
      EXPECT_EQ(sqlite3_step(insert), SQLITE_DONE);
      sqlite3_finalize(insert);
    }
    ASSERT_EQ(sqlite3_exec(db, "commit", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  QString settingsPath() const { return core::programDir() + "/MSCON.DLL"; }
  QByteArray settingsBytes() const {
    QFile f(settingsPath());
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  }

  // The difference between the files and the model; empty when there is none.
  QString difference(const Model& m) {
    const QByteArray bytes = settingsBytes();
    if (bytes.count('\n') != bytes.count("\r\n")) return "a line of the settings file ends without CR LF";
    if (platform::toGbk(platform::fromGbk(bytes)) != bytes) return "the settings file is no GBK text";
    QStringList ports;
    for (int i = 1; i <= core::readIniInt("COMS", "ListCount"); ++i) ports << core::readIni("COMS", QString::number(i));
    if (ports != m.ports) return "ports " + ports.join(' ') + " want " + m.ports.join(' ');
    for (const QString& name : kNames) {
      const QString want = m.marks.contains(name.toLower()) ? m.marks.at(name.toLower()) : QString();
      if (name != "Line Count" && core::readIni(kRecorder, name) != want)
        return "mark of " + name + ": " + core::readIni(kRecorder, name) + " want " + want;
    }
    if (core::readIni(kRecorder, "Line Count") != "32000") return "the recorder's Line Count changed";
    for (const char* port : {"COM3,9600", "COM4,9600", "COM5,9600", "COM3,4800", "COM4,4800", "COM5,4800"}) {
      std::vector<Row> stored, want;
      for (const core::Station& s : core::getStations(port)) stored.push_back({s.StationName, s.Port, s.DeviceID});
      for (const Row& r : m.rows)
        if (same(r.port, port)) want.push_back(r);
      if (stored != want) return "stations on " + QString(port) + " differ";
    }
    return {};
  }

  // 0: every change of the store fails (a trigger), 1: the settings file is read-only; else none.
  void lock(int which, bool locked) {
    if (which == 1)
      QFile::setPermissions(settingsPath(), locked ? QFile::ReadOwner : QFile::ReadOwner | QFile::WriteOwner);
    if (which != 0) return;
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(core::stationStorePath().toUtf8().constData(), &db), SQLITE_OK);
    const char* sql = locked ? "create trigger lock1 before insert on Station begin select raise(abort, 'locked'); end;"
                               "create trigger lock2 before delete on Station begin select raise(abort, 'locked'); end;"
                             : "drop trigger lock1; drop trigger lock2;";
    ASSERT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
  }
  static QString lockNote(int which) { return which == 0 ? " (store locked)" : which == 1 ? " (settings locked)" : ""; }

  // ---- the operator's hands -----------------------------------------------------------

  void type(QLineEdit* box, const QString& text) { testing::retype(box, text); }
  // A choice from a list that takes no typing: Home, then Down to the entry.
  void choose(QComboBox* list, const QString& text) {
    const int i = list->findText(text);
    ASSERT_GE(i, 0) << text.toStdString();
    QTest::keyClick(list, Qt::Key_Home);
    for (int k = 0; k < i; ++k) QTest::keyClick(list, Qt::Key_Down);
    ASSERT_EQ(list->currentIndex(), i);
  }
  void clickRow(QListWidget* list, int row) {
    QListWidgetItem* item = list->item(row);
    list->scrollToItem(item);
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(item).center());
  }
  // The box a button press should show (or none), checked as it happens.
  void expectBox(const QString& text) {
    const QStringList shown = messages().mid(boxes_);
    boxes_ = static_cast<int>(dialogs.shown.size());
    ASSERT_EQ(shown, text.isEmpty() ? QStringList() : QStringList{text}) << trail_;
  }
  void expectLastLine(const QString& text) {
    ASSERT_TRUE(logLines().last().endsWith(text)) << logLines().last().toStdString() << trail_;
  }

  // ---- the moves -----------------------------------------------------------------------

  // The station editor in add mode: one or two presses of 添加, then 取消.
  void addStations(Model& m) {
    const Row s{pick(kNames), pick(m.ports), pick(kIds)};
    const int presses = 1 + int(rng_() % 2);
    note("add " + s.name + " " + s.port + " " + s.id + " x" + QString::number(presses));
    drivers.push_back([&](ui::DialogForm& f) {
      type(edit(f, "StationNameSS"), s.name);
      type(edit(f, "DeviceID"), s.id);
      choose(combo(f, "Port"), s.port);
      for (int i = 0; i < presses; ++i) {
        click(f, "Command1");
        const QString refused = m.refusal(s, nullptr);
        if (refused.isEmpty()) m.rows.push_back(s);
        expectBox(refused.isEmpty() ? QStringLiteral("添加站点成功") : refused);
      }
      click(f, "Command2");
    });
    mdi().AddStation_Click();
  }

  // The editor on one station, as the tree's pop-up opens it.
  void openEditor(const QString& name, bool update) {
    auto& editor = FrmAddStation::instance();
    editor.setModeButtons(false, update, !update);
    editor.setEnabled(true);
    editor.openStation(name);
  }

  // Updates, one to three presses of 更新 with the fields changed or not between them; a locked
  // file makes each press fail.
  void updateStation(Model& m) {
    QString opened = m.rows[rng_() % m.rows.size()].name;
    const int lock = int(rng_() % 6);  // 0: the store cannot be written, 1: the settings
    note("update " + opened + lockNote(lock));
    this->lock(lock, true);
    drivers.push_back([&](ui::DialogForm& f) {
      const int presses = 1 + int(rng_() % 3);
      for (int i = 0; i < presses; ++i) {
        Row s = *m.named(opened);
        if (rng_() % 2) type(edit(f, "StationNameSS"), s.name = pick(kNames));
        if (rng_() % 3 == 0) type(edit(f, "DeviceID"), s.id = pick(kIds));
        if (rng_() % 3 == 0) choose(combo(f, "Port"), s.port = pick(portsInEditor_));
        // Fields not changed show the station as it stands (it was shown, or updated so).
        s = {edit(f, "StationNameSS")->text(), combo(f, "Port")->currentText(), edit(f, "DeviceID")->text()};
        note("  -> " + s.name + " " + s.port + " " + s.id);
        click(f, "Command3");
        const QString refused = m.refusal(s, &opened);
        if (!refused.isEmpty()) {
          expectBox(refused);
          continue;
        }
        if (lock == 0 || (lock == 1 && m.marksChange(opened, s.name))) {
          expectBox({});
          expectLastLine(lock == 0 ? "更新站点失败：站点库无法写入，站点保持原样" : "更新站点失败：设置文件无法写入，站点保持原样");
          ASSERT_TRUE(f.isVisible());
          continue;
        }
        expectBox("更新站点成功");
        // The row goes to the end (a delete and an insert); the mark moves with the name.
        std::erase_if(m.rows, [&](const Row& r) { return same(r.name, opened); });
        m.rows.push_back(s);
        if (!same(opened, s.name)) {
          const auto mark = m.marks.find(opened.toLower());
          std::optional<QString> moved;
          if (mark != m.marks.end()) moved = mark->second, m.marks.erase(mark);
          m.marks.erase(s.name.toLower());
          if (moved) m.marks[s.name.toLower()] = *moved;
        }
        opened = s.name;
      }
      click(f, "Command2");
    });
    openEditor(opened, true);
    this->lock(lock, false);
  }

  // Delete, answered No first now and then; a locked file makes it fail with the dialog open.
  void deleteStation(Model& m) {
    const QString name = m.rows[rng_() % m.rows.size()].name;
    const bool noFirst = rng_() % 3 == 0;
    const int lock = int(rng_() % 6);
    note("delete " + name + (noFirst ? " (No first)" : "") + lockNote(lock));
    this->lock(lock, true);
    drivers.push_back([&](ui::DialogForm& f) {
      if (noFirst) {
        dialogs.answers.push_back(platform::kNo);
        click(f, "Command4");
        expectBox("确定要删除站点?");
        ASSERT_TRUE(f.isVisible());
      }
      dialogs.answers.push_back(platform::kYes);
      click(f, "Command4");
      const bool fails = lock == 0 || (lock == 1 && m.marks.contains(name.toLower()));
      if (fails) {
        expectBox("确定要删除站点?");
        expectLastLine(lock == 0 ? "删除站点失败：站点库无法写入" : "删除站点失败：设置文件无法写入");
        ASSERT_TRUE(f.isVisible());
        click(f, "Command2");
        return;
      }
      ASSERT_EQ(messages().mid(boxes_), (QStringList{"确定要删除站点?", "删除站点成功"})) << trail_;
      boxes_ = static_cast<int>(dialogs.shown.size());
      ASSERT_FALSE(f.isVisible());
      std::erase_if(m.rows, [&](const Row& r) { return same(r.name, name); });
      m.marks.erase(name.toLower());
    });
    openEditor(name, false);
    this->lock(lock, false);
  }

  // The port list: a few of 添加/更新, choosing an entry, 删除 (pressed twice now and then),
  // then 确定 or 取消.
  void editPorts(Model& m) {
    note("ports");
    drivers.push_back([&](ui::DialogForm& form) {
      auto& f = static_cast<FrmPortConfiguration&>(form);
      auto* list = testing::control<QListWidget>(f, "List1");
      QStringList shown = m.ports;
      int chosen = -1;
      const int steps = 1 + int(rng_() % 5);
      for (int i = 0; i < steps; ++i) {
        const int what = int(rng_() % 3);
        if (what == 0) {
          const QString port = pick(kPortPool), baud = pick(kBauds);
          note("  " + port + "," + baud + " " + button(f, "Command1")->text());
          testing::typeOver(combo(f, "Combo1"), port);
          testing::typeOver(combo(f, "Combo2"), baud);
          click(f, "Command1");
          const auto at = std::find_if(shown.begin(), shown.end(), [&](const QString& e) { return same(e.section(',', 0, 0), port); });
          (at != shown.end() ? *at : shown.emplace_back()) = port + "," + baud;
        } else if (what == 1 && !shown.isEmpty()) {
          chosen = int(rng_() % shown.size());
          note("  choose " + shown[chosen]);
          clickRow(list, chosen);
        } else {
          const int presses = 1 + int(rng_() % 2);
          for (int p = 0; p < presses; ++p) {
            note("  删除");
            ASSERT_EQ(button(f, "Command2")->isEnabled(), chosen >= 0) << trail_;
            QString question;
            bool yes = true;
            if (chosen >= 0) {
              const QString entry = shown[chosen];
              QStringList others = shown;
              others.removeAt(chosen);
              if (m.onPort(entry) > 0 && !others.contains(entry, Qt::CaseInsensitive)) {
                question = QStringLiteral("%1 上还有 %2 个站点，删除后这些站点将不再显示。确定删除?")
                               .arg(entry.section(',', 0, 0)).arg(m.onPort(entry));
                yes = rng_() % 2;
                dialogs.answers.push_back(yes ? platform::kYes : platform::kNo);
              }
            }
            click(f, "Command2");
            expectBox(question);
            if (chosen >= 0 && yes) {
              shown.removeAt(chosen);
              chosen = -1;
            }
          }
        }
        ASSERT_EQ(f.entries(), shown) << trail_;
      }
      clock.advance(platform::ms(300));  // OK follows the list within 300 ms
      if (rng_() % 4 && !shown.isEmpty()) {
        note("  确定");
        click(f, "Command3");
        m.ports = shown;
      } else {
        note("  取消");
        click(f, "Command4");
      }
    });
    mdi().PortConfiguration_Click();
  }

  // ---- the sequences -------------------------------------------------------------------

  QString pick(const QStringList& from) { return from[int(rng_() % from.size())]; }
  void note(const QString& step) { trail_ += "\n  " + step.toStdString(); }

  Model randomStart() {
    Model m;
    QStringList entries = {"COM3,9600", "COM4,9600", "COM5,4800"};
    std::shuffle(entries.begin(), entries.end(), rng_);
    m.ports = entries.mid(0, 1 + int(rng_() % 3));
    const int stations = int(rng_() % 4);
    for (int i = 0; i < stations; ++i) {
      Row r{pick(kNames), pick(m.ports), pick(kIds)};
      if (!m.refusal(r, nullptr).isEmpty()) continue;
      m.rows.push_back(r);
      if (rng_() % 3) m.marks[r.name.toLower()] = rng_() % 2 ? "-1" : "0";
    }
    return m;
  }

  std::mt19937 rng_;
  std::string trail_;
  int boxes_ = 0;
  QStringList portsInEditor_;
};

TEST_F(SiteListsModelTest, RandomSequencesOfTheDialogsKeepTheFilesAsTheModelSays) {
#if defined(__SANITIZE_ADDRESS__)
  constexpr int kSequences = 300;
#else
  constexpr int kSequences = 2000;
#endif
  const int sequences = qEnvironmentVariableIsSet("XL_MODEL_SEQUENCES") ? qEnvironmentVariableIntValue("XL_MODEL_SEQUENCES") : kSequences;
  const unsigned firstSeed = qEnvironmentVariableIsSet("XL_MODEL_SEED") ? unsigned(qEnvironmentVariableIntValue("XL_MODEL_SEED")) : 1;
  start();
  for (int n = 0; n < sequences; ++n) {
    const unsigned seed = firstSeed + unsigned(n);
    rng_.seed(seed);
    Model m = randomStart();
    writeFiles(m);
    dialogs.shown.clear();
    boxes_ = 0;
    trail_ = "\nseed " + std::to_string(seed) + ":";
    const int steps = 2 + int(rng_() % 5);
    for (int i = 0; i < steps; ++i) {
      portsInEditor_ = m.ports;  // the editor's port list is the settings' when it opens
      const int what = int(rng_() % 4);
      if (what == 0 && !m.ports.isEmpty()) addStations(m);
      else if (what == 1 && !m.rows.empty()) updateStation(m);
      else if (what == 2 && !m.rows.empty()) deleteStation(m);
      else editPorts(m);
      if (HasFatalFailure()) return;
      ASSERT_TRUE(dialogs.answers.empty()) << "an answer was not asked for" << trail_;
      const QString diff = difference(m);
      ASSERT_TRUE(diff.isEmpty()) << diff.toStdString() << trail_;
    }
  }
}

}  // namespace
}  // namespace xl::shell

// The recorder left alone: the whole console in virtual time against simulated controllers,
// every station marked, a save cycle a minute, with faults injected at random: silent stations,
// CRC errors, replies split by a gap, a station unplugged for hours, the root folder taken away
// and put back. At the end every cycle of every station must have its line in the station's
// files, written at once or queued and written when the folder came back, with no line lost and
// none twice.
//
// The simulated length is XL_SOAK_HOURS (6 unless set; 168 for a week, run by hand), the
// random choices follow XL_SOAK_SEED (1 unless set). With two simulated days or more, the heap
// in use at the end may not exceed that after the first day by more than a few pages, and the
// resident memory (which also holds what the allocator keeps in reserve) by a few megabytes;
// not under AddressSanitizer, whose quarantine grows on purpose.

#include <gtest/gtest.h>
#include <malloc.h>

#include <QDir>
#include <QFile>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>

#include "monitoring/recorder_line.h"
#include "platform/gbk.h"
#include "support/console_fixture.h"
#include "tools/sim/bus.h"

namespace xl {
namespace {

using platform::ms;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAsan = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kAsan = true;
#else
constexpr bool kAsan = false;
#endif
#else
constexpr bool kAsan = false;
#endif

const QDateTime kBase(QDate(2026, 1, 5), QTime(0, 0, 0));

double envNumber(const char* name, double fallback) {
  const char* v = std::getenv(name);
  if (!v || !*v) return fallback;
  char* end = nullptr;
  const double d = std::strtod(v, &end);
  return end && *end == '\0' && d > 0 ? d : fallback;
}

long residentKb() {
  QFile f("/proc/self/status");
  if (!f.open(QIODevice::ReadOnly)) return 0;
  for (const QByteArray& line : f.readAll().split('\n'))
    if (line.startsWith("VmRSS:")) return line.mid(6).trimmed().split(' ').value(0).toLong();
  return 0;
}

// Bytes the program holds on the heap (what a leak grows; resident memory also holds what the
// allocator keeps in reserve after fragmentation).
long heapInUseKb() { return static_cast<long>(mallinfo2().uordblks / 1024); }

class RecorderSoakTest : public testing::ConsoleFixture {};

TEST_F(RecorderSoakTest, EveryCycleOfEveryStationReachesItsFile) {
  const double hours = envNumber("XL_SOAK_HOURS", 6);
  const auto seed = static_cast<unsigned>(envNumber("XL_SOAK_SEED", 1));
  const std::int64_t totalSeconds = static_cast<std::int64_t>(hours * 3600);
  std::mt19937 random(seed);

  // Two lines of three stations each, all marked, a cycle every 61 s.
  const QString ini = dir.path() + "/MSCON.DLL";
  const QString root = dir.path() + "/data";
  const QString away = dir.path() + "/data-away";
  ASSERT_TRUE(QDir().mkpath(root));
  setPorts({"COM3,9600", "COM4,9600"});
  sim::Bus bus(driver);
  struct Station {
    QString name;
    sim::Controller* controller;
  };
  std::vector<Station> stations;
  for (const char* port : {"COM3", "COM4"}) {
    for (std::uint8_t address = 1; address <= 3; ++address) {
      const QString name = QStringLiteral("%1站%2").arg(QString::fromLatin1(port)).arg(address);
      addStation(name, QString::fromLatin1(port) + ",9600", QString::number(address));
      core::writeIniFile("Maintenance Record", name, "-1", ini);
      stations.push_back({name, &bus.add(port, address)});
    }
  }
  core::writeIniFile("Maintenance Record", "Auto Saving", "1", ini);
  core::writeIniFile("Maintenance Record", "File Path", root, ini);
  core::writeIniFile("Maintenance Record", "Save Interval H", "0", ini);
  core::writeIniFile("Maintenance Record", "Save Interval M", "1", ini);
  core::writeIniFile("Maintenance Record", "Line Count", "50", ini);  // rolls files within the hour

  start();
  recorder().engine().setTimeSource([this] {
    return kBase.addMSecs(std::chrono::duration_cast<std::chrono::milliseconds>(clock.now()).count());
  });

  // Faults end at a time of their own; the root folder and the unplugged station likewise.
  std::map<std::size_t, std::int64_t> faultEnds;  // station -> second the fault ends
  std::int64_t rootBackAt = -1;
  int rootRemovals = 0, unplugs = 0, faultsInjected = 0;
  long rssAfterDay = 0, heapAfterDay = 0;
  std::uniform_int_distribution<std::size_t> anyStation(0, stations.size() - 1);
  std::uniform_real_distribution<double> chance(0, 1);

  for (std::int64_t minute = 1; minute * 60 <= totalSeconds; ++minute) {
    clock.advance(ms(60000));
    const std::int64_t now = minute * 60;
    // The simulated lines keep a log of every frame for tests that look at the wire; this one
    // does not, and the log is not the console's memory.
    for (const char* port : {"COM3", "COM4"}) driver.line(port)->clearWire();
    for (auto it = faultEnds.begin(); it != faultEnds.end();) {
      if (it->second <= now) {
        stations[it->first].controller->setFaults({});
        it = faultEnds.erase(it);
      } else {
        ++it;
      }
    }
    if (rootBackAt >= 0 && rootBackAt <= now) {
      ASSERT_TRUE(QDir().rename(away, root));
      rootBackAt = -1;
    }
    // In every run, however short: the root folder away for 25 minutes from minute 20, and the
    // first station unplugged for an hour from minute 50.
    if (minute == 20) {
      ASSERT_TRUE(QDir().rename(root, away));
      rootBackAt = now + 25 * 60;
      ++rootRemovals;
    }
    if (minute == 50 && !faultEnds.contains(0)) {
      stations[0].controller->setFaults({.silent = true});
      faultEnds[0] = now + 3600;
      ++unplugs;
    }
    if (chance(random) < 0.08) {
      const std::size_t s = anyStation(random);
      if (!faultEnds.contains(s)) {
        sim::Faults f;
        const double kind = chance(random);
        std::int64_t length = 60 * std::uniform_int_distribution<int>(1, 15)(random);
        if (kind < 0.3) {
          f.silent = true;
        } else if (kind < 0.55) {
          f.badCrc = true;
        } else if (kind < 0.85) {
          // A gap shorter or longer than the receive window: whole, or cut in two.
          f.splitGap = ms(std::uniform_int_distribution<int>(10, 400)(random));
        } else if (kind < 0.95) {
          f.delay = ms(std::uniform_int_distribution<int>(50, 1500)(random));
        } else {
          f.silent = true;  // unplugged for hours
          length = 3600 * std::uniform_int_distribution<int>(1, 3)(random);
          ++unplugs;
        }
        stations[s].controller->setFaults(f);
        faultEnds[s] = now + length;
        ++faultsInjected;
      }
    }
    if (rootBackAt < 0 && chance(random) < 0.004) {
      ASSERT_TRUE(QDir().rename(root, away));
      rootBackAt = now + 60 * std::uniform_int_distribution<int>(5, 60)(random);
      ++rootRemovals;
    }
    if (now == 24 * 3600) {
      rssAfterDay = residentKb();
      heapAfterDay = heapInUseKb();
    }
  }
  // Everything back in place, and one more cycle to write out what is queued.
  for (auto& [s, end] : faultEnds) stations[s].controller->setFaults({});
  if (rootBackAt >= 0) {
    ASSERT_TRUE(QDir().rename(away, root));
  }
  clock.advance(ms(62000));
  const std::int64_t endSeconds = std::chrono::duration_cast<std::chrono::seconds>(clock.now()).count();

  EXPECT_TRUE(recorder().engine().queue().empty());
  EXPECT_EQ(recorder().engine().droppedLines(), 0);
  EXPECT_EQ(ended, 0);

  // The first cycle starts at 62 s; the rows of a pass are 0.3 s apart.
  const std::int64_t cycles = (endSeconds - 2 - 62) / 61 + 1;
  std::int64_t files = 0;
  for (const Station& station : stations) {
    QStringList lines;
    for (int n = 1;; ++n) {
      QFile f(root + "/" + station.name + "/" + QString::number(n) + ".csv");
      if (!f.open(QIODevice::ReadOnly)) break;
      ++files;
      QString text = platform::fromGbk(f.readAll());
      ASSERT_TRUE(text.endsWith("\r\n")) << station.name.toStdString() << " " << n;
      text.chop(2);
      QStringList fileLines = text.split("\r\n");
      ASSERT_EQ(fileLines.value(0), monitoring::headerLine()) << station.name.toStdString() << " " << n;
      fileLines.removeFirst();
      ASSERT_LE(fileLines.size(), 50) << station.name.toStdString() << " " << n;  // the line limit
      lines += fileLines;
    }
    ASSERT_EQ(lines.size(), cycles) << station.name.toStdString();
    QDateTime previous;
    for (const QString& line : lines) {
      ASSERT_EQ(line.split(',').size(), 19) << line.toStdString();
      EXPECT_EQ(line.section(',', 1, 1), station.name);
      const QDateTime stamp = QDateTime::fromString(line.section(',', 0, 0), "yyyy-MM-dd HH:mm:ss");
      ASSERT_TRUE(stamp.isValid()) << line.toStdString();
      if (previous.isValid()) {
        ASSERT_EQ(previous.secsTo(stamp), 61) << line.toStdString();
      }
      previous = stamp;
    }
  }
  const long rssEnd = residentKb();
  const long heapEnd = heapInUseKb();
  std::cout << "soak: " << hours << " simulated hours, seed " << seed << ", " << cycles << " cycles x "
            << stations.size() << " stations, " << files << " files, " << faultsInjected << " faults ("
            << unplugs << " unplugged for hours), root folder away " << rootRemovals << " times; RSS "
            << rssAfterDay << " kB after day 1, " << rssEnd << " kB at the end; heap in use " << heapAfterDay
            << " kB after day 1, " << heapEnd << " kB at the end" << std::endl;
  if (hours >= 48 && !kAsan) {
    EXPECT_LT(rssEnd - rssAfterDay, 8 * 1024);
    // What the program holds stays flat: no more than a few pages of growth after day 1.
    EXPECT_LT(heapEnd - heapAfterDay, 256);
  }
}

}  // namespace
}  // namespace xl

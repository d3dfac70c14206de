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

#include <malloc.h>

#include <QDir>
#include <iostream>
#include <map>
#include <random>

#include "monitoring/recorder_line.h"
#include "tests/e2e/e2e.h"

namespace xl::testing {
namespace {

long residentKb() {
  QFile f("/proc/self/status");
  const QByteArray status = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
  return status.mid(status.indexOf("VmRSS:") + 6).trimmed().split(' ').value(0).toLong();
}

// Bytes the program holds on the heap (what a leak grows; resident memory also holds what the
// allocator keeps in reserve after fragmentation).
long heapInUseKb() { return static_cast<long>(mallinfo2().uordblks / 1024); }

using RecorderSoakTest = ConsoleFixture;

TEST_F(RecorderSoakTest, EveryCycleOfEveryStationReachesItsFile) {
  const double hours = qEnvironmentVariable("XL_SOAK_HOURS", "6").toDouble();
  const auto seed = qEnvironmentVariable("XL_SOAK_SEED", "1").toUInt();
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> chance(0, 1);
  const auto between = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };

  // Two lines of three stations each, all marked, a cycle every 61 s; 50 lines a file, so
  // files roll within the hour.
  const QString ini = dir.path() + "/MSCON.DLL", root = dir.path() + "/data", away = dir.path() + "/data-away";
  ASSERT_TRUE(QDir().mkpath(root));
  setPorts({"COM3,9600", "COM4,9600"});
  sim::Bus bus(driver);
  std::vector<std::pair<QString, sim::Controller*>> stations;
  for (const char* port : {"COM3", "COM4"}) {
    for (std::uint8_t address = 1; address <= 3; ++address) {
      const QString name = QStringLiteral("%1站%2").arg(port).arg(address);
      addStation(name, QString(port) + ",9600", QString::number(address));
      core::writeIniFile("Maintenance Record", name, "-1", ini);
      stations.emplace_back(name, &bus.add(port, address));
    }
  }
  for (const QString& key :
       QStringLiteral("Auto Saving=1|Save Interval H=0|Save Interval M=1|Line Count=50").split('|'))
    core::writeIniFile("Maintenance Record", key.section('=', 0, 0), key.section('=', 1), ini);
  core::writeIniFile("Maintenance Record", "File Path", root, ini);
  start();
  recorder().engine().setTimeSource(
      [this] { return QDateTime(QDate(2026, 1, 5), QTime(0, 0)).addMSecs(platform::toMs(clock.now())); });

  // Faults end at a time of their own (station -> second); the root folder likewise.
  std::map<std::size_t, std::int64_t> faultEnds;
  std::int64_t rootBackAt = -1;
  int rootRemovals = 0, unplugs = 0, faultsInjected = 0;
  long rssAfterDay = 0, heapAfterDay = 0;
  const auto takeRootAway = [&](std::int64_t back) {
    EXPECT_TRUE(QDir().rename(root, away));
    rootBackAt = back;
    ++rootRemovals;
  };
  const auto inject = [&](std::size_t s, const sim::Faults& f, std::int64_t now, std::int64_t length) {
    stations[s].second->setFaults(f);
    faultEnds[s] = now + length;
    ++faultsInjected;
    unplugs += length >= 3600;  // only the unplugged are silent that long
  };
  for (std::int64_t now = 60; now <= hours * 3600; now += 60) {
    clock.advance(ms(60000));
    // The simulated lines keep a log of every frame for tests that look at the wire; this one
    // does not, and the log is not the console's memory.
    for (const char* port : {"COM3", "COM4"}) driver.line(port)->clearWire();
    std::erase_if(faultEnds, [&](const auto& e) {
      if (e.second <= now) stations[e.first].second->setFaults({});
      return e.second <= now;
    });
    if (rootBackAt >= 0 && rootBackAt <= now) {
      ASSERT_TRUE(QDir().rename(away, root));
      rootBackAt = -1;
    }
    // In every run, however short: the root folder away for 25 minutes from minute 20, and the
    // first station unplugged for an hour from minute 50.
    if (now == 20 * 60) takeRootAway(now + 25 * 60);
    if (now == 50 * 60 && !faultEnds.contains(0)) inject(0, {.silent = true}, now, 3600);
    const auto s = chance(random) < 0.08 ? static_cast<std::size_t>(between(0, 5)) : stations.size();
    if (s < stations.size() && !faultEnds.contains(s)) {
      const double kind = chance(random);
      sim::Faults f;
      std::int64_t length = 60 * between(1, 15);
      // Silent, a bad CRC, a reply split by a gap shorter or longer than the receive window
      // (whole, or cut in two), a slow reply, or unplugged for hours.
      f.silent = kind < 0.3 || kind >= 0.95;
      f.badCrc = kind >= 0.3 && kind < 0.55;
      if (kind >= 0.55 && kind < 0.85) f.splitGap = ms(between(10, 400));
      if (kind >= 0.85 && kind < 0.95) f.delay = ms(between(50, 1500));
      if (kind >= 0.95) length = 3600 * between(1, 3);
      inject(s, f, now, length);
    }
    if (rootBackAt < 0 && chance(random) < 0.004) takeRootAway(now + 60 * between(5, 60));
    if (now == 24 * 3600) std::tie(rssAfterDay, heapAfterDay) = std::pair(residentKb(), heapInUseKb());
  }
  // Everything back in place, and one more cycle to write out what is queued.
  for (const auto& [s, end] : faultEnds) stations[s].second->setFaults({});
  ASSERT_TRUE(rootBackAt < 0 || QDir().rename(away, root));
  clock.advance(ms(62000));
  EXPECT_TRUE(recorder().engine().queue().empty());
  EXPECT_EQ(recorder().engine().droppedLines(), 0);
  EXPECT_EQ(ended, 0);

  // The first cycle starts at 62 s; the rows of a pass are 0.3 s apart. Each file: its header,
  // at most 50 lines, CR LF after each; each line: 19 fields, its station, and the time its row
  // was written: 61 s after the last, or a second later when a receive window held the row's tick
  // over the turn of a second (never earlier, never more).
  // A row's last cycle is the last one due by the end, whatever the run's length.
  const std::int64_t endMs = platform::toMs(clock.now());
  const QDateTime start(QDate(2026, 1, 5), QTime(0, 0));
  std::int64_t files = 0, held = 0, cycles = 0;
  for (std::size_t row = 1; row <= stations.size(); ++row) {
    const QString& name = stations[row - 1].first;
    SCOPED_TRACE(name.toStdString());
    cycles = (endMs - 62000 - 300 * static_cast<std::int64_t>(row)) / 61000 + 1;
    QStringList lines;
    for (int n = 1;; ++n, ++files) {
      QFile f(QStringLiteral("%1/%2/%3.csv").arg(root, name).arg(n));
      if (!f.open(QIODevice::ReadOnly)) break;
      QStringList fileLines = platform::fromGbk(f.readAll()).split("\r\n");
      ASSERT_EQ(fileLines.takeLast(), "");
      ASSERT_EQ(fileLines.takeFirst(), monitoring::headerLine());
      ASSERT_LE(fileLines.size(), 50);
      lines += fileLines;
    }
    ASSERT_EQ(lines.size(), cycles);
    for (int i = 0; i < lines.size(); ++i) {
      const QDateTime due = start.addSecs((62000 + 61000 * i + 300 * static_cast<std::int64_t>(row)) / 1000);
      const QString stamp = lines[i].section(',', 0, 0), late = due.addSecs(1).toString("yyyy-MM-dd HH:mm:ss");
      held += stamp == late;
      ASSERT_EQ(QStringLiteral("%1 %2").arg(lines[i].split(',').size()).arg(lines[i].section(',', 0, 1)),
                QStringLiteral("19 %1,%2").arg(stamp == late ? late : due.toString("yyyy-MM-dd HH:mm:ss"), name))
          << "line " << i;
    }
  }
  const long rssEnd = residentKb(), heapEnd = heapInUseKb();
  std::cout << "soak: " << hours << " simulated hours, seed " << seed << ", " << cycles << " cycles x "
            << stations.size() << " stations, " << files << " files (" << held << " lines stamped a second late), "
            << faultsInjected << " faults (" << unplugs << " unplugged for hours), root folder away " << rootRemovals
            << " times; RSS " << rssAfterDay << " kB after day 1, " << rssEnd << " kB at the end; heap in use "
            << heapAfterDay << " kB after day 1, " << heapEnd << " kB at the end" << std::endl;
#ifndef __SANITIZE_ADDRESS__  // whose quarantine grows on purpose
  if (hours >= 48) {
    EXPECT_LT(rssEnd - rssAfterDay, 8 * 1024);
    // What the program holds stays flat: no more than a few pages of growth after day 1.
    EXPECT_LT(heapEnd - heapAfterDay, 256);
  }
#endif
}

}  // namespace
}  // namespace xl::testing

// The cost of one recorder flush against the number of files in a station's folder.
//
// Each flush looks for the current file by testing 1.csv, 2.csv, ... until one is missing, so
// its cost grows with the files a station has piled up. For each folder size the bench makes a
// fresh root with one marked station whose folder holds that many files, then times flushes of
// one queued line each (the recorder's normal load: one line per marked station and pass).
//
//   bench_recorder [ROOT_PARENT]   (default: the system's temporary folder)

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <chrono>
#include <cstdio>
#include <deque>
#include <vector>

#include "monitoring/recorder_files.h"

using namespace xl::monitoring;

namespace {

bool makeFiles(const QString& folder, int count) {
  if (!QDir().mkpath(folder)) return false;
  for (int n = 1; n <= count; ++n) {
    QFile file(numberedFile(folder, n));
    if (!file.open(QIODevice::WriteOnly)) return false;
    file.write(lineBytes(headerLine()));
  }
  return true;
}

struct Result {
  int files = 0;
  int flushes = 0;
  double meanMicroseconds = 0;
  double minMicroseconds = 0;
};

bool run(const QString& parent, int files, Result& result) {
  QTemporaryDir dir(parent + "/bench_recorder_XXXXXX");
  if (!dir.isValid()) return false;
  const QString root = dir.path();
  if (!makeFiles(stationFolder(root, "Roof"), files)) return false;

  RecorderFiles recorder;
  std::vector<RecorderStation> stations = {{"Roof", true, {}}};
  std::deque<PendingRow> queue;
  const RecorderLimits limits;  // 30 MB, 32000: no roll during the run
  std::int32_t recordCounter = 0;
  const auto row = parseReading(std::nullopt, "Roof", "1", QDateTime::currentDateTime(), 0);
  if (!row) return false;
  const PendingRow pending = pendingRowOf(*row);

  // About a second of flushes, at least 20.
  const int flushes = files >= 10000 ? 20 : files >= 1000 ? 200 : 2000;
  using Clock = std::chrono::steady_clock;
  double total = 0, best = 1e300;
  for (int i = 0; i < flushes; ++i) {
    queue.push_back(pending);
    const auto start = Clock::now();
    const FlushReport report = recorder.flushReadings(root, stations, queue, limits, recordCounter);
    const double us = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    if (report.written != 1 || stations[0].file != numberedFile(stationFolder(root, "Roof"), files)) return false;
    total += us;
    if (us < best) best = us;
  }
  result = {files, flushes, total / flushes, best};
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  const QString parent = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
  std::printf("%8s %8s %14s %14s %16s\n", "files", "flushes", "mean us", "min us", "us per file");
  for (int files : {10, 1000, 10000}) {
    Result r;
    if (!run(parent, files, r)) {
      std::fprintf(stderr, "bench_recorder: the run with %d files failed\n", files);
      return 1;
    }
    std::printf("%8d %8d %14.1f %14.1f %16.3f\n", r.files, r.flushes, r.meanMicroseconds, r.minMicroseconds,
                r.meanMicroseconds / (r.files + 1));
  }
  return 0;
}

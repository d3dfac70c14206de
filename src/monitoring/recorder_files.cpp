#include "monitoring/recorder_files.h"

#include <QDir>
#include <QFileInfo>

namespace xl::monitoring {

namespace {

bool endsWithSeparator(const QString& path) {
#ifdef Q_OS_WIN
  return path.endsWith(u'/') || path.endsWith(u'\\');
#else
  return path.endsWith(u'/');
#endif
}

QString folderFailureLine(const QString& name) {
  return QStringLiteral("数据保存：无法建立站点“%1”的文件夹，该站点的数据没有保存。").arg(name);
}

// Makes the station's folder unless it is there. False when it is not there afterwards.
bool ensureFolder(const QString& folder, const QString& name) {
  if (!isFolderName(name)) return false;
  if (QFileInfo(folder).isDir()) return true;
  return QDir().mkdir(folder) && QFileInfo(folder).isDir();
}

}  // namespace

bool isMarkedCell(const QString& cell) { return cell == QStringLiteral("-1"); }

PendingRow pendingRowOf(const ReadingRow& row) { return {row[2], csvLine(row)}; }

QString stationFolder(const QString& root, const QString& name) {
  return endsWithSeparator(root) ? root + name : root + u'/' + name;
}

QString numberedFile(const QString& folder, int number) {
  return folder + u'/' + QString::number(number) + QStringLiteral(".csv");
}

bool isFolderName(const QString& name) {
  if (name.isEmpty() || name == QStringLiteral(".") || name == QStringLiteral("..")) return false;
  for (const QChar c : name) {
    if (c == u'\0' || c == u'/') return false;
#ifdef Q_OS_WIN
    if (c.unicode() < 0x20 || QStringLiteral("\\:*?\"<>|").contains(c)) return false;
#endif
  }
  return true;
}

int firstFreeNumber(const QString& folder) {
  int i = 1;
  while (QFileInfo::exists(numberedFile(folder, i))) ++i;
  return i;
}

FlushReport RecorderFiles::flushReadings(const QString& root, std::vector<RecorderStation>& stations,
                                         std::deque<PendingRow>& queue, const RecorderLimits& limits,
                                         std::int32_t& recordCounter) {
  FlushReport report;
  // Hidden folders count; an empty root text names no folder at all.
  if (root.isEmpty() || !QFileInfo(root).isDir()) {
    report.rootMissing = true;
    return report;
  }

  QSet<QString> failedFolders;
  for (RecorderStation& station : stations) {
    if (!station.marked) continue;
    const QString folder = stationFolder(root, station.name);
    if (!ensureFolder(folder, station.name)) {
      station.file.clear();
      failedFolders.insert(station.name);
      if (!reportedFolders_.contains(station.name)) {
        reportedFolders_.insert(station.name);
        report.log.append(folderFailureLine(station.name));
      }
      continue;
    }
    reportedFolders_.remove(station.name);

    const int free = firstFreeNumber(folder);
    if (free == 1) {
      station.file = numberedFile(folder, 1);
      printLine1(station.file);
      continue;
    }
    const int current = free - 1;
    const QString currentFile = numberedFile(folder, current);
    // Both tests strict: a file of exactly the limit rolls, and so does a counter at the limit.
    const bool keep = limits.sizeLimitMb * 1000000.0 > static_cast<double>(QFileInfo(currentFile).size()) &&
                      limits.lineLimit > static_cast<double>(recordCounter);
    if (keep) {
      station.file = currentFile;
    } else {
      station.file = numberedFile(folder, current + 1);
      printLine1(station.file);
      recordCounter = 0;
    }
  }

  while (!queue.empty()) {
    const PendingRow row = std::move(queue.front());
    queue.pop_front();
    QString file;
    if (!failedFolders.contains(row.stationName)) {
      for (const RecorderStation& station : stations) {
        if (station.name == row.stationName) {
          file = station.file;
          break;
        }
      }
    }
    if (!file.isEmpty() && appendLine(file, row.line)) {
      ++report.written;
    } else {
      ++report.dropped;
    }
  }
  return report;
}

}  // namespace xl::monitoring

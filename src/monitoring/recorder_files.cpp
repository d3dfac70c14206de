#include "monitoring/recorder_files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <algorithm>

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

bool isUsableRoot(const QString& root) {
  if (root.isEmpty()) return false;
  const QFileInfo info(root);
  return info.isDir() && info.isWritable();
}

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

int countDataLines(const QString& path) {
  QFile file(path);
  if (!file.open(QIODevice::ReadOnly)) return 0;
  qint64 lines = 0;
  char last = '\n';
  while (true) {
    const QByteArray chunk = file.read(1 << 16);
    if (chunk.isEmpty()) break;
    lines += chunk.count('\n');
    last = chunk.back();
  }
  if (last != '\n') ++lines;  // a last line without its line end
  return lines > 0 ? static_cast<int>(std::min<qint64>(lines - 1, INT32_MAX)) : 0;
}

int RecorderFiles::dataLines(const QString& path) {
  const qint64 size = QFileInfo(path).size();
  auto it = lineCounts_.find(path);
  if (it == lineCounts_.end() || it->size != size) it = lineCounts_.insert(path, {size, countDataLines(path)});
  return it->lines;
}

void RecorderFiles::noteWritten(const QString& path, int addedLines) {
  // A file not counted yet is counted from the file when it is next asked about.
  const auto it = lineCounts_.find(path);
  if (it != lineCounts_.end()) *it = {QFileInfo(path).size(), it->lines + addedLines};
}

bool RecorderFiles::startFile(const QString& path) {
  const bool made = printLine1(path);
  lineCounts_.insert(path, {QFileInfo(path).size(), 0});
  return made;
}

FlushReport RecorderFiles::flushReadings(const QString& root, std::vector<RecorderStation>& stations,
                                         std::deque<PendingRow>& queue, const RecorderLimits& limits,
                                         std::int32_t& recordCounter) {
  FlushReport report;
  // Hidden folders count; an empty root text names no folder at all.
  if (!isUsableRoot(root)) {
    report.rootMissing = true;
    return report;
  }

  QSet<QString> failedFolders;
  QHash<QString, int> current;  // the number of each station's current file, by station name
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
      startFile(station.file);
      current.insert(station.name, 1);
      continue;
    }
    const int n = free - 1;
    const QString currentFile = numberedFile(folder, n);
    // Both tests strict: a file of exactly the size limit rolls, and so does one that holds as
    // many data lines as the line limit.
    const bool keep = limits.sizeLimitMb * 1000000.0 > static_cast<double>(QFileInfo(currentFile).size()) &&
                      limits.lineLimit > static_cast<double>(dataLines(currentFile));
    if (keep) {
      station.file = currentFile;
      current.insert(station.name, n);
    } else {
      lineCounts_.remove(currentFile);  // only current files are remembered
      station.file = numberedFile(folder, n + 1);
      startFile(station.file);
      current.insert(station.name, n + 1);
      recordCounter = 0;
    }
  }

  while (!queue.empty()) {
    const PendingRow row = std::move(queue.front());
    queue.pop_front();
    RecorderStation* target = nullptr;
    if (!failedFolders.contains(row.stationName)) {
      for (RecorderStation& station : stations) {
        if (station.name == row.stationName) {
          target = &station;
          break;
        }
      }
    }
    // A queue that waited for its folder may hold more lines of a station than its file has room
    // for: the file rolls between two lines, so every file keeps to the line limit.
    if (target && !target->file.isEmpty() && current.contains(target->name) &&
        !(limits.lineLimit > static_cast<double>(dataLines(target->file)))) {
      const int next = current.value(target->name) + 1;
      lineCounts_.remove(target->file);
      current.insert(target->name, next);
      target->file = numberedFile(stationFolder(root, target->name), next);
      startFile(target->file);
      recordCounter = 0;
    }
    const QString file = target ? target->file : QString();
    if (!file.isEmpty() && appendLine(file, row.line)) {
      noteWritten(file, 1);
      ++report.written;
    } else {
      ++report.dropped;
    }
  }
  return report;
}

}  // namespace xl::monitoring

#include "monitoring/recorder_line.h"

#include <QByteArray>
#include <QFile>

#include "link/device_data_map.h"
#include "platform/gbk.h"

namespace xl::monitoring {

namespace {

QString fromUtf8(const std::string& text) { return QString::fromStdString(text); }

}  // namespace

QString recorderStamp(const QDateTime& when) { return when.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss")); }

const ReadingRow& readingHeaders() {
  static const ReadingRow headers = {
      QStringLiteral("autoid"),
      QStringLiteral("Date Time"),
      QStringLiteral("Station Name"),
      QStringLiteral("Device ID"),
      QStringLiteral("Array Current(A)"),
      QStringLiteral("Array Voltage(V)"),
      QStringLiteral("Array Power(W)"),
      QStringLiteral("Working State"),
      QStringLiteral("Battery Voltage(V)"),
      QStringLiteral("Battery Temp.(℃)"),
      QStringLiteral("Battery Current(A)"),
      QStringLiteral("Battery SOC(%)"),
      QStringLiteral("Load Current(A)"),
      QStringLiteral("Load Power(W)"),
      QStringLiteral("Load Voltage(V)"),
      QStringLiteral("Load State"),
      QStringLiteral("Device Temp.(℃)"),
      QStringLiteral("Battery State"),
      QStringLiteral("Charging State"),
      QStringLiteral("Controller Working State"),
  };
  return headers;
}

std::optional<Bytes> storedReplyOf(const QVariant& cellData) {
  if (cellData.typeId() != QMetaType::QByteArray) return std::nullopt;
  const QByteArray bytes = cellData.toByteArray();
  if (bytes.isEmpty()) return std::nullopt;
  return Bytes(bytes.begin(), bytes.end());
}

std::optional<ReadingRow> parseReading(const std::optional<Bytes>& storedReply, const QString& stationName,
                                       const QString& deviceId, const QDateTime& now, std::int32_t recordCounter) {
  // A station that has not answered yet is read as a reply of zeros; a reply of another length
  // than the real-time block gives no row at all.
  const Bytes reply = storedReply.value_or(Bytes(link::kRealTimeLength, 0));
  const auto block = link::decodeRealTime(reply, link::Reader::Recorder);
  if (!block) return std::nullopt;

  ReadingRow row;
  row[0] = QString::number(recordCounter);
  row[1] = recorderStamp(now);
  row[2] = stationName;
  row[3] = deviceId;
  row[4] = fromUtf8(block->panelCurrent.text);
  row[5] = fromUtf8(block->panelVoltage.text);
  row[6] = fromUtf8(block->panelPower.text);
  row[7] = fromUtf8(block->chargeStateText);
  row[8] = fromUtf8(block->batteryVoltage.text);
  row[9] = fromUtf8(block->batteryTemperature.text);
  row[10] = fromUtf8(block->batteryCurrent.text);
  row[11] = fromUtf8(block->chargeLevel.text);
  row[12] = fromUtf8(block->loadCurrent.text);
  row[13] = fromUtf8(block->loadPower.text);
  row[14] = fromUtf8(block->loadVoltage.text);
  // The fault texts come last: the load group starts from the on/off digit and may replace it.
  row[15] = fromUtf8(block->status.load);
  row[16] = fromUtf8(block->deviceTemperature.text);
  row[17] = fromUtf8(block->status.battery);
  row[18] = fromUtf8(block->status.panel);
  row[19] = fromUtf8(block->status.device);
  return row;
}

QString csvLine(const ReadingRow& row) {
  QString line = row[1];
  for (int c = 2; c < kReadingColumns; ++c) {
    QString cell = row[c];
    cell.replace(u',', u'，');
    line += u',' + cell;
  }
  return line;
}

QString headerLine() {
  const ReadingRow& headers = readingHeaders();
  QString line = headers[1];
  for (int c = 2; c < kReadingColumns; ++c) line += u',' + headers[c];
  return line;
}

QByteArray lineBytes(const QString& line) { return platform::toGbk(line) + QByteArrayLiteral("\r\n"); }

bool appendLine(const QString& path, const QString& line) {
  if (path.isEmpty()) return false;
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Append)) return false;
  const QByteArray bytes = lineBytes(line);
  const bool written = file.write(bytes) == bytes.size();
  file.close();
  return written && file.error() == QFileDevice::NoError;
}

bool printLine1(const QString& path) { return appendLine(path, headerLine()); }

}  // namespace xl::monitoring

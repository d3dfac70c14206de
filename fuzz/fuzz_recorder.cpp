// Fuzzes the recorder's row and line builder with arbitrary stored replies and station names.
//
// Input: one byte giving the length of the name, the name's bytes (read as GBK, so any bytes
// make some text), the rest the stored reply. A row must come exactly for a reply of 73 bytes or
// none at all; its line must hold exactly 18 field separators whatever the name holds, and its
// bytes must end in CR LF. The settings-key and folder-name rules take any name.

#include <QByteArray>
#include <QDateTime>
#include <QVariant>
#include <cstddef>
#include <cstdint>

#include "monitoring/recorder_line.h"
#include "monitoring/recorder_settings.h"
#include "platform/gbk.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace xl::monitoring;
  if (size == 0) return 0;
  const std::size_t nameLength = data[0] < size - 1 ? data[0] : size - 1;
  const QByteArray nameBytes(reinterpret_cast<const char*>(data + 1), static_cast<qsizetype>(nameLength));
  const QString name = xl::platform::fromGbk(nameBytes);
  const std::uint8_t* replyData = data + 1 + nameLength;
  const std::size_t replySize = size - 1 - nameLength;

  const QByteArray stored(reinterpret_cast<const char*>(replyData), static_cast<qsizetype>(replySize));
  const auto reply = storedReplyOf(QVariant(stored));
  if (reply.has_value() != (replySize > 0)) __builtin_trap();

  static const QDateTime when(QDate(2026, 1, 5), QTime(10, 30, 0));
  const auto row = parseReading(reply, name, name, when, static_cast<std::int32_t>(size));
  if (row.has_value() != (replySize == 0 || replySize == 73)) __builtin_trap();
  if (row) {
    const QString line = csvLine(*row);
    if (line.count(u',') != 18) __builtin_trap();
    if (!line.startsWith(QStringLiteral("2026-01-05 10:30:00,"))) __builtin_trap();
    if (!lineBytes(line).endsWith("\r\n")) __builtin_trap();
  }

  const KeyProblem problem = stationKeyProblem(name);
  if ((problem == KeyProblem::None) == stationKeyLogLine(name).has_value()) __builtin_trap();
  return 0;
}

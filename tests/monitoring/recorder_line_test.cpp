#include "monitoring/recorder_line.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <initializer_list>
#include <string>
#include <utility>

namespace xl::monitoring {
namespace {

// A 73-byte real-time reply of address 1 with the given bytes set.
Bytes reply(std::initializer_list<std::pair<std::size_t, std::uint8_t>> set) {
  Bytes data(73, 0);
  data[0] = 0x01;
  data[1] = 0x03;
  data[2] = 70;
  for (const auto& [index, value] : set) data[index] = value;
  return data;
}

// The station of the example: bytes 3.. 00 5A 00 82 01 2C 19 95 00 80 00 32 00 06 00 C8 00 FA
// 00 32, bytes 67..70 80 02 00 00.
Bytes exampleReply() {
  const std::uint8_t data[] = {0x00, 0x5A, 0x00, 0x82, 0x01, 0x2C, 0x19, 0x95, 0x00, 0x80,
                               0x00, 0x32, 0x00, 0x06, 0x00, 0xC8, 0x00, 0xFA, 0x00, 0x32};
  Bytes bytes = reply({{67, 0x80}, {68, 0x02}, {69, 0x00}, {70, 0x00}});
  for (std::size_t i = 0; i < std::size(data); ++i) bytes[3 + i] = data[i];
  return bytes;
}

const QDateTime kExampleTime(QDate(2026, 1, 5), QTime(10, 30, 0));

ReadingRow parsed(const std::optional<Bytes>& bytes, const QString& name = QStringLiteral("Roof"),
                  const QString& id = QStringLiteral("1")) {
  const auto row = parseReading(bytes, name, id, kExampleTime, 7);
  EXPECT_TRUE(row.has_value());
  return row.value_or(ReadingRow{});
}

QByteArray gbk(std::initializer_list<const char*> parts) {
  QByteArray out;
  for (const char* p : parts) out += p;
  return out;
}

// GBK of the Chinese words used below, written out so the test does not trust the converter.
const char* const kCharging = "\xB3\xE4\xB5\xE7";      // 充电
const char* const kNormal = "\xD5\xFD\xB3\xA3";        // 正常
const char* const kCelsius = "\xA1\xE6";               // ℃
const char* const kFullComma = "\xA3\xAC";             // ，

TEST(RecorderLine, ExampleReplyGivesTheExampleLineByteForByte) {
  const ReadingRow row = parsed(exampleReply());
  EXPECT_EQ(row[0], "7");
  const QByteArray expected =
      gbk({"2026-01-05 10:30:00,Roof,1,2.50,20.0,50,MPPT", kCharging, ",13.0,-21,3.00,90,0.50,6,12.8,1,25,",
           kNormal, ",", kNormal, ",", kNormal, "\r\n"});
  EXPECT_EQ(lineBytes(csvLine(row)), expected);
}

TEST(RecorderLine, HeaderLineByteForByte) {
  const QByteArray expected =
      gbk({"Date Time,Station Name,Device ID,Array Current(A),Array Voltage(V),Array Power(W),Working State,"
           "Battery Voltage(V),Battery Temp.(", kCelsius, "),Battery Current(A),Battery SOC(%),Load Current(A),"
           "Load Power(W),Load Voltage(V),Load State,Device Temp.(", kCelsius, "),Battery State,Charging State,"
           "Controller Working State\r\n"});
  EXPECT_EQ(lineBytes(headerLine()), expected);
  EXPECT_EQ(readingHeaders()[0], "autoid");
}

TEST(RecorderLine, StationWithoutReplyGivesTheZeroReading) {
  const QStringList zero = {"0.00", "0.0", "0", "未开启充电", "0.0", "0", "0.00", "0",
                            "0.00", "0",   "0.0", "0", "0", "正常", "正常", "正常"};
  // No cell data at all, and an empty array, both count as no reply yet.
  for (const QVariant& cell : {QVariant(), QVariant(QByteArray()), QVariant(QStringLiteral("x"))}) {
    const ReadingRow row = parsed(storedReplyOf(cell), QStringLiteral("Far"), QStringLiteral("9"));
    EXPECT_EQ(row[1], "2026-01-05 10:30:00");
    EXPECT_EQ(row[2], "Far");
    EXPECT_EQ(row[3], "9");
    for (int c = 4; c < kReadingColumns; ++c) EXPECT_EQ(row[c], zero[c - 4]) << "column " << c;
  }
  // A stored array is used as it is.
  const Bytes bytes = exampleReply();
  const QByteArray stored(reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size()));
  EXPECT_EQ(storedReplyOf(QVariant(stored)), bytes);
}

TEST(RecorderLine, ReplyOfAnotherLengthGivesNoRow) {
  for (std::size_t length : {1u, 5u, 37u, 72u, 74u}) {
    EXPECT_FALSE(parseReading(Bytes(length, 0x11), "A", "1", kExampleTime, 0).has_value()) << length;
  }
}

TEST(RecorderLine, ValueRules) {
  // Array current: "0.00" whenever the array voltage is not above 0, whatever its bytes say.
  EXPECT_EQ(parsed(reply({{19, 0x01}, {20, 0x2C}}))[4], "0.00");
  EXPECT_EQ(parsed(reply({{17, 0x00}, {18, 0x01}, {19, 0x01}, {20, 0x2C}}))[4], "3.00");
  // Temperatures, sign and magnitude with the one-sided test, plain numbers.
  const ReadingRow temps = parsed(reply({{9, 0x80}, {10, 0x81}}));
  EXPECT_EQ(temps[16], "128");
  EXPECT_EQ(temps[9], "-1");
  EXPECT_EQ(parsed(reply({{9, 0xFF}, {10, 0x00}}))[16], "-127");
  // Working state: names up to 6, empty from 7.
  EXPECT_EQ(parsed(reply({{68, 6}}))[7], "限流充电");
  EXPECT_EQ(parsed(reply({{68, 7}}))[7], "");
  EXPECT_EQ(parsed(reply({{68, 0xFF}}))[7], "");
  // Load state digit from bit 7 of byte 67; SOC from byte 4 only.
  EXPECT_EQ(parsed(reply({{67, 0x7F}}))[15], "0");
  EXPECT_EQ(parsed(reply({{3, 0xFF}, {4, 100}}))[11], "100");
}

// Status texts by fault word (bytes 69, 70): columns 15, 17, 18, 19.
struct StatusCase {
  std::uint8_t byte67, byte69, byte70;
  const char* load;
  const char* battery;
  const char* panel;
  const char* device;
};

TEST(RecorderLine, StatusBitsInTheirOrder) {
  const StatusCase cases[] = {
      {0x00, 0x00, 0x00, "0", "正常", "正常", "正常"},
      {0x00, 0x00, 0x01, "0", "蓄电池过放", "正常", "正常"},
      {0x00, 0x00, 0x04, "0", "蓄电池欠压警告", "正常", "正常"},
      {0x00, 0x00, 0x05, "0", "蓄电池过放", "正常", "正常"},       // 2 is an else of 1
      {0x00, 0x00, 0x07, "0", "蓄电池超压", "正常", "正常"},       // 3 overwrites 1
      {0x00, 0x00, 0x80, "0", "正常", "太阳能板超功率", "正常"},
      {0x00, 0x02, 0x00, "0", "正常", "太阳能板超电压", "正常"},
      {0x00, 0x02, 0x80, "0", "正常", "太阳能板超功率", "正常"},   // 5 is an else of 4
      {0x00, 0x03, 0x80, "0", "正常", "正常", "正常"},             // 6 wipes 4 and 5
      {0x00, 0x13, 0x80, "0", "正常", "太阳能板反接", "正常"},     // 7 after 6
      {0x00, 0x00, 0x20, "0", "正常", "正常", "设备超温"},
      {0x00, 0x00, 0x40, "0", "正常", "正常", "蓄电池超温"},
      {0x00, 0x00, 0x60, "0", "正常", "正常", "设备超温"},         // 9 is an else of 8
      {0x80, 0x00, 0x10, "负载过载", "正常", "正常", "正常"},      // replaces the on digit
      {0x80, 0x00, 0x08, "负载短路", "正常", "正常", "正常"},
      {0x00, 0x00, 0x18, "负载短路", "正常", "正常", "正常"},      // 11 after 10
      {0x80, 0x00, 0x00, "1", "正常", "正常", "正常"},
  };
  // Bytes 71, 72, the fault word of the live screen, are all ones in every case and play no part.
  for (const StatusCase& c : cases) {
    const ReadingRow row =
        parsed(reply({{67, c.byte67}, {69, c.byte69}, {70, c.byte70}, {71, 0xFF}, {72, 0xFF}}));
    const QString label = QStringLiteral("%1 %2 %3").arg(c.byte67, 2, 16).arg(c.byte69, 2, 16).arg(c.byte70, 2, 16);
    EXPECT_EQ(row[15], QString::fromUtf8(c.load)) << label.toStdString();
    EXPECT_EQ(row[17], QString::fromUtf8(c.battery)) << label.toStdString();
    EXPECT_EQ(row[18], QString::fromUtf8(c.panel)) << label.toStdString();
    EXPECT_EQ(row[19], QString::fromUtf8(c.device)) << label.toStdString();
  }
}

TEST(RecorderLine, CommasInsideCellsButNotInTheHeader) {
  const ReadingRow row = parsed(exampleReply(), QStringLiteral("Roof,East"), QStringLiteral("1,2"));
  const QString line = csvLine(row);
  EXPECT_TRUE(line.startsWith(QStringLiteral("2026-01-05 10:30:00,Roof，East,1，2,2.50,")));
  EXPECT_EQ(line.count(u','), 18);
  EXPECT_TRUE(lineBytes(line).contains(QByteArray("Roof") + kFullComma + "East"));
  EXPECT_EQ(headerLine().count(u','), 18);
  EXPECT_FALSE(headerLine().contains(u'，'));
}

TEST(RecorderLine, LineToAFileThatCannotBeOpenedFails) {
  QTemporaryDir dir;
  ASSERT_TRUE(dir.isValid());
  EXPECT_FALSE(appendLine(dir.path(), "x"));  // a folder
  EXPECT_FALSE(appendLine(dir.filePath("missing/1.csv"), "x"));
  EXPECT_FALSE(appendLine(QString(), "x"));
}

}  // namespace
}  // namespace xl::monitoring

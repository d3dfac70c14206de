#include "configuration/parameter_file.h"

#include "configuration/parameter_rules.h"
#include "core/settings.h"

namespace xl::configuration {

namespace {

using C = Control;

QString qtext(std::string_view text) { return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())); }

// The ten values read right after the battery type, in the import's order.
const std::vector<ParameterKey> kFirstValues{
    {"超压电压(V)", C::LTextBox12},        {"均衡充电电压(V)", C::LTextBox16},     {"提升充电电压(V)", C::LTextBox18},
    {"浮充充电电压(V)", C::LTextBox20},    {"提升充电返回电压(V)", C::LTextBox22}, {"低压警告电压(V)", C::LTextBox40},
    {"过放电压(V)", C::LTextBox36},        {"过放返回电压(V)", C::LTextBox38},     {"放电限制电压(V)", C::LTextBox34},
    {"充电电流设置(A)", C::SetChargeCurr},
};
// The eight values read after the charge mode.
const std::vector<ParameterKey> kLastValues{
    {"均衡充电间隔(天)", C::LTextBox32},   {"均衡充电时间(分钟)", C::LTextBox28},
    {"提升充电时间(分钟)", C::LTextBox29}, {"温度补偿系数(mV/℃/2V)", C::LTextBox10},
    {"蓄电池容量(Ah)", C::LTextBox8},      {"过放延时时间(秒)", C::LTextBox45},
    {"蓄电池充满电量(%)", C::LTextBox24},  {"蓄电池放电限制电量(%)", C::LTextBox44},
};

// System voltages a file may name: the five of the list, then three the list lacks.
const std::vector<std::string_view> kFileVoltages{"Auto", "12V", "24V", "36V", "48V", "60V", "72V", "96V"};

}  // namespace

const std::vector<ParameterKey>& exportKeys() {
  static const std::vector<ParameterKey> keys{
      {"电池类型", C::Combo2},
      {"超压电压(V)", C::LTextBox12},
      {"均衡充电电压(V)", C::LTextBox16},
      {"提升充电电压(V)", C::LTextBox18},
      {"浮充充电电压(V)", C::LTextBox20},
      {"提升充电返回电压(V)", C::LTextBox22},
      {"过放返回电压(V)", C::LTextBox38},
      {"低压警告电压(V)", C::LTextBox40},
      {"过放电压(V)", C::LTextBox36},
      {"放电限制电压(V)", C::LTextBox34},
      {"充电电流设置(A)", C::SetChargeCurr},
      {"系统电压", C::Combo4},
      {"充电模式", C::Combo3},
      {"均衡充电间隔(天)", C::LTextBox32},
      {"均衡充电时间(分钟)", C::LTextBox28},
      {"提升充电时间(分钟)", C::LTextBox29},
      {"温度补偿系数(mV/℃/2V)", C::LTextBox10},
      {"蓄电池容量(Ah)", C::LTextBox8},
      {"过放延时时间(秒)", C::LTextBox45},
      {"蓄电池充满电量(%)", C::LTextBox24},
      {"蓄电池放电限制电量(%)", C::LTextBox44},
      {kChargeLimitKey, C::TextLimit},
  };
  return keys;
}

QString savedAtText(const QDateTime& when) {
  return when.toString(QStringLiteral("yyyy-MM-dd")) + QStringLiteral("    ") +
         when.toString(QStringLiteral("HH:mm:ss"));
}

void writeParameters(const ParameterBoxes& boxes, const std::string& savedAt, const KeyWriter& write) {
  for (const ParameterKey& k : exportKeys()) write(k.key, boxes.text(k.control));
  write(kSavedAtKey, savedAt);
}

ImportResult readParameters(ParameterBoxes& boxes, const KeyReader& read) {
  using Outcome = ImportResult::Outcome;
  // An unknown type, the empty one of a missing file included, stops before any change.
  if (!selectEntry(boxes, C::Combo2, read("电池类型"))) return {Outcome::Stopped, {}};

  for (const ParameterKey& k : kFirstValues) assignText(boxes, k.control, read(k.key));

  const std::string voltage = read("系统电压");
  for (std::size_t i = 0; i < kFileVoltages.size(); ++i) {
    if (voltage != kFileVoltages[i]) continue;
    if (!boxes.setListIndex(C::Combo4, static_cast<int>(i))) {
      return {Outcome::Failed, "导入设置未完成：文件中的系统电压“" + voltage + "”不在可选列表中"};
    }
    break;
  }

  selectEntry(boxes, C::Combo3, read("充电模式") == "SOC" ? 1 : 0);

  for (const ParameterKey& k : kLastValues) assignText(boxes, k.control, read(k.key));
  // An older file has no charge limit: the box keeps what the battery type put there.
  if (const std::string limit = read(kChargeLimitKey); !limit.empty()) assignText(boxes, C::TextLimit, limit);
  return {Outcome::Imported, {}};
}

QString exportFileName(const QString& chosenName) {
  return chosenName.endsWith(QStringLiteral(".txt"), Qt::CaseInsensitive) ? chosenName
                                                                          : chosenName + QStringLiteral(".txt");
}

ExportResult exportParameters(const ParameterBoxes& boxes, const QString& chosenName, const QDateTime& now) {
  if (chosenName.isEmpty()) return {};
  ExportResult result{exportFileName(chosenName), true};
  const QString section = qtext(kParameterSection);
  writeParameters(boxes, savedAtText(now).toStdString(), [&](std::string_view key, const std::string& value) {
    if (result.written)
      result.written = core::writeIniFile(section, qtext(key), QString::fromStdString(value), result.path);
  });
  return result;
}

QString importFileName(const QString& chosenName) {
  return chosenName.contains(u'.') ? chosenName : chosenName + QStringLiteral(".txt");
}

ImportResult importParameters(ParameterBoxes& boxes, const QString& chosenName) {
  const QString path = importFileName(chosenName);
  const QString section = qtext(kParameterSection);
  return readParameters(
      boxes, [&](std::string_view key) { return core::readIniFile(section, qtext(key), path).toStdString(); });
}

void restoreDefaults(ParameterBoxes& boxes) {
  for (const ReferenceEntry& entry : referenceColumn()) {
    if (entry.current == C::SetChargeCurr)
      assignText(boxes, entry.current, boxes.text(C::LTextBox4));
    else
      assignText(boxes, entry.current, std::string(entry.text));
  }
}

}  // namespace xl::configuration

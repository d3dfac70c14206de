#pragma once
// The parameter file of the control parameter screen, and "恢复默认值".
//
// A parameter file is INI text with one section, "配置", GBK on disk, read and written through
// the settings routines (core/settings.h). Every value is the text of a box as it stands; nothing
// is scaled. Keys, in the order of writing:
//   电池类型, 超压电压(V), 均衡充电电压(V), 提升充电电压(V), 浮充充电电压(V), 提升充电返回电压(V),
//   过放返回电压(V), 低压警告电压(V), 过放电压(V), 放电限制电压(V), 充电电流设置(A), 系统电压,
//   充电模式, 均衡充电间隔(天), 均衡充电时间(分钟), 提升充电时间(分钟), 温度补偿系数(mV/℃/2V),
//   蓄电池容量(Ah), 过放延时时间(秒), 蓄电池充满电量(%), 蓄电池放电限制电量(%), 充电限制电压(V),
//   保存日期.
// "充电限制电压(V)" (TextLimit) is restored by an import when the file has it; an older file
// without it leaves there what the battery type put.
//
// None of this talks to a device; the operator presses "设置" afterwards.

#include <QDateTime>
#include <QString>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "configuration/parameter_block.h"

namespace xl::configuration {

inline constexpr std::string_view kParameterSection = "配置";
inline constexpr std::string_view kSavedAtKey = "保存日期";
inline constexpr std::string_view kChargeLimitKey = "充电限制电压(V)";
inline constexpr std::string_view kExportDoneMessage = "导出数据成功";
// Followed by the file's name.
inline constexpr std::string_view kExportFailedMessage = "导出数据失败：无法写入文件 ";
inline constexpr std::string_view kImportDoneMessage = "导入数据成功";

// A key of the file with the control behind it.
struct ParameterKey {
  std::string_view key;
  Control control;
};
// The 22 keys of an export, in the order of writing ("保存日期" follows them).
const std::vector<ParameterKey>& exportKeys();

// The stamp of "保存日期": the date, four blanks, the time ("2024-05-01    08:30:00").
QString savedAtText(const QDateTime& when);

// ---- Over any key store (UTF-8 texts) -----------------------------------------------------

using KeyWriter = std::function<void(std::string_view key, const std::string& value)>;
using KeyReader = std::function<std::string(std::string_view key)>;

// Writes the 22 keys from the boxes, then "保存日期" with `savedAt`.
void writeParameters(const ParameterBoxes& boxes, const std::string& savedAt, const KeyWriter& write);

struct ImportResult {
  enum class Outcome {
    Stopped,   // unknown battery type: nothing changed, nothing to say
    Imported,  // show "导入数据成功"
    Failed,    // "系统电压" names a list entry the screen lacks (60V, 72V, 96V): the import
               // stopped there with the type and the first ten values set; `logLine` says so
  };
  Outcome outcome;
  std::string logLine;
};
// Reads the keys into the boxes in the import's order: the battery type (its defaults and
// enabled states follow), ten values, the system voltage, the charge mode (its rule follows),
// eight values. Values go into the boxes as they stand, also into disabled boxes; no limit and
// no lithium coupling runs, only LTextBox10's change rule.
ImportResult readParameters(ParameterBoxes& boxes, const KeyReader& read);

// ---- On files ---------------------------------------------------------------------------

// The file an export writes for the save dialog's `chosenName`: ".txt" added unless the name
// already ends so (in any case), so the file written is the one the dialog asked about.
QString exportFileName(const QString& chosenName);

struct ExportResult {
  QString path;          // empty: the dialog was cancelled, nothing was tried
  bool written = false;  // every key landed; false when the file could not be written, or a
                         // write failed half-way
};
// "导出设置" after the save dialog gave `chosenName`: nothing for an empty name (cancel);
// otherwise the keys are written to exportFileName(chosenName), stopping at the first failure.
ExportResult exportParameters(const ParameterBoxes& boxes, const QString& chosenName, const QDateTime& now);

// The name an import reads for the open dialog's `chosenName`: ".txt" appended when the name
// holds no "." at all, so a cancelled dialog reads ".txt", which holds no battery type.
QString importFileName(const QString& chosenName);

// "导入设置" after the open dialog gave `chosenName`.
ImportResult importParameters(ParameterBoxes& boxes, const QString& chosenName);

// "恢复默认值": the reference column into the current column, in its order, the lists chosen by
// text (so the battery type's rule runs), and last SetChargeCurr from LTextBox4, the rated
// charge current. Needs no device.
void restoreDefaults(ParameterBoxes& boxes);

}  // namespace xl::configuration

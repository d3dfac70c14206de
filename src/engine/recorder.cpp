#include "engine/recorder.h"

#include <algorithm>
#include <cmath>

#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/app_state.h"
#include "link/vb_numbers.h"
#include "monitoring/recorder_line.h"
#include "monitoring/recorder_settings.h"

namespace xl::engine {

namespace {

using monitoring::kRecorderSection;

double valOf(const QString& text) { return val(text.toStdString()); }

// A whole number of seconds from Val of a text, held within 32 bits.
std::int32_t wholeSeconds(double v) {
  if (std::isnan(v)) return 0;
  return static_cast<std::int32_t>(roundHalfEven(std::clamp(v, -2147483648.0, 2147483647.0)));
}

QString key(const char* name) { return core::readIni(core::keys::kRecorder, QString::fromLatin1(name)); }

}  // namespace

RecorderConfig recorderConfigFromSettings(const QStringList& stationNames, const QString& programFolder) {
  using namespace monitoring;
  RecorderConfig c;
  // The read interval box holds at most 60 once its text is set.
  c.readInterval = boundedReadInterval(readIntervalOrDefault(key(core::keys::kReadInterval)));
  c.autoSaving = roundHalfEven(valOf(key(core::keys::kAutoSaving))) == 1;
  c.root = filePathOrDefault(key(core::keys::kFilePath), programFolder);
  const SaveIntervalTexts saving = saveIntervalOrDefault(key(core::keys::kSaveIntervalH), key(core::keys::kSaveIntervalM));
  c.hours = saving.hours;
  c.minutes = saving.minutes;
  c.lineCount = lineCountOrDefault(key(core::keys::kLineCount));
  c.sizeLimit = sizeLimitOrDefault(key(core::keys::kTemporary));
  for (const QString& name : stationNames)
    if (stationKeyProblem(name) == KeyProblem::None) c.marks.insert(name, core::readIni(core::keys::kRecorder, name));
  return c;
}

Recorder::Recorder() {
  Timer2.setInterval(1000);
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer3.setInterval(300);
  Timer3.setOnTick([this] { Timer3_Timer(); });
  Timer4.setInterval(60000);
  Timer4.setOnTick([] {});  // starts nothing: the scan keeps its own pace
  Timer4.setEnabled(true);
}

Recorder::~Recorder() = default;

const Recorder::Row* Recorder::rowAt(int row) const {
  return row >= 1 && row <= stationCount() ? &rows_[static_cast<std::size_t>(row - 1)] : nullptr;
}

void Recorder::clearStations() { rows_.clear(); }

void Recorder::appendStation(const QString& name, const QString& deviceId) {
  rows_.push_back({name, deviceId, {}, {}, {}});  // unmarked until the configuration is applied
}

QString Recorder::stationName(int row) const {
  const Row* r = rowAt(row);
  return r ? r->name : QString();
}

void Recorder::storeReply(int row, const QByteArray& reply) {
  if (rowAt(row)) rows_[static_cast<std::size_t>(row - 1)].reply = reply;
}

QByteArray Recorder::storedReply(int row) const {
  const Row* r = rowAt(row);
  return r ? r->reply : QByteArray();
}

QString Recorder::currentFile(int row) const {
  const Row* r = rowAt(row);
  return r ? r->file : QString();
}

QString Recorder::appliedMark(int row) const {
  const Row* r = rowAt(row);
  return r ? r->mark : QString();
}

double Recorder::readIntervalValue() const { return valOf(config_.readInterval); }

std::int32_t Recorder::readIntervalSeconds() const { return wholeSeconds(readIntervalValue()); }

void Recorder::setTimeSource(std::function<QDateTime()> now) { now_ = std::move(now); }

QDateTime Recorder::now() const { return now_ ? now_() : QDateTime::currentDateTime(); }

void Recorder::configure(const RecorderConfig& config) {
  config_ = config;
  for (Row& r : rows_) r.mark = config_.marks.value(r.name);
  saveInterval_ = monitoring::saveIntervalSeconds(config_.hours, config_.minutes);
  Timer2.setEnabled(config_.autoSaving);
  // Timer4 runs on the read interval, in seconds; at 0 or less it never ticks.
  const std::int32_t seconds = readIntervalSeconds();
  Timer4.setInterval(seconds >= 1 ? std::int64_t{seconds} * 1000 : 0);
  Timer4.setEnabled(seconds >= 1);
}

void Recorder::configureFromSettings() {
  QStringList names;
  names.reserve(stationCount());
  for (const Row& r : rows_) names << r.name;
  configure(recorderConfigFromSettings(names, core::programDir()));
}

void Recorder::Timer2_Timer() {
  ++saveTicks_;
  if (saveTicks_ <= saveInterval_) return;
  saveTicks_ = 0;
  if (recordCounter_ < INT32_MAX) ++recordCounter_;
  if (stationCount() >= 1) {
    passRow_ = 1;
    Timer3.setEnabled(true);
  }
}

void Recorder::Timer3_Timer() {
  // The station list was cut back during the pass: the pass is over.
  if (passRow_ < 1 || passRow_ > stationCount()) {
    Timer3.setEnabled(false);
    return;
  }
  if (monitoring::isMarkedCell(appliedMark(passRow_))) {
    parseReading();
    flushReadings();
  }
  if (passRow_ < stationCount()) {
    ++passRow_;
  } else {
    Timer3.setEnabled(false);
  }
}

void Recorder::stop() {
  Timer2.setEnabled(false);
  Timer4.setEnabled(false);
  while (Timer3.enabled()) Timer3_Timer();
  if (!queue_.empty()) flushReadings();
}

void Recorder::parseReading() {
  const Row* r = rowAt(passRow_);
  if (!r) return;
  const auto stored = r->reply.isEmpty() ? std::nullopt : monitoring::storedReplyOf(QVariant(r->reply));
  const auto row = monitoring::parseReading(stored, r->name, r->deviceId, now(), recordCounter_);
  if (row) queue_.push_back(monitoring::pendingRowOf(*row));
}

void Recorder::flushReadings() {
  std::vector<monitoring::RecorderStation> stations;
  stations.reserve(rows_.size());
  for (const Row& r : rows_) stations.push_back({r.name, monitoring::isMarkedCell(r.mark), r.file});
  const monitoring::RecorderLimits limits{valOf(config_.sizeLimit), valOf(config_.lineCount)};
  const monitoring::FlushReport report =
      files_.flushReadings(config_.root, stations, queue_, limits, recordCounter_);
  if (report.rootMissing) return;
  for (std::size_t i = 0; i < rows_.size(); ++i) rows_[i].file = stations[i].file;
  dropped_ += report.dropped;
  for (const QString& line : report.log) core::appendLog(line);
}

}  // namespace xl::engine

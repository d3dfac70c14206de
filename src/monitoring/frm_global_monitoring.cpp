#include "monitoring/frm_global_monitoring.h"

#include <QDateTime>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>

#include "core/settings.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::monitoring {


namespace {

// Columns of the table: header, key.
struct Column {
  const char* header;
  const char* key;
};
const Column kColumns[] = {
    {"站点名称", "Station Name"},      {"设备ID", "ID"},
    {"设备状态", "Device State"},      {"电池板状态", "Array State"},
    {"充电状态", "Charging State"},    {"蓄电池状态", "Battery State"},
    {"负载状态", "Load State"},        {"充电安时数Ah", "Charge Ah"},
    {"放电安时数Ah", "Discharge Ah"},  {"发电量KWh", "Charge KWh"},
    {"用电量KWh", "Discharge KWh"},    {"运行天数", "Total work days"},
    {"过放次数", "Batt.LVD times"},    {"充满次数", "Batt.chargefully times"},
};
// The fourteen columns, the hidden answer mark, then the three columns of the link health.
constexpr int kAnswerColumn = 14;
const Column kHealthColumns[] = {
    {"最后应答", FrmGlobalMonitoring::kLastReplyKey},
    {"距今", FrmGlobalMonitoring::kReplyAgeKey},
    {"应答率", FrmGlobalMonitoring::kAnswerShareKey},
};
constexpr int kFirstHealthColumn = kAnswerColumn + 1;
constexpr int kColumnCount = kFirstHealthColumn + 3;
const QColor kStaleGrey(150, 150, 150);
const QColor kAgeRed(200, 0, 0);

using ui::q;

WatchedStation* gWatched = nullptr;
ReplyStore& replyStore() {
  static ReplyStore store;
  return store;
}
HealthListener& healthListener() {
  static HealthListener listener;
  return listener;
}
ReplyListener& replyListener() {
  static ReplyListener listener;
  return listener;
}

}  // namespace

void FrmGlobalMonitoring::setReplyListener(ReplyListener listener) { replyListener() = std::move(listener); }
void FrmGlobalMonitoring::setWatchedStation(WatchedStation* w) {
  gWatched = w;
  if (exists()) instance().engine_.setWatchedStation(w);
}
void FrmGlobalMonitoring::setReplyStore(ReplyStore store) { replyStore() = std::move(store); }
void FrmGlobalMonitoring::setHealthListener(HealthListener listener) {
  healthListener() = std::move(listener);
  if (exists()) instance().engine_.forgetHealthStatus();  // a new listener hears the next status
}

FrmGlobalMonitoring::FrmGlobalMonitoring()
    : ui::Screen("FrmGlobalMonitoring", QStringLiteral("全局监控")),
      Timer1(engine_.Timer1),
      Timer2(engine_.Timer2),
      Timer3(engine_.Timer3),
      Timer4(engine_.Timer4),
      healthTimer(engine_.healthTimer) {
  VsFList1 = new platform::FlexGrid(this);
  VsFList1->setObjectName("VsFList1");
  Text1 = new QLineEdit(this);
  Text1->setObjectName("Text1");
  Text1->setVisible(false);
  auto* Frame1 = new QGroupBox(this);
  Frame1->setObjectName("Frame1");
  auto* frameLayout = new QHBoxLayout(Frame1);
  auto* Label1 = new QLabel(QStringLiteral("Energy Generated(kWh)"), Frame1);
  Label1->setObjectName("Label1");
  auto* Label2 = new QLabel(QStringLiteral("0"), Frame1);
  Label2->setObjectName("Label2");
  frameLayout->addWidget(Label1);
  frameLayout->addWidget(Label2);
  frameLayout->addStretch();

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(Frame1);
  layout->addWidget(VsFList1, 1);
  layout->addWidget(Text1);

  // The grid shows what the scan stores; the registrations made before the screen existed
  // (static, so that no screen creates another) are read at each reply.
  engine::ScanDisplay display;
  display.replyText = [this](const std::string& text) { Text1->setText(q(text)); };
  display.deviceInfo = [this](int row, const QByteArray& reply) {
    VsFList1->setCellData(row, 2, reply);
    VsFList1->setTextMatrix(row, answerColumn(), QStringLiteral("1"));
  };
  display.realTimeStored = [this](int row, const QByteArray& reply) { VsFList1->setCellData(row, 0, reply); };
  display.realTimeShown = [this](int row, const Bytes& reply) { showRealTime(row, reply); };
  display.loadMode = [this](int row, bool manual) { VsFList1->setCellData(row, 1, manual ? 1 : 0); };
  display.healthChecked = [this](const std::vector<HealthTexts>& rows, std::int64_t now) { showHealth(rows, now); };
  engine_.setDisplay(std::move(display));
  engine_.setWatchedStation(gWatched);
  engine_.setReplyStore([](int row, const QByteArray& reply) {
    if (replyStore()) replyStore()(row, reply);
  });
  engine::ScanListener listener;
  listener.deviceInfo = [](const engine::StationRef& s, const QByteArray& reply) {
    if (replyListener().deviceInfo) replyListener().deviceInfo(s.name, s.deviceId, reply);
  };
  listener.realTime = [](const engine::StationRef& s, const QByteArray& reply) {
    if (replyListener().realTime) replyListener().realTime(s.name, s.deviceId, reply);
  };
  listener.realTimeMissed = [](const engine::StationRef& s) {
    if (replyListener().realTimeMissed) replyListener().realTimeMissed(s.name, s.deviceId);
  };
  listenerId_ = engine_.addListener(std::move(listener));
  engine_.setHealthListener([](const QString& status) {
    if (healthListener()) healthListener()(status);
  });

  Form_Load();
}

FrmGlobalMonitoring::~FrmGlobalMonitoring() = default;

void FrmGlobalMonitoring::Form_Load() {
  // The design's English headers carry the keys; the hidden answer column has no header.
  VsFList1->setCols(kColumnCount);
  VsFList1->setRows(1);
  for (int c = 0; c < kAnswerColumn; ++c) {
    VsFList1->setTextMatrix(0, c, kColumns[c].key);
    VsFList1->setColKey(c, kColumns[c].key);
  }
  VsFList1->setColKey(kAnswerColumn, kAnswerKey);
  VsFList1->setColumnHidden(kAnswerColumn, true);
  for (int i = 0; i < 3; ++i) VsFList1->setColKey(kFirstHealthColumn + i, kHealthColumns[i].key);
  platform::formatGrid(*VsFList1, false);
  for (int c = 0; c < kAnswerColumn; ++c) VsFList1->setTextMatrix(0, c, QString::fromUtf8(kColumns[c].header));
  for (int i = 0; i < 3; ++i)
    VsFList1->setTextMatrix(0, kFirstHealthColumn + i, QString::fromUtf8(kHealthColumns[i].header));
}

// --- Named operations ----------------------------------------------------------------------

void FrmGlobalMonitoring::clearStations() {
  platform::formatGrid(*VsFList1, false);
  lastReplyClock_.clear();
  engine_.clearStations();
}

void FrmGlobalMonitoring::appendStation(const QString& name, const QString& deviceId) {
  VsFList1->setRows(VsFList1->rows() + 1);
  const int r = VsFList1->rows() - 1;
  VsFList1->setTextMatrix(r, 0, name);
  VsFList1->setTextMatrix(r, 1, deviceId);
  engine_.appendStation(name, deviceId);
}

QList<FrmGlobalMonitoring::StationRow> FrmGlobalMonitoring::stations() const {
  QList<StationRow> out;
  for (int r = 1; r <= engine_.rowCount(); ++r) {
    const engine::Scan::Row& x = engine_.row(r);
    out.append({x.name, x.deviceId, x.answered});
  }
  return out;
}

bool FrmGlobalMonitoring::answered(int row) const { return engine_.answered(row); }
void FrmGlobalMonitoring::startDiscovery(std::function<void()> whenDone) { engine_.startDiscovery(std::move(whenDone)); }
void FrmGlobalMonitoring::pauseRest() { engine_.pauseRest(); }
void FrmGlobalMonitoring::resumeRest() { engine_.resumeRest(); }
void FrmGlobalMonitoring::setReadInterval(int seconds) { engine_.setReadInterval(seconds); }
void FrmGlobalMonitoring::setPerLine(bool on) { engine_.setPerLine(on); }

void FrmGlobalMonitoring::Timer1_Timer() { engine_.Timer1_Timer(); }
void FrmGlobalMonitoring::Timer2_Timer() { engine_.Timer2_Timer(); }
void FrmGlobalMonitoring::Timer3_Timer() { engine_.Timer3_Timer(); }
void FrmGlobalMonitoring::Timer4_Timer() { engine_.Timer4_Timer(); }
void FrmGlobalMonitoring::readDatasA1(Bytes& reply) { engine_.readDatasA1(reply); }
void FrmGlobalMonitoring::readDatasA2(Bytes& reply) { engine_.readDatasA2(reply); }
void FrmGlobalMonitoring::readDatasA3(Bytes& reply) { engine_.readDatasA3(reply); }

void FrmGlobalMonitoring::showRealTime(int r, const Bytes& reply) {
  const auto block = link::decodeRealTime(reply, link::Reader::Scan);
  if (!block) return;
  VsFList1->setTextMatrix(r, 6, q(block->loadStateText));
  VsFList1->setTextMatrix(r, 7, q(block->totalChargeAh.text));
  VsFList1->setTextMatrix(r, 8, q(block->totalDischargeAh.text));
  VsFList1->setTextMatrix(r, 9, q(block->totalEnergyGeneratedGrid));
  VsFList1->setTextMatrix(r, 10, q(block->totalEnergyUsedGrid));
  VsFList1->setTextMatrix(r, 11, q(block->daysInOperation.text));
  VsFList1->setTextMatrix(r, 12, q(block->overDischargeCount.text));
  VsFList1->setTextMatrix(r, 13, q(block->fullChargeCount.text));
  if (block->statusFlags.size() == 32) {
    VsFList1->setTextMatrix(r, 5, q(block->status.battery));
    VsFList1->setTextMatrix(r, 3, q(block->status.panel));
    VsFList1->setTextMatrix(r, 2, q(block->status.device));
    VsFList1->setTextMatrix(r, 6, q(block->status.load));
  }
  VsFList1->setTextMatrix(r, 4, q(block->chargeStateText));
}

// --- Link health ----------------------------------------------------------------------------

std::int64_t FrmGlobalMonitoring::roundLengthUs() const { return engine_.roundLengthUs(); }
HealthTexts FrmGlobalMonitoring::healthOf(int row) const { return engine_.healthOf(row); }
HealthTexts FrmGlobalMonitoring::stationHealth(const QString& name) const { return engine_.stationHealth(name); }
bool FrmGlobalMonitoring::isStale(const QString& name) const { return engine_.isStale(name); }
void FrmGlobalMonitoring::refreshHealth() { engine_.refreshHealth(); }

QString FrmGlobalMonitoring::lastReplyText(int row, const HealthTexts& t, std::int64_t now) const {
  if (!t.ageUs) return {};
  if (static_cast<int>(lastReplyClock_.size()) < VsFList1->rows()) lastReplyClock_.resize(VsFList1->rows());
  LastReplyClock& c = lastReplyClock_[row];
  // The reply's own scheduler time tells one reply from the next; the clock text is made once.
  const std::int64_t base = now - *t.ageUs;
  if (c.ageBaseUs != base || c.text.isEmpty()) {
    c.ageBaseUs = base;
    c.text = QDateTime::currentDateTime().addMSecs(-*t.ageUs / 1000).toString(QStringLiteral("HH:mm:ss"));
  }
  return c.text;
}

void FrmGlobalMonitoring::showHealth(const std::vector<HealthTexts>& rows, std::int64_t now) {
  const auto setText = [this](int r, int c, const QString& text) {
    if (VsFList1->textMatrix(r, c) != text) VsFList1->setTextMatrix(r, c, text);
  };
  const int last = std::min(VsFList1->rows() - 1, static_cast<int>(rows.size()) - 1);
  for (int r = 1; r <= last; ++r) {
    const HealthTexts& t = rows[static_cast<std::size_t>(r)];
    setText(r, kFirstHealthColumn, lastReplyText(r, t, now));
    setText(r, kFirstHealthColumn + 1, q(t.age));
    setText(r, kFirstHealthColumn + 2, q(t.share));
    // Stale and silent rows are grey, their age red; a fresh row has the grid's own colours.
    const bool dim = t.state == Freshness::Stale || t.state == Freshness::NeverAnswered;
    const QColor rowColor = dim ? kStaleGrey : QColor();
    if (VsFList1->cellForeColor(r, 0) != rowColor) {
      for (int c = 0; c < kColumnCount; ++c) VsFList1->setCellForeColor(r, c, rowColor);
      VsFList1->setCellForeColor(r, kFirstHealthColumn + 1, dim ? kAgeRed : QColor());
    }
  }
}

QString FrmGlobalMonitoring::healthTooltip(const QString& treeKey) const {
  for (int r = 1; r <= engine_.rowCount(); ++r) {
    const engine::Scan::RowKey k = engine_.rowKey(r);
    if (k.portText + "," + engine_.row(r).deviceId != treeKey) continue;
    const std::int64_t now = platform::scheduler().now().count();
    const HealthTexts t = monitoring::healthTexts(engine_.linkHealth().find(k.port, k.address), now, engine_.roundLengthUs());
    if (t.state == Freshness::NeverAnswered) return QStringLiteral("无应答");
    if (!t.ageUs) return {};
    return QStringLiteral("最后应答 %1，距今 %2，应答率 %3").arg(lastReplyText(r, t, now), q(t.age), q(t.share));
  }
  return {};
}

}  // namespace xl::monitoring

#include "monitoring/frm_global_monitoring.h"


#include <QDateTime>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "core/settings.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::monitoring {

WatchedStation::~WatchedStation() = default;

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

std::int64_t nowUs() { return platform::scheduler().now().count(); }

ReplyListener& replyListener() {
  static ReplyListener listener;
  return listener;
}

}  // namespace

void FrmGlobalMonitoring::setReplyListener(ReplyListener listener) { replyListener() = std::move(listener); }
void FrmGlobalMonitoring::setWatchedStation(WatchedStation* w) { gWatched = w; }
void FrmGlobalMonitoring::setReplyStore(ReplyStore store) { replyStore() = std::move(store); }
void FrmGlobalMonitoring::setHealthListener(HealthListener listener) {
  healthListener() = std::move(listener);
  if (exists()) instance().healthStatus_.clear();  // a new listener hears the next status
}

FrmGlobalMonitoring::FrmGlobalMonitoring()
    : ui::Screen("FrmGlobalMonitoring", QStringLiteral("全局监控")),
      MSComm1("FrmGlobalMonitoring.MSComm1",
              [this] {
                link::SessionOptions o;
                o.showReplyText = [this](const std::string& text) { Text1->setText(q(text)); };
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                readDatasA1(reply);
                readDatasA2(reply);
                readDatasA3(reply);
              }) {
  link::SerialSession::setScanControl(&MSComm1.control());

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

  for (platform::Timer* t : {&Timer1, &Timer2, &Timer3, &Timer4}) t->setInterval(1000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer3.setOnTick([this] { Timer3_Timer(); });
  Timer4.setOnTick([this] { Timer4_Timer(); });
  Timer1.setEnabled(true);  // as designed: one harmless pass off the empty grid after load

  // Every exchange of every session is booked to its station; the columns follow each second.
  observerId_ = link::addExchangeObserver([this](const link::Exchange& e) { health_.record(e); });
  healthTimer.setInterval(1000);
  healthTimer.setOnTick([this] { refreshHealth(); });
  healthTimer.setEnabled(true);

  Form_Load();
}

FrmGlobalMonitoring::~FrmGlobalMonitoring() {
  link::removeExchangeObserver(observerId_);
  lineScan_.reset();
  if (link::SerialSession::scanControl() == &MSComm1.control()) link::SerialSession::setScanControl(nullptr);
}

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
  perLine_ = core::readIniInt(QStringLiteral("Scan"), QStringLiteral("Per Line")) == 1;
}

// --- Named operations ----------------------------------------------------------------------

void FrmGlobalMonitoring::clearStations() {
  platform::formatGrid(*VsFList1, false);
  lastReplyClock_.clear();
  realTimeOut_.clear();
  // A fast run under way asks rows that are gone; the next discovery starts afresh.
  if (lineScan_) lineScan_->stop();
  fastRoundRuns_ = false;
}

void FrmGlobalMonitoring::appendStation(const QString& name, const QString& deviceId) {
  VsFList1->setRows(VsFList1->rows() + 1);
  const int r = VsFList1->rows() - 1;
  VsFList1->setTextMatrix(r, 0, name);
  VsFList1->setTextMatrix(r, 1, deviceId);
}

QList<FrmGlobalMonitoring::StationRow> FrmGlobalMonitoring::stations() const {
  QList<StationRow> out;
  for (int r = 1; r < VsFList1->rows(); ++r)
    out.append({VsFList1->textMatrix(r, 0), VsFList1->textMatrix(r, 1), answered(r)});
  return out;
}

void FrmGlobalMonitoring::startDiscovery(std::function<void()> whenDone) {
  discoveryDone_ = std::move(whenDone);
  infoRow_ = 0;
  Timer4.setEnabled(true);
}

void FrmGlobalMonitoring::pauseRest() { Timer2.setEnabled(false); }

void FrmGlobalMonitoring::resumeRest() {
  if (readInterval_ > 0) Timer2.setEnabled(true);
}

void FrmGlobalMonitoring::setReadInterval(int seconds) {
  readInterval_ = std::max(seconds, 0);
  if (readInterval_ == 0) Timer2.setEnabled(false);
}

void FrmGlobalMonitoring::endDiscovery() {
  infoRow_ = 0;
  Timer4.setEnabled(false);
  infoPass_ = 0;
  resumeRest();
}

bool FrmGlobalMonitoring::answered(int row) const {
  if (row < 1 || row >= VsFList1->rows()) fail(Failure::Bounds, "row out of range");
  return !VsFList1->textMatrix(row, answerColumn()).isEmpty();
}

void FrmGlobalMonitoring::sendToRow(int row, const char* literal) {
  if (row < 1 || row >= VsFList1->rows()) fail(Failure::Bounds, "row out of range");
  core::requestStation(MSComm1, VsFList1->textMatrix(row, 0), literal);
}

// --- Discovery ----------------------------------------------------------------------------

void FrmGlobalMonitoring::Timer4_Timer() {
  if (perLine_) {
    // The fast discovery asks all lines at once, three passes as always.
    Timer1.setEnabled(false);
    Timer2.setEnabled(false);
    Timer3.setEnabled(false);
    idleTicks_ = 0;
    if (VsFList1->rows() < 2) return;
    Timer4.setEnabled(false);
    startFastDiscovery(0);
    return;
  }
  try {
    Timer1.setEnabled(false);
    Timer2.setEnabled(false);
    Timer3.setEnabled(false);
    idleTicks_ = 0;
    for (;;) {
      const int rows = VsFList1->rows();
      if (rows < 2) return;  // nothing to ask yet; the timer stays on
      if (infoRow_ >= rows - 1) {
        infoRow_ = 0;
        ++infoPass_;
        if (infoPass_ >= 3) {
          if (discoveryDone_) discoveryDone_();
          endDiscovery();
        }
        return;
      }
      ++infoRow_;
      // The second and third passes ask only the stations that have not answered.
      if (infoPass_ > 0 && answered(infoRow_)) continue;
      break;
    }
    sendToRow(infoRow_, " 03 000A 0011");
  } catch (const std::exception&) {
    endDiscovery();
  }
}

void FrmGlobalMonitoring::readDatasA1(Bytes& reply) {
  if (reply.size() != link::kDeviceInfoLength) return;
  VsFList1->setCellData(infoRow_, 2, QByteArray(reinterpret_cast<const char*>(reply.data()), static_cast<int>(reply.size())));
  VsFList1->setTextMatrix(infoRow_, answerColumn(), QStringLiteral("1"));
  if (replyListener().deviceInfo && infoRow_ > 0 && infoRow_ < VsFList1->rows())
    replyListener().deviceInfo(VsFList1->textMatrix(infoRow_, 0), VsFList1->textMatrix(infoRow_, 1),
                               QByteArray(reinterpret_cast<const char*>(reply.data()), static_cast<int>(reply.size())));
}

// --- Rest and data passes -----------------------------------------------------------------

void FrmGlobalMonitoring::Timer2_Timer() {
  if (fastRoundRuns_) {
    idleTicks_ = 0;  // the rest is counted from the end of the round
    return;
  }
  ++idleTicks_;
  if (idleTicks_ > readInterval_) {
    roundBegins();
    if (perLine_)
      startFastRound();
    else
      Timer1.setEnabled(true);
    idleTicks_ = 0;
  }
}

bool FrmGlobalMonitoring::nextAnsweringRow() {
  // Moves scanRow to the next row with the answer mark. Running past the last row ends the
  // pass (false); the row pointer then starts over.
  do {
    ++scanRow_;
    if (scanRow_ >= VsFList1->rows()) return false;
  } while (!answered(scanRow_));
  return true;
}

void FrmGlobalMonitoring::dataPassTick(const char* literal, platform::Timer& pass, platform::Timer* nextPass) {
  try {
    idleTicks_ = 0;
    if (VsFList1->rows() < 2) return;
    if (nextAnsweringRow()) {
      if (&pass == &Timer1) realTimeOut_.insert(scanRow_);
      sendToRow(scanRow_, literal);
      return;
    }
  } catch (const std::exception&) {
  }
  // The pass has run off the grid: the row pointer starts over and the next pass takes over.
  if (&pass == &Timer1) realTimePassEnded();
  scanRow_ = 0;
  pass.setEnabled(false);
  if (nextPass) nextPass->setEnabled(true);
}

// The real-time pass; the load mode pass follows it.
void FrmGlobalMonitoring::Timer1_Timer() { dataPassTick(" 03 0100 0023", Timer1, &Timer3); }

// The load mode pass; the next round waits for the rest counter.
void FrmGlobalMonitoring::Timer3_Timer() { dataPassTick(" 03 E0 1D 0001", Timer3, nullptr); }

bool FrmGlobalMonitoring::isWatched(int row) const {
  return gWatched && gWatched->monitoringRuns() && gWatched->watchedName() == VsFList1->textMatrix(row, 0);
}

void FrmGlobalMonitoring::readDatasA2(Bytes& reply) {
  if (reply.size() != link::kRealTimeLength) return;
  const QByteArray stored(reinterpret_cast<const char*>(reply.data()), static_cast<int>(reply.size()));
  VsFList1->setCellData(scanRow_, 0, stored);
  realTimeOut_.remove(scanRow_);
  if (replyStore()) replyStore()(scanRow_, stored);
  if (replyListener().realTime && scanRow_ > 0 && scanRow_ < VsFList1->rows())
    replyListener().realTime(VsFList1->textMatrix(scanRow_, 0), VsFList1->textMatrix(scanRow_, 1), stored);
  // The watched station's screen gets the reply first; it exchanges the fault words in this
  // very array, so this row then shows the other fault register.
  if (isWatched(scanRow_)) gWatched->readDatasA2(reply);
  if (scanRow_ == 0) return;

  const auto block = link::decodeRealTime(reply, link::Reader::Scan);
  if (!block) return;
  const int r = scanRow_;
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

// --- Fast scan ------------------------------------------------------------------------------

void FrmGlobalMonitoring::setPerLine(bool on) { perLine_ = on; }

std::vector<LineScan::Request> FrmGlobalMonitoring::requestsFor(bool (FrmGlobalMonitoring::*include)(int) const,
                                                                const char* literal) const {
  // Port and address from the store's lookup at the start of the round: a line's requests are
  // queued on its own session.
  std::vector<LineScan::Request> out;
  for (int r = 1; r < VsFList1->rows(); ++r) {
    if (!(this->*include)(r)) continue;
    const RowKey k = rowKey(r);
    if (k.address < 0) continue;  // an address that is no byte is left out of the run
    out.push_back({r, k.portText.toStdString(), requestFrame(k.address, literal)});
  }
  return out;
}

void FrmGlobalMonitoring::dispatchReply(int row, Bytes& reply) {
  // The handlers book a reply to the row pointers; in the fast scan the row is the line's own.
  const int info = infoRow_, scan = scanRow_;
  infoRow_ = scanRow_ = row;
  try {
    readDatasA1(reply);
    readDatasA2(reply);
    readDatasA3(reply);
  } catch (const std::exception&) {
  }
  infoRow_ = info;
  scanRow_ = scan;
}

void FrmGlobalMonitoring::startFastDiscovery(int pass) {
  if (!lineScan_) lineScan_ = std::make_unique<LineScan>([this](int row, Bytes& reply) { dispatchReply(row, reply); });
  auto requests = pass == 0 ? requestsFor(&FrmGlobalMonitoring::anyRow, " 03 000A 0011")
                            : requestsFor(&FrmGlobalMonitoring::isSilentRow, " 03 000A 0011");
  lineScan_->run(std::move(requests), [this, pass] {
    if (pass < 2) {
      startFastDiscovery(pass + 1);
      return;
    }
    try {
      if (discoveryDone_) discoveryDone_();
    } catch (const std::exception&) {
    }
    endDiscovery();
  });
}

void FrmGlobalMonitoring::startFastRound() {
  if (!lineScan_) lineScan_ = std::make_unique<LineScan>([this](int row, Bytes& reply) { dispatchReply(row, reply); });
  auto requests = requestsFor(&FrmGlobalMonitoring::isAnsweringRow, " 03 0100 0023");
  auto loadMode = requestsFor(&FrmGlobalMonitoring::isAnsweringRow, " 03 E0 1D 0001");
  requests.insert(requests.end(), std::make_move_iterator(loadMode.begin()), std::make_move_iterator(loadMode.end()));
  for (const auto& r : requests) realTimeOut_.insert(r.row);
  fastRoundRuns_ = true;
  lineScan_->run(std::move(requests), [this] { fastRoundDone(); });
}

void FrmGlobalMonitoring::fastRoundDone() {
  fastRoundRuns_ = false;
  realTimePassEnded();
  idleTicks_ = 0;
  // The rest starts now, on a grid of its own.
  if (Timer2.enabled()) {
    Timer2.setEnabled(false);
    Timer2.setEnabled(true);
  }
}

void FrmGlobalMonitoring::realTimePassEnded() {
  const QSet<int> missed = std::exchange(realTimeOut_, {});
  if (!replyListener().realTimeMissed) return;
  for (int r = 1; r < VsFList1->rows(); ++r)
    if (missed.contains(r)) replyListener().realTimeMissed(VsFList1->textMatrix(r, 0), VsFList1->textMatrix(r, 1));
}

// --- Link health ----------------------------------------------------------------------------

void FrmGlobalMonitoring::roundBegins() {
  const std::int64_t now = nowUs();
  if (lastRoundStartUs_ >= 0) measuredRoundUs_ = now - lastRoundStartUs_;
  lastRoundStartUs_ = now;
}

std::int64_t FrmGlobalMonitoring::roundLengthUs() const {
  if (measuredRoundUs_ > 0) return measuredRoundUs_;
  int answering = 0;
  for (int r = 1; r < VsFList1->rows(); ++r)
    if (answered(r)) ++answering;
  return pacedRoundUs(answering, readInterval_);
}

FrmGlobalMonitoring::RowKey FrmGlobalMonitoring::rowKey(int row) const {
  const QString name = VsFList1->textMatrix(row, 0);
  RowKey k;
  k.portText = core::getStationPort(name);
  k.port = link::portNameOf(k.portText.toStdString());
  try {
    const std::int32_t id = xl::toLong(xl::val(core::getStationDeviceID(name).toStdString()));
    if (id >= 0 && id <= 255) k.address = id;
  } catch (const std::exception&) {
  }
  return k;
}

HealthTexts FrmGlobalMonitoring::healthOf(int row) const {
  const RowKey k = rowKey(row);
  return healthTexts(health_.find(k.port, k.address), nowUs(), roundLengthUs());
}

HealthTexts FrmGlobalMonitoring::stationHealth(const QString& name) const {
  for (int r = 1; r < VsFList1->rows(); ++r)
    if (VsFList1->textMatrix(r, 0) == name) return healthOf(r);
  return {};
}

bool FrmGlobalMonitoring::isStale(const QString& name) const {
  for (int r = 1; r < VsFList1->rows(); ++r) {
    if (VsFList1->textMatrix(r, 0) != name) continue;
    const Freshness f = healthOf(r).state;
    return f == Freshness::Stale || f == Freshness::NeverAnswered;
  }
  return false;
}

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

void FrmGlobalMonitoring::refreshHealth() {
  const std::int64_t now = nowUs();
  const std::int64_t round = roundLengthUs();
  const auto setText = [this](int r, int c, const QString& text) {
    if (VsFList1->textMatrix(r, c) != text) VsFList1->setTextMatrix(r, c, text);
  };
  int online = 0;
  std::optional<std::int64_t> oldest;
  for (int r = 1; r < VsFList1->rows(); ++r) {
    const RowKey k = rowKey(r);
    const HealthTexts t = healthTexts(health_.find(k.port, k.address), now, round);
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
    if (t.state == Freshness::Fresh) ++online;
    if (t.ageUs && (!oldest || *t.ageUs > *oldest)) oldest = t.ageUs;
  }
  const QString status = QStringLiteral("在线站点 %1/%2    最旧读数 %3")
                             .arg(online)
                             .arg(VsFList1->rows() - 1)
                             .arg(oldest ? q(ageText(*oldest)) : QStringLiteral("无"));
  if (status == healthStatus_) return;
  healthStatus_ = status;
  if (healthListener()) healthListener()(status);
}

QString FrmGlobalMonitoring::healthTooltip(const QString& treeKey) const {
  for (int r = 1; r < VsFList1->rows(); ++r) {
    const RowKey k = rowKey(r);
    if (k.portText + "," + VsFList1->textMatrix(r, 1) != treeKey) continue;
    const std::int64_t now = nowUs();
    const HealthTexts t = healthTexts(health_.find(k.port, k.address), now, roundLengthUs());
    if (t.state == Freshness::NeverAnswered) return QStringLiteral("无应答");
    if (!t.ageUs) return {};
    return QStringLiteral("最后应答 %1，距今 %2，应答率 %3").arg(lastReplyText(r, t, now), q(t.age), q(t.share));
  }
  return {};
}

void FrmGlobalMonitoring::readDatasA3(Bytes& reply) {
  const auto manual = link::loadModeIsManual(reply);
  if (!manual) return;
  VsFList1->setCellData(scanRow_, 1, *manual ? 1 : 0);
  if (isWatched(scanRow_)) gWatched->readDatasA3(reply);
}

}  // namespace xl::monitoring

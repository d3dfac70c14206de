#include "engine/scan.h"

#include <algorithm>

#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_request.h"
#include "core/station_store.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "link/vb_numbers.h"
#include "platform/failure.h"

namespace xl::engine {

WatchedStation::~WatchedStation() = default;

namespace {

std::int64_t nowUs() { return platform::scheduler().now().count(); }

using link::kDeviceInfoRequest;
using link::kLoadModeRequest;
using link::kRealTimeRequest;

QByteArray bytesOf(const Bytes& b) { return QByteArray(reinterpret_cast<const char*>(b.data()), static_cast<int>(b.size())); }

// A request frame of the real-time block: function 3 from register 0x0100.
bool isRealTimeRequest(const Bytes& frame) {
  return frame.size() >= 4 && frame[1] == 0x03 && frame[2] == 0x01 && frame[3] == 0x00;
}

}  // namespace

Scan::Scan()
    : MSComm1("FrmGlobalMonitoring.MSComm1",
              [this] {
                link::SessionOptions o;
                o.showReplyText = [this](const std::string& text) {
                  if (display_.replyText) display_.replyText(text);
                };
                return o;
              }(),
              [this](Bytes& reply, const std::string&) {
                readDatasA1(reply);
                readDatasA2(reply);
                readDatasA3(reply);
              }) {
  link::SerialSession::setScanControl(&MSComm1.control());
  MSComm1.setOnExchangeEnded([this] { exchangeEnded(askedRow_, MSComm1.endedRequest()); });

  for (platform::Timer* t : {&Timer1, &Timer2, &Timer3, &Timer4}) t->setInterval(1000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  Timer2.setOnTick([this] { Timer2_Timer(); });
  Timer3.setOnTick([this] { Timer3_Timer(); });
  Timer4.setOnTick([this] { Timer4_Timer(); });
  Timer1.setEnabled(true);  // as designed: one harmless pass off the empty table after start

  // Every exchange of every session is booked to its station; the status follows each second.
  observerId_ = link::addExchangeObserver([this](const link::Exchange& e) { health_.record(e); });
  healthTimer.setInterval(1000);
  healthTimer.setOnTick([this] { refreshHealth(); });
  healthTimer.setEnabled(true);

  perLine_ = core::readIniInt(core::keys::kScan, core::keys::kPerLine) == 1;
}

Scan::~Scan() {
  link::removeExchangeObserver(observerId_);
  lineScan_.reset();
  if (link::SerialSession::scanControl() == &MSComm1.control()) link::SerialSession::setScanControl(nullptr);
}

int Scan::addListener(ScanListener listener) {
  const int id = nextListenerId_++;
  listeners_[id] = std::move(listener);
  return id;
}

void Scan::removeListener(int id) { listeners_.erase(id); }

void Scan::setHealthListener(HealthListener listener) {
  healthListener_ = std::move(listener);
  healthStatus_.clear();  // a new listener hears the next status
}

// --- Stations -----------------------------------------------------------------------------

void Scan::clearStations() {
  rows_.assign(1, Row{});
  // A fast run under way asks rows that are gone; the next discovery starts afresh.
  if (lineScan_) lineScan_->stop();
  fastRoundRuns_ = false;
}

void Scan::appendStation(const QString& name, const QString& deviceId) {
  Row x;
  x.name = name;
  x.deviceId = deviceId;
  rows_.push_back(std::move(x));
}

const Scan::Row& Scan::row(int r) const {
  if (r < 0 || r > rowCount()) fail(Failure::Bounds, "row out of range");
  return rows_[static_cast<std::size_t>(r)];
}

bool Scan::answered(int r) const {
  if (r < 1 || r > rowCount()) fail(Failure::Bounds, "row out of range");
  return rows_[static_cast<std::size_t>(r)].answered;
}

void Scan::markAnswered(int r) {
  if (r < 1 || r > rowCount()) fail(Failure::Bounds, "row out of range");
  rows_[static_cast<std::size_t>(r)].answered = true;
}

StationRef Scan::refOf(int r) const {
  const Row& x = row(r);
  return {x.name, x.deviceId, core::getStationPort(x.name)};
}

void Scan::startDiscovery(std::function<void()> whenDone) {
  discoveryDone_ = std::move(whenDone);
  infoRow_ = 0;
  Timer4.setEnabled(true);
}

void Scan::pauseRest() { Timer2.setEnabled(false); }

void Scan::resumeRest() {
  if (readInterval_ > 0) Timer2.setEnabled(true);
}

void Scan::setReadInterval(int seconds) {
  readInterval_ = std::max(seconds, 0);
  if (readInterval_ == 0) Timer2.setEnabled(false);
}

void Scan::stop() {
  for (platform::Timer* t : {&Timer1, &Timer2, &Timer3, &Timer4}) t->setEnabled(false);
  if (lineScan_) lineScan_->stop();
  fastRoundRuns_ = false;
  MSComm1.abandon();
}

void Scan::endDiscovery() {
  infoRow_ = 0;
  Timer4.setEnabled(false);
  infoPass_ = 0;
  resumeRest();
}

void Scan::sendToRow(int r, const char* literal) {
  if (r < 1 || r > rowCount()) fail(Failure::Bounds, "row out of range");
  askedRow_ = r;
  core::requestStation(MSComm1, rows_[static_cast<std::size_t>(r)].name, literal);
}

// --- Discovery ----------------------------------------------------------------------------

void Scan::Timer4_Timer() {
  if (perLine_) {
    // The fast discovery asks all lines at once, three passes as always.
    Timer1.setEnabled(false);
    Timer2.setEnabled(false);
    Timer3.setEnabled(false);
    idleTicks_ = 0;
    if (rowCount() < 1) return;
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
      if (rowCount() < 1) return;  // nothing to ask yet; the timer stays on
      if (infoRow_ >= rowCount()) {
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
    sendToRow(infoRow_, kDeviceInfoRequest);
  } catch (const std::exception&) {
    endDiscovery();
  }
}

void Scan::readDatasA1(Bytes& reply) {
  if (reply.size() != link::kDeviceInfoLength) return;
  // A reply while the pointer stands before the first row, or past a table that shrank, has
  // no row to go to.
  if (infoRow_ < 1 || infoRow_ > rowCount()) return;
  Row& x = rows_[static_cast<std::size_t>(infoRow_)];
  x.deviceInfo = bytesOf(reply);
  x.answered = true;
  if (display_.deviceInfo) display_.deviceInfo(infoRow_, x.deviceInfo);
  if (listeners_.empty()) return;
  const StationRef ref = refOf(infoRow_);
  const QByteArray stored = x.deviceInfo;
  for (const auto& [id, l] : std::map<int, ScanListener>(listeners_))
    if (l.deviceInfo) l.deviceInfo(ref, stored);
}

// --- Rest and data passes -----------------------------------------------------------------

void Scan::Timer2_Timer() {
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

bool Scan::nextAnsweringRow() {
  // Moves the row pointer to the next row with the answer mark. Running past the last row ends
  // the pass (false); the pointer then starts over.
  do {
    ++scanRow_;
    if (scanRow_ > rowCount()) return false;
  } while (!answered(scanRow_));
  return true;
}

void Scan::dataPassTick(const char* literal, platform::Timer& pass, platform::Timer* nextPass) {
  try {
    idleTicks_ = 0;
    if (rowCount() < 1) return;
    if (nextAnsweringRow()) {
      sendToRow(scanRow_, literal);
      return;
    }
  } catch (const std::exception&) {
  }
  // The pass has run off the table: the row pointer starts over and the next pass takes over.
  scanRow_ = 0;
  pass.setEnabled(false);
  if (nextPass) nextPass->setEnabled(true);
}

// The real-time pass; the load mode pass follows it.
void Scan::Timer1_Timer() { dataPassTick(kRealTimeRequest, Timer1, &Timer3); }

// The load mode pass; the next round waits for the rest counter.
void Scan::Timer3_Timer() { dataPassTick(kLoadModeRequest, Timer3, nullptr); }

bool Scan::isWatched(int r) const {
  return r > 0 && watched_ && watched_->monitoringRuns() && watched_->watchedName() == rows_[static_cast<std::size_t>(r)].name;
}

void Scan::readDatasA2(Bytes& reply) {
  if (reply.size() != link::kRealTimeLength) return;
  const int r = scanRow_;
  if (r < 0 || r > rowCount()) return;
  const QByteArray stored = bytesOf(reply);
  rows_[static_cast<std::size_t>(r)].realTime = stored;
  realTimeAnswered_ = true;
  if (display_.realTimeStored) display_.realTimeStored(r, stored);
  if (replyStore_) replyStore_(r, stored);
  if (r > 0 && !listeners_.empty()) {
    const StationRef ref = refOf(r);
    for (const auto& [id, l] : std::map<int, ScanListener>(listeners_))
      if (l.realTime) l.realTime(ref, stored);
  }
  // The watched station's screen gets the reply first; it exchanges the fault words in this
  // very array, so the row then shows the other fault register.
  if (isWatched(r)) watched_->readDatasA2(reply);
  if (r == 0) return;
  if (display_.realTimeShown) display_.realTimeShown(r, reply);
}

void Scan::readDatasA3(Bytes& reply) {
  const auto manual = link::loadModeIsManual(reply);
  if (!manual) return;
  const int r = scanRow_;
  if (r < 0 || r > rowCount()) return;
  rows_[static_cast<std::size_t>(r)].manualLoad = *manual;
  if (display_.loadMode) display_.loadMode(r, *manual);
  if (isWatched(r)) watched_->readDatasA3(reply);
}

void Scan::exchangeEnded(int r, const Bytes& request) {
  const bool answered = realTimeAnswered_;
  realTimeAnswered_ = false;
  if (answered || !isRealTimeRequest(request) || r < 1 || r > rowCount() || listeners_.empty()) return;
  const StationRef ref = refOf(r);
  for (const auto& [id, l] : std::map<int, ScanListener>(listeners_))
    if (l.realTimeMissed) l.realTimeMissed(ref);
}

// --- Fast scan ------------------------------------------------------------------------------

monitoring::LineScan& Scan::lineScan() {
  if (!lineScan_)
    lineScan_ = std::make_unique<monitoring::LineScan>([this](int r, Bytes& reply) { dispatchReply(r, reply); },
                                                       [this](int r, const Bytes& request) { exchangeEnded(r, request); });
  return *lineScan_;
}

std::vector<monitoring::LineScan::Request> Scan::requestsFor(bool (Scan::*include)(int) const, const char* literal) const {
  // Port and address from the store's lookup at the start of the round: a line's requests are
  // queued on its own session.
  std::vector<monitoring::LineScan::Request> out;
  for (int r = 1; r <= rowCount(); ++r) {
    if (!(this->*include)(r)) continue;
    const RowKey k = rowKey(r);
    if (k.address < 0) continue;  // an address that is no byte is left out of the run
    out.push_back({r, k.portText.toStdString(), requestFrame(k.address, literal)});
  }
  return out;
}

void Scan::dispatchReply(int r, Bytes& reply) {
  // The handlers book a reply to the row pointers; in the fast scan the row is the line's own.
  const int info = infoRow_, scan = scanRow_;
  infoRow_ = scanRow_ = r;
  try {
    readDatasA1(reply);
    readDatasA2(reply);
    readDatasA3(reply);
  } catch (const std::exception&) {
  }
  infoRow_ = info;
  scanRow_ = scan;
}

void Scan::startFastDiscovery(int pass) {
  auto requests = pass == 0 ? requestsFor(&Scan::anyRow, kDeviceInfoRequest) : requestsFor(&Scan::isSilentRow, kDeviceInfoRequest);
  lineScan().run(std::move(requests), [this, pass] {
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

void Scan::startFastRound() {
  auto requests = requestsFor(&Scan::isAnsweringRow, kRealTimeRequest);
  auto loadMode = requestsFor(&Scan::isAnsweringRow, kLoadModeRequest);
  requests.insert(requests.end(), std::make_move_iterator(loadMode.begin()), std::make_move_iterator(loadMode.end()));
  fastRoundRuns_ = true;
  lineScan().run(std::move(requests), [this] { fastRoundDone(); });
}

void Scan::fastRoundDone() {
  fastRoundRuns_ = false;
  idleTicks_ = 0;
  // The rest starts now, on a grid of its own.
  if (Timer2.enabled()) {
    Timer2.setEnabled(false);
    Timer2.setEnabled(true);
  }
}

// --- Link health ----------------------------------------------------------------------------

void Scan::roundBegins() {
  const std::int64_t now = nowUs();
  if (lastRoundStartUs_ >= 0) measuredRoundUs_ = now - lastRoundStartUs_;
  lastRoundStartUs_ = now;
}

std::int64_t Scan::roundLengthUs() const {
  if (measuredRoundUs_ > 0) return measuredRoundUs_;
  const int answering = static_cast<int>(std::count_if(rows_.begin() + 1, rows_.end(), [](const Row& x) { return x.answered; }));
  return monitoring::pacedRoundUs(answering, readInterval_);
}

Scan::RowKey Scan::rowKey(int r) const {
  const QString& name = row(r).name;
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

HealthTexts Scan::healthOf(int r) const {
  const RowKey k = rowKey(r);
  return monitoring::healthTexts(health_.find(k.port, k.address), nowUs(), roundLengthUs());
}

HealthTexts Scan::stationHealth(const QString& name) const {
  for (int r = 1; r <= rowCount(); ++r)
    if (rows_[static_cast<std::size_t>(r)].name == name) return healthOf(r);
  return {};
}

bool Scan::isStale(const QString& name) const {
  for (int r = 1; r <= rowCount(); ++r) {
    if (rows_[static_cast<std::size_t>(r)].name != name) continue;
    const Freshness f = healthOf(r).state;
    return f == Freshness::Stale || f == Freshness::NeverAnswered;
  }
  return false;
}

void Scan::refreshHealth() {
  const std::int64_t now = nowUs();
  const std::int64_t round = roundLengthUs();
  std::vector<HealthTexts> texts(rows_.size());
  int online = 0;
  std::optional<std::int64_t> oldest;
  for (int r = 1; r <= rowCount(); ++r) {
    const RowKey k = rowKey(r);
    const HealthTexts& t = texts[static_cast<std::size_t>(r)] = monitoring::healthTexts(health_.find(k.port, k.address), now, round);
    if (t.state == Freshness::Fresh) ++online;
    if (t.ageUs && (!oldest || *t.ageUs > *oldest)) oldest = t.ageUs;
  }
  if (display_.healthChecked) display_.healthChecked(texts, now);
  const QString status = QStringLiteral("在线站点 %1/%2    最旧读数 %3")
                             .arg(online)
                             .arg(rowCount())
                             .arg(oldest ? QString::fromStdString(monitoring::ageText(*oldest)) : QStringLiteral("无"));
  if (status == healthStatus_) return;
  healthStatus_ = status;
  if (healthListener_) healthListener_(status);
}

}  // namespace xl::engine

#include "monitoring/frm_exchange_log.h"

#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QScrollBar>
#include <algorithm>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QShowEvent>
#include <QVBoxLayout>

#include "core/message_log.h"
#include "core/settings.h"
#include "core/settings_keys.h"
#include "core/station_store.h"
#include "link/serial_session.h"
#include "platform/dialogs.h"
#include "platform/gbk.h"

namespace xl::monitoring {

namespace {

using ui::q;

const char* const kHeaders[] = {"时间", "端口", "站点", "请求", "应答", "结果"};
constexpr int kCols = 6;
const QString kAllPorts = QStringLiteral("全部端口");
const QString kAllStations = QStringLiteral("全部站点");

QString timeText(std::int64_t wallMs) {
  return QDateTime::fromMSecsSinceEpoch(wallMs).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss.zzz"));
}

// Refills a list, keeping the entry that was chosen (or the first, "all", when it is gone).
void refill(QComboBox* box, const QString& all, const QStringList& entries) {
  const QString chosen = box->currentText();
  const QSignalBlocker quiet(box);
  box->clear();
  box->addItem(all);
  box->addItems(entries);
  const int at = box->findText(chosen);
  box->setCurrentIndex(at < 0 ? 0 : at);
}

}  // namespace

FrmExchangeLog::FrmExchangeLog() : ui::Screen("FrmExchangeLog", QStringLiteral("通讯记录")) {
  PortFilter = new QComboBox(this);
  PortFilter->setObjectName("PortFilter");
  PortFilter->addItem(kAllPorts);
  StationFilter = new QComboBox(this);
  StationFilter->setObjectName("StationFilter");
  StationFilter->addItem(kAllStations);
  StationFilter->setMinimumContentsLength(10);
  auto* portLabel = new QLabel(QStringLiteral("端口"), this);
  portLabel->setBuddy(PortFilter);
  auto* stationLabel = new QLabel(QStringLiteral("站点"), this);
  stationLabel->setBuddy(StationFilter);
  const auto button = [this](const char* name, const QString& caption) {
    auto* b = new QPushButton(caption, this);
    b->setObjectName(name);
    return b;
  };
  Pause = button("Pause", QStringLiteral("暂停"));
  Pause->setCheckable(true);
  Copy = button("Copy", QStringLiteral("复制"));
  Save = button("Save", QStringLiteral("保存"));
  Clear = button("Clear", QStringLiteral("清除"));

  Grid1 = new platform::FlexGrid(this);
  Grid1->setObjectName("Grid1");
  Grid1->setCols(kCols);
  Grid1->setRows(1);
  platform::formatGrid(*Grid1, false);
  for (int c = 0; c < kCols; ++c) Grid1->setTextMatrix(0, c, QString::fromUtf8(kHeaders[c]));
  Grid1->setEditTriggers(QAbstractItemView::NoEditTriggers);
  // The reply takes what the other columns leave; the verdict stays in sight at the right.
  Grid1->setColumnWidth(0, 170);
  Grid1->setColumnWidth(1, 60);
  Grid1->setColumnWidth(2, 90);
  Grid1->setColumnWidth(3, 190);
  Grid1->setColumnWidth(5, 100);
  Grid1->horizontalHeader()->setSectionResizeMode(4, QHeaderView::Stretch);

  auto* bar = new QHBoxLayout;
  bar->addWidget(portLabel);
  bar->addWidget(PortFilter);
  bar->addSpacing(12);
  bar->addWidget(stationLabel);
  bar->addWidget(StationFilter);
  bar->addStretch();
  for (QPushButton* b : {Pause, Copy, Save, Clear}) bar->addWidget(b);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(bar);
  layout->addWidget(Grid1, 1);
  resize(980, 420);

  connect(Pause, &QPushButton::clicked, this, [this] { Pause_Click(); });
  connect(Copy, &QPushButton::clicked, this, [this] { Copy_Click(); });
  connect(Save, &QPushButton::clicked, this, [this] { Save_Click(); });
  connect(Clear, &QPushButton::clicked, this, [this] { Clear_Click(); });
  connect(PortFilter, &QComboBox::currentIndexChanged, this, [this] { filterChanged(); });
  connect(StationFilter, &QComboBox::currentIndexChanged, this, [this] { filterChanged(); });

  Timer1.setInterval(500);
  Timer1.setOnTick([this] { Timer1_Timer(); });
}

FrmExchangeLog::~FrmExchangeLog() { stopWatching(); }

void FrmExchangeLog::showEvent(QShowEvent* event) {
  ui::Screen::showEvent(event);
  if (!event->spontaneous()) startWatching();
}

void FrmExchangeLog::hideEvent(QHideEvent* event) {
  // A minimised main window hides its children for a while; only a close stops the record.
  if (!event->spontaneous()) stopWatching();
  ui::Screen::hideEvent(event);
}

void FrmExchangeLog::startWatching() {
  loadStationNames();
  if (observer_) return;
  observer_ = link::addExchangeObserver([this](const link::Exchange& e) {
    link::Exchange copy = e;
    copy.wallSentMs = QDateTime::currentMSecsSinceEpoch() - (platform::scheduler().now().count() - e.sentUs) / 1000;
    log_.push(std::move(copy));
  });
  Timer1.setEnabled(true);
}

void FrmExchangeLog::stopWatching() {
  if (observer_) link::removeExchangeObserver(observer_);
  observer_ = 0;
  Timer1.setEnabled(false);
}

void FrmExchangeLog::loadStationNames() {
  names_.clear();
  QStringList ports, stations;
  const int count = core::readIniInt(core::keys::kPorts, core::keys::kPortCount);
  for (int i = 1; i <= count && i <= 255; ++i) {
    const QString portText = core::readIni(core::keys::kPorts, QString::number(i));
    if (portText.isEmpty()) continue;
    const QString port = q(link::portNameOf(portText.toStdString()));
    if (!ports.contains(port)) ports << port;
    for (const auto& s : core::getStations(portText)) {
      bool ok = false;
      const int address = s.DeviceID.trimmed().toInt(&ok);
      if (ok) names_.insert({port, address}, s.StationName);
      if (!stations.contains(s.StationName)) stations << s.StationName;
    }
  }
  refill(PortFilter, kAllPorts, ports);
  refill(StationFilter, kAllStations, stations);
}

QString FrmExchangeLog::stationOf(const link::Exchange& e) const {
  const auto it = names_.find({q(e.port), e.address});
  if (it != names_.end()) return *it;
  return e.address >= 0 ? QStringLiteral("地址 %1").arg(e.address) : QString();
}

bool FrmExchangeLog::passes(const link::Exchange& e) const {
  if (PortFilter->currentIndex() > 0 && q(e.port) != PortFilter->currentText()) return false;
  if (StationFilter->currentIndex() > 0 && stationOf(e) != StationFilter->currentText()) return false;
  return true;
}

void FrmExchangeLog::appendRow(const link::Exchange& e) {
  const int r = Grid1->rows();
  Grid1->setRows(r + 1);
  Grid1->setTextMatrix(r, 0, timeText(e.wallSentMs));
  Grid1->setTextMatrix(r, 1, q(e.port));
  Grid1->setTextMatrix(r, 2, stationOf(e));
  Grid1->setTextMatrix(r, 3, q(link::spacedHex(e.request)));
  Grid1->setTextMatrix(r, 4, q(link::spacedHex(e.reply)));
  Grid1->setTextMatrix(r, 5, q(link::verdictText(e)));
  if (e.verdict != link::Verdict::Ok) Grid1->setCellForeColor(r, 5, QColor(200, 0, 0));
}

void FrmExchangeLog::Timer1_Timer() {
  if (paused_) return;
  const std::uint64_t oldest = log_.total() - log_.size() + 1;
  std::uint64_t from = std::max(shown_ + 1, oldest);
  const bool atEnd = Grid1->verticalScrollBar()->value() == Grid1->verticalScrollBar()->maximum();
  for (std::uint64_t n = from; n <= log_.total(); ++n) {
    const link::Exchange& e = log_.at(static_cast<std::size_t>(n - oldest));
    if (passes(e)) appendRow(e);
  }
  shown_ = log_.total();
  // The table holds no more than the ring.
  const int excess = Grid1->rows() - 1 - static_cast<int>(log_.capacity());
  for (int i = 0; i < excess; ++i) Grid1->removeRow(0);
  if (atEnd) Grid1->scrollToBottom();
}

void FrmExchangeLog::rebuild() {
  Grid1->setRows(1);
  shown_ = 0;
  Timer1_Timer();
}

void FrmExchangeLog::filterChanged() {
  if (paused_) return;  // the frozen table stays; the filter applies when it runs again
  rebuild();
}

void FrmExchangeLog::Pause_Click() {
  paused_ = Pause->isChecked();
  Pause->setText(paused_ ? QStringLiteral("继续") : QStringLiteral("暂停"));
  if (!paused_) rebuild();
}

void FrmExchangeLog::Clear_Click() {
  log_.clear();
  Grid1->setRows(1);
  shown_ = log_.total();
}

QStringList FrmExchangeLog::fieldsOf(int row) const {
  QStringList out;
  for (int c = 0; c < kCols; ++c) out << Grid1->textMatrix(row, c);
  return out;
}

void FrmExchangeLog::Copy_Click() {
  // The chosen rows, or every row shown when none is chosen; tab between fields.
  QList<int> rows;
  for (const QModelIndex& i : Grid1->selectionModel()->selectedRows()) rows << i.row() + 1;
  std::sort(rows.begin(), rows.end());
  if (rows.isEmpty())
    for (int r = 1; r < Grid1->rows(); ++r) rows << r;
  QString text = fieldsOf(0).join('\t') + "\n";
  for (int r : rows) text += fieldsOf(r).join('\t') + "\n";
  QApplication::clipboard()->setText(text);
}

QString FrmExchangeLog::csvText() const {
  QString text;
  for (int r = 0; r < Grid1->rows(); ++r) {
    QStringList fields = fieldsOf(r);
    for (QString& f : fields) f.replace(',', QStringLiteral("，"));
    text += fields.join(',') + "\r\n";
  }
  return text;
}

void FrmExchangeLog::Save_Click() {
  QString path = platform::dialogs().saveFileName(QStringLiteral("保存通讯记录"), QStringLiteral("CSV文件 (*.csv)"));
  if (path.isEmpty()) return;
  if (QFileInfo(path).suffix().isEmpty()) path += QStringLiteral(".csv");
  QFile file(path);
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(platform::toGbk(csvText())) < 0) {
    core::appendLog(QStringLiteral("通讯记录保存失败：无法写入文件 ") + path);
    return;
  }
  file.close();
  core::appendLog(QStringLiteral("通讯记录已保存：") + path);
}

}  // namespace xl::monitoring

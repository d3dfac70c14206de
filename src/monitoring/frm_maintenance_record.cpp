#include "monitoring/frm_maintenance_record.h"

#include <QComboBox>
#include <QFormLayout>
#include <QVBoxLayout>

#include "core/settings.h"
#include "link/vb_numbers.h"
#include "monitoring/frm_global_monitoring.h"

namespace xl::monitoring {

namespace {
const QString kSection = QStringLiteral("Maintenance Record");
}  // namespace

FrmMaintenanceRecord::FrmMaintenanceRecord() : ui::Screen("FrmMaintenanceRecord", QStringLiteral("数据保存")) {

  Combo1 = new QComboBox(this);
  Combo1->setObjectName("Combo1");
  Combo1->setEditable(true);
  Combo1->addItems({"10", "20", "30", "40", "50", "60"});
  VSFlexGrid1 = new platform::FlexGrid(this);
  VSFlexGrid1->setObjectName("VSFlexGrid1");

  auto* form = new QFormLayout();
  form->addRow(QStringLiteral("读取间隔(秒)"), Combo1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(VSFlexGrid1, 1);

  Timer1.setInterval(1000);
  Timer1.setOnTick([this] { Timer1_Timer(); });
  FrmGlobalMonitoring::setReplyStore([this](int row, const QByteArray& reply) { storeReply(row, reply); });
  Form_Load();
}

FrmMaintenanceRecord::~FrmMaintenanceRecord() { FrmGlobalMonitoring::setReplyStore({}); }

void FrmMaintenanceRecord::storeReply(int row, const QByteArray& reply) { VSFlexGrid1->setCellData(row, 0, reply); }

void FrmMaintenanceRecord::clearStations() { platform::formatGrid(*VSFlexGrid1, false); }

void FrmMaintenanceRecord::appendStation(const QString& name, const QString& deviceId) {
  VSFlexGrid1->setRows(VSFlexGrid1->rows() + 1);
  const int r = VSFlexGrid1->rows() - 1;
  VSFlexGrid1->setTextMatrix(r, 1, name);
  VSFlexGrid1->setTextMatrix(r, 2, deviceId);
  Timer1.setEnabled(true);
}

void FrmMaintenanceRecord::Form_Load() {
  VSFlexGrid1->setCols(5);
  VSFlexGrid1->setRows(1);
  VSFlexGrid1->setTextMatrix(0, 0, QStringLiteral("选择"));
  VSFlexGrid1->setTextMatrix(0, 1, QStringLiteral("站点名称"));
  VSFlexGrid1->setTextMatrix(0, 2, QStringLiteral("设备ID"));
  VSFlexGrid1->setTextMatrix(0, 3, QStringLiteral("File Name"));
  VSFlexGrid1->setTextMatrix(0, 4, QStringLiteral("Line Count"));
  VSFlexGrid1->setColumnHidden(3, true);
  VSFlexGrid1->setColumnHidden(4, true);
  Timer1.setEnabled(true);
}

void FrmMaintenanceRecord::Timer1_Timer() {
  QString interval = core::readIni(kSection, QStringLiteral("Read Interval"));
  if (interval.isEmpty()) interval = QStringLiteral("10");
  Combo1->setEditText(interval);
  for (int r = 1; r < VSFlexGrid1->rows(); ++r)
    VSFlexGrid1->setTextMatrix(r, 0, core::readIni(kSection, VSFlexGrid1->textMatrix(r, 1)));
  Timer1.setEnabled(false);

  // The pace of the global monitor's polling.
  // A value of 0 (or none) stops the scan, after a discovery too.
  auto& scan = FrmGlobalMonitoring::instance();
  scan.pauseRest();
  const double seconds = val(Combo1->currentText().toStdString());
  if (seconds > 0) {
    scan.setReadInterval(static_cast<int>(roundHalfEven(std::min(seconds, 2147483647.0))));
    scan.resumeRest();
  } else {
    scan.setReadInterval(0);
  }
}

}  // namespace xl::monitoring

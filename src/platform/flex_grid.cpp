#include "platform/flex_grid.h"

#include <QApplication>
#include <QHeaderView>
#include <QLocale>
#include <QPalette>
#include <QStyleOptionHeader>
#include <QStyledItemDelegate>

namespace xl::platform {

namespace {

constexpr int kCellDataRole = Qt::UserRole + 1;

Qt::Alignment alignmentOf(int code) {
  switch (code) {
    case 0: return Qt::AlignLeft | Qt::AlignTop;
    case 1: return Qt::AlignLeft | Qt::AlignVCenter;
    case 2: return Qt::AlignLeft | Qt::AlignBottom;
    case 3: return Qt::AlignHCenter | Qt::AlignTop;
    case 4: return Qt::AlignHCenter | Qt::AlignVCenter;
    case 5: return Qt::AlignHCenter | Qt::AlignBottom;
    case 6: return Qt::AlignRight | Qt::AlignTop;
    case 7: return Qt::AlignRight | Qt::AlignVCenter;
    case 8: return Qt::AlignRight | Qt::AlignBottom;
    default: return Qt::AlignLeft | Qt::AlignVCenter;
  }
}

// Shows cells through their column's number format; the stored text stays as it was set.
class FormatDelegate : public QStyledItemDelegate {
 public:
  explicit FormatDelegate(FlexGrid* grid) : QStyledItemDelegate(grid), grid_(grid) {}
  void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override {
    QStyledItemDelegate::initStyleOption(option, index);
    const QString format = grid_->colFormat(index.column());
    if (!format.isEmpty()) option->text = formatCell(option->text, format);
  }

 private:
  FlexGrid* grid_;
};

// The column header in the grid's own weight. Qt's header measures its sections in bold (room
// for a highlighted section) and draws the current column's section bold, which loads a second
// face of the Chinese font (megabytes resident) for the captions alone; here no section is
// highlighted and the size is measured in the font it is drawn in.
class PlainHeader : public QHeaderView {
 public:
  explicit PlainHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) { setHighlightSections(false); }

 protected:
  QSize sectionSizeFromContents(int logicalIndex) const override {
    if (!model()) return {};
    QStyleOptionHeader opt;
    initStyleOption(&opt);
    opt.section = logicalIndex;
    opt.text = model()->headerData(logicalIndex, orientation(), Qt::DisplayRole).toString();
    const QVariant font = model()->headerData(logicalIndex, orientation(), Qt::FontRole);
    opt.fontMetrics = font.canConvert<QFont>() ? QFontMetrics(qvariant_cast<QFont>(font)) : fontMetrics();
    QSize size = style()->sizeFromContents(QStyle::CT_HeaderSection, &opt, QSize(), this);
    const QVariant hint = model()->headerData(logicalIndex, orientation(), Qt::SizeHintRole);
    if (hint.canConvert<QSize>()) size = size.expandedTo(qvariant_cast<QSize>(hint));
    return size;
  }
};

}  // namespace

FlexGrid::FlexGrid(QWidget* parent) : QTableWidget(parent) {
  setHorizontalHeader(new PlainHeader(this));
  setItemDelegate(new FormatDelegate(this));
  verticalHeader()->setVisible(false);
  setEditTriggers(QAbstractItemView::NoEditTriggers);
}

void FlexGrid::setRows(int rows) { setRowCount(std::max(rows, 1) - 1); }

void FlexGrid::setCols(int cols) {
  setColumnCount(std::max(cols, 0));
  while (keys_.size() < cols) keys_.append(QString());
  while (alignments_.size() < cols) alignments_.append(-1);
  while (formats_.size() < cols) formats_.append(QString());
}

QTableWidgetItem* FlexGrid::headerItem(int col, bool create) {
  QTableWidgetItem* it = horizontalHeaderItem(col);
  if (!it && create) {
    it = new QTableWidgetItem();
    setHorizontalHeaderItem(col, it);
  }
  return it;
}

QTableWidgetItem* FlexGrid::item(int row, int col, bool create) {
  if (row == 0) return headerItem(col, create);
  QTableWidgetItem* it = QTableWidget::item(row - 1, col);
  if (!it && create) {
    it = new QTableWidgetItem();
    setItem(row - 1, col, it);
    applyAlignment(row, col);
  }
  return it;
}

QString FlexGrid::textMatrix(int row, int col) const {
  const QTableWidgetItem* it = row == 0 ? horizontalHeaderItem(col) : QTableWidget::item(row - 1, col);
  return it ? it->text() : QString();
}

void FlexGrid::setTextMatrix(int row, int col, const QString& text) {
  if (row < 0 || row >= rows() || col < 0 || col >= cols()) return;
  item(row, col, true)->setText(text);
}

QVariant FlexGrid::cellData(int row, int col) const {
  const QTableWidgetItem* it = row == 0 ? horizontalHeaderItem(col) : QTableWidget::item(row - 1, col);
  return it ? it->data(kCellDataRole) : QVariant();
}

void FlexGrid::setCellData(int row, int col, const QVariant& data) {
  if (row < 0 || row >= rows() || col < 0 || col >= cols()) return;
  item(row, col, true)->setData(kCellDataRole, data);
}

void FlexGrid::setCellForeColor(int row, int col, const QColor& color) {
  if (row < 1 || row >= rows() || col < 0 || col >= cols()) return;
  QTableWidgetItem* it = item(row, col, color.isValid());
  if (!it) return;
  if (color.isValid())
    it->setForeground(color);
  else
    it->setData(Qt::ForegroundRole, QVariant());
}

QColor FlexGrid::cellForeColor(int row, int col) const {
  if (row < 1 || row >= rows() || col < 0 || col >= cols()) return {};
  const QTableWidgetItem* it = QTableWidget::item(row - 1, col);
  if (!it) return {};
  const QVariant v = it->data(Qt::ForegroundRole);
  return v.isValid() ? v.value<QBrush>().color() : QColor();
}

QString FlexGrid::colKey(int col) const { return col >= 0 && col < keys_.size() ? keys_[col] : QString(); }

void FlexGrid::setColKey(int col, const QString& key) {
  if (col < 0 || col >= cols()) return;
  keys_[col] = key;
}

int FlexGrid::colIndex(const QString& key) const {
  for (int c = 0; c < cols(); ++c)
    if (keys_[c] == key) return c;
  return -1;
}

void FlexGrid::setColAlignment(int col, int code) {
  if (col < 0 || col >= cols()) return;
  alignments_[col] = code;
  for (int r = 0; r < rows(); ++r) applyAlignment(r, col);
}

int FlexGrid::colAlignment(int col) const { return col >= 0 && col < alignments_.size() ? alignments_[col] : -1; }

void FlexGrid::applyAlignment(int row, int col) {
  const int code = colAlignment(col);
  if (code < 0) return;
  QTableWidgetItem* it = row == 0 ? horizontalHeaderItem(col) : QTableWidget::item(row - 1, col);
  if (it) it->setTextAlignment(alignmentOf(code));
}

void FlexGrid::setColFormat(int col, const QString& format) {
  if (col < 0 || col >= cols()) return;
  formats_[col] = format;
  viewport()->update();
}

QString FlexGrid::colFormat(int col) const { return col >= 0 && col < formats_.size() ? formats_[col] : QString(); }

QString formatCell(const QString& text, const QString& format) {
  if (format != QLatin1String("#,##0.000")) return text;
  bool ok = false;
  const double v = text.trimmed().toDouble(&ok);
  if (!ok) return text;
  QLocale c = QLocale::c();
  c.setNumberOptions(QLocale::DefaultNumberOptions);  // with thousands groups
  return c.toString(v, 'f', 3);
}

int classifyColumnText(const QString& text) {
  static const QStringList kLast1 = {"数", "额", "率", "价", "量"};
  static const QStringList kLast2 = {"应收", "已收", "未收", "应付", "已付", "合计", "未付"};
  static const QStringList kLast3 = {"(%)", "KWh"};
  static const QStringList kContains = {"成本",     "值",     "数量", "投产量", "百分比", "税率", "保质期",
                                        "安全库存", "提前期", "期初", "期末",   "剩余",   "小时"};
  if (text == QStringLiteral("序号") || text == QStringLiteral("密度")) return 0;
  if (kLast1.contains(text.right(1)) || kLast3.contains(text.right(3)) || kLast2.contains(text.right(2))) return 0;
  if (text.left(2) == QStringLiteral("累计")) return 0;
  for (const QString& word : kContains)
    if (text.contains(word)) return 0;
  return 2;
}

void formatGridColumns(FlexGrid& grid) {
  if (grid.rows() < 1) return;
  for (int c = 0; c < grid.cols(); ++c) {
    const QString head = (grid.textMatrix(0, c).trimmed() + "   ").left(3).toUpper();
    int type;
    if (head == "NUM")
      type = 0;
    else if (head == "STR")
      type = 2;
    else if (head == "NO.")
      type = 1;
    else
      type = classifyColumnText(grid.textMatrix(grid.rows() - 1, c).trimmed());
    const int alignment = type == 1 ? 7 : 1;
    grid.setColAlignment(c, alignment);
    grid.setColFormat(c, type == 0 ? QStringLiteral("#,##0.000") : QString());
  }
}

void formatGrid(FlexGrid& grid, bool keepRows) {
  // Selection: a light blue band with dark grey text; alternating rows in a pale grey.
  QPalette pal = grid.palette();
  pal.setColor(QPalette::Highlight, QColor(0xD5, 0xE0, 0xF4));
  pal.setColor(QPalette::HighlightedText, QColor(64, 64, 64));
  pal.setColor(QPalette::Base, QApplication::palette().color(QPalette::Base));
  pal.setColor(QPalette::Window, Qt::white);
  pal.setColor(QPalette::AlternateBase, QColor(245, 245, 245));
  grid.setPalette(pal);
  grid.setAlternatingRowColors(true);
  grid.setFrameShape(QFrame::StyledPanel);
  grid.setSelectionBehavior(QAbstractItemView::SelectRows);
  grid.setSelectionMode(QAbstractItemView::ExtendedSelection);
  grid.horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
  if (!keepRows) grid.setRows(grid.fixedRows());
  grid.verticalHeader()->setMinimumSectionSize(20);
  grid.verticalHeader()->setDefaultSectionSize(20);
  grid.verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
  formatGridColumns(grid);
}

}  // namespace xl::platform

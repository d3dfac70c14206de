#pragma once
// The console's data grid: a QTableWidget addressed like a classic flex grid.
//
// Row 0 is the fixed header row (shown as the horizontal header), body rows are 1..rows()-1.
// Every cell has text and, beside it, cell data (a reply, a mark) that is never shown.
// Columns may carry a key, by which code finds them, and may be hidden.

#include <QColor>
#include <QString>
#include <QTableWidget>
#include <QVariant>

namespace xl::platform {

class FlexGrid : public QTableWidget {
  Q_OBJECT
 public:
  explicit FlexGrid(QWidget* parent = nullptr);

  int rows() const { return rowCount() + 1; }
  void setRows(int rows);  // at least the fixed row
  int cols() const { return columnCount(); }
  void setCols(int cols);
  int fixedRows() const { return 1; }

  QString textMatrix(int row, int col) const;
  void setTextMatrix(int row, int col, const QString& text);
  QVariant cellData(int row, int col) const;
  void setCellData(int row, int col, const QVariant& data);

  // The text colour of one cell (an invalid colour gives the grid's own); body rows only.
  void setCellForeColor(int row, int col, const QColor& color);
  QColor cellForeColor(int row, int col) const;

  QString colKey(int col) const;
  void setColKey(int col, const QString& key);
  int colIndex(const QString& key) const;  // -1 when no column has the key

  // Alignment codes of the classic grid: 1 left-centre, 4 centre-centre, 7 right-centre.
  void setColAlignment(int col, int code);
  int colAlignment(int col) const;
  // A number format for the column's numeric cells ("#,##0.000"), or empty.
  void setColFormat(int col, const QString& format);
  QString colFormat(int col) const;

 private:
  QTableWidgetItem* item(int row, int col, bool create);
  QTableWidgetItem* headerItem(int col, bool create);
  void applyAlignment(int row, int col);

  QStringList keys_;
  QList<int> alignments_;
  QStringList formats_;
};

// Column type by the text of a header or of a sample cell: 0 number, 2 text.
int classifyColumnText(const QString& text);

// Gives a grid the house look; with keepRows false the body is emptied.
void formatGrid(FlexGrid& grid, bool keepRows);
// Column alignment and number format by header text (or, failing that, by the last row).
void formatGridColumns(FlexGrid& grid);

// The display text of `text` under a column format: "#,##0.000" groups thousands and shows
// three decimals for a number; other text is shown as it is.
QString formatCell(const QString& text, const QString& format);

}  // namespace xl::platform

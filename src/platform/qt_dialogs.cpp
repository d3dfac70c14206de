#include "platform/dialogs.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QLocale>
#include <QGridLayout>
#include <QMessageBox>

// The real dialogs, on Qt Widgets; the door to them (dialogs(), setDialogs) needs no widget.
namespace xl::platform {

int QtDialogs::msgBox(const QString& text, int style, const QString& title) {
  QMessageBox box(QApplication::activeWindow());
  box.setText(text);
  const QString caption = title.isEmpty() ? programTitle_ : title;
  box.setWindowTitle(caption);
  switch (style & 0x70) {
    case kCritical: box.setIcon(QMessageBox::Critical); break;
    case kQuestion: box.setIcon(QMessageBox::Question); break;
    case kExclamation: box.setIcon(QMessageBox::Warning); break;
    case kInformation: box.setIcon(QMessageBox::Information); break;
    default: break;
  }
  switch (style & 0x7) {
    case kOkCancel: box.setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel); break;
    case kYesNoCancel: box.setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel); break;
    case kYesNo: box.setStandardButtons(QMessageBox::Yes | QMessageBox::No); break;
    default: box.setStandardButtons(QMessageBox::Ok); break;
  }
  // A message box sizes itself to its text; a short text would leave the title bar too narrow
  // for its caption and the window buttons, and the caption would be cut. The icon and the
  // buttons rebuild the box's layout, so the spacer goes in after them.
  if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
    const int width = box.fontMetrics().horizontalAdvance(caption) * 3 / 2 + 140;
    grid->addItem(new QSpacerItem(width, 0, QSizePolicy::Minimum, QSizePolicy::Fixed), grid->rowCount(), 0, 1,
                  grid->columnCount());
  }
  switch (box.exec()) {
    case QMessageBox::Yes: return kYes;
    case QMessageBox::No: return kNo;
    case QMessageBox::Cancel: return kCancel;
    default: return kOk;
  }
}

QString QtDialogs::startFolder(const QString& wanted) const {
  if (!wanted.trimmed().isEmpty() && QFileInfo(wanted).isDir()) return QFileInfo(wanted).absoluteFilePath();
  const QString home = homeFolder_ ? homeFolder_() : QString();
  return !home.isEmpty() && QFileInfo(home).isDir() ? QFileInfo(home).absoluteFilePath() : QString();
}

namespace {

// The kind column of the file dialogs in Chinese: Qt's translation leaves it English.
class ChineseKinds : public QFileIconProvider {
 public:
  QString type(const QFileInfo& info) const override {
    if (info.isDir()) return QStringLiteral("文件夹");
    const QString suffix = info.suffix();
    return suffix.isEmpty() ? QStringLiteral("文件") : suffix.toUpper() + QStringLiteral(" 文件");
  }
};

// Qt's own file dialog (the same on every desktop), in Chinese: the captions and buttons from
// Qt's translation, the kinds from ChineseKinds (the dates column follows the system's locale).
QString runFileDialog(const QString& title, const QString& folder, const QString& filter,
                      QFileDialog::AcceptMode accept, QFileDialog::FileMode mode) {
  QFileDialog dialog(QApplication::activeWindow(), title, folder, filter);
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setLocale(QLocale(QLocale::Chinese, QLocale::China));
  ChineseKinds kinds;
  dialog.setIconProvider(&kinds);
  dialog.setAcceptMode(accept);
  dialog.setFileMode(mode);
  if (accept == QFileDialog::AcceptSave && filter.startsWith(QStringLiteral("*.")) && !filter.contains(u' '))
    dialog.setDefaultSuffix(filter.mid(2));
  if (mode == QFileDialog::Directory) dialog.setOption(QFileDialog::ShowDirsOnly);
  if (dialog.exec() != QDialog::Accepted) return {};
  return dialog.selectedFiles().value(0);
}

}  // namespace

QString QtDialogs::openFileName(const QString& title, const QString& filter) {
  return runFileDialog(title, startFolder({}), filter, QFileDialog::AcceptOpen, QFileDialog::ExistingFile);
}

// The dialog adds the filter's suffix ("*.txt" gives "txt") to a name typed without one before it
// asks whether to replace an existing file, so the question names the file that is written.
QString QtDialogs::saveFileName(const QString& title, const QString& filter) {
  return runFileDialog(title, startFolder({}), filter, QFileDialog::AcceptSave, QFileDialog::AnyFile);
}

QString QtDialogs::chooseFolder(const QString& prompt) { return chooseFolderIn(prompt, {}); }

QString QtDialogs::chooseFolderIn(const QString& prompt, const QString& startIn) {
  return runFileDialog(prompt, startFolder(startIn), {}, QFileDialog::AcceptOpen, QFileDialog::Directory);
}

}  // namespace xl::platform

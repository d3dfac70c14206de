#include "ui/modal.h"

#include <QPointer>

#include "platform/scheduler.h"
#include "ui/screen.h"

namespace xl::ui {

namespace {
ModalRunner gRunner;
}

DialogForm::DialogForm(const char* objectName, const QString& caption) {
  setObjectName(QString::fromLatin1(objectName));
  setWindowTitle(caption);
  // Every dialog takes over the main window's icon at load.
  if (!ui::mainIcon().isNull()) setWindowIcon(ui::mainIcon());
}

void DialogForm::unload() {
  if (unloading_) return;
  unloading_ = true;
  hide();
  if (modalDepth_ > 0) return;  // showModal destroys it when it returns
  // Not shown modally (the first login): destroyed after the handler that unloads it.
  platform::scheduler().post(platform::Duration::zero(), [form = QPointer<DialogForm>(this)] {
    if (form) form->destroyThis();
  });
}

void showModal(DialogForm& form) {
  QPointer<DialogForm> guard(&form);
  form.ensureLoaded();
  ++form.modalDepth_;
  if (gRunner) {
    form.setWindowModality(Qt::ApplicationModal);
    form.show();
    gRunner(form);
    if (guard && guard->isVisible()) guard->hide();
  } else {
    form.exec();
  }
  if (!guard) return;
  --form.modalDepth_;
  if (form.unloading_ && form.modalDepth_ == 0) form.destroyThis();
}

void setModalRunner(ModalRunner runner) { gRunner = std::move(runner); }

}  // namespace xl::ui

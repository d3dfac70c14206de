#pragma once
// The dialogs of the shell: a form that can unload itself from its own handlers, and the one
// way to show such a form modally.
//
// A dialog form is a singleton like every screen (created at first touch). Unloading it hides
// it at once; the form itself is destroyed when its handler has finished: when shown modally,
// as soon as the modal show returns; otherwise on the next turn of the event queue. The next
// touch then creates it anew, so its load runs again and its fields start over.
//
// The program shows a modal form with QDialog::exec; tests install a runner that drives the
// form through its controls while it stands and returns when they are done.

#include <QDialog>
#include <functional>

#include "ui/registry.h"

namespace xl::ui {

class DialogForm : public QDialog {
  Q_OBJECT

 public:
  DialogForm(const char* objectName, const QString& caption);

  // Hides the form; it is destroyed once the running handler has finished.
  void unload();
  bool unloading() const { return unloading_; }
  bool shownModally() const { return modalDepth_ > 0; }

  // Runs the form's load once: at the first showing, or earlier where the form asks for it.
  void ensureLoaded() {
    if (loaded_) return;
    loaded_ = true;
    Form_Load();
  }

  // The close box and the Escape key. A form unloads itself unless it says otherwise.
  void reject() override { closeBox(); }

 protected:
  virtual void closeBox() { unload(); }
  // The form's load. A load that touches other screens cannot run in a constructor (no screen
  // is made inside another's constructor), so it runs when the form is first shown.
  virtual void Form_Load() {}
  virtual void destroyThis() = 0;

 private:
  friend void showModal(DialogForm& form);
  bool unloading_ = false;
  bool loaded_ = false;
  int modalDepth_ = 0;
};

// The base of a dialog form `F`: a DialogForm that is the singleton F.
template <class F>
class ModalForm : public DialogForm, public ui::Singleton<F> {
 protected:
  using DialogForm::DialogForm;
  void destroyThis() override { ui::Singleton<F>::discard(); }
};

// Shows `form` modally and returns when it is out of sight; a form that unloaded itself
// meanwhile is destroyed before this returns.
void showModal(DialogForm& form);

// How a modal form is run; empty restores QDialog::exec. Tests drive the form in the runner.
using ModalRunner = std::function<void(DialogForm& form)>;
void setModalRunner(ModalRunner runner);

}  // namespace xl::ui

#pragma once
// The configuration screens in the whole console: one line COM3 at 9600 baud with simulated
// controllers on it that answer only what they are asked, and the operator's mouse.

#include <QAbstractButton>
#include <QLabel>
#include <QTest>

#include "core/text_cases.h"
#include "support/console_fixture.h"
#include "support/hex_bytes.h"
#include "support/wire_log.h"
#include "tools/sim/bus.h"

namespace xl::testing {

using platform::ms;

class ConfigScreenFixture : public ConsoleFixture {
 protected:
  void SetUp() override {
    ConsoleFixture::SetUp();
    setPorts({"COM3,9600"});
  }

  sim::Controller& controllerAt(int address, std::optional<std::uint16_t> loadMode = {}) {
    sim::StationOptions o;
    o.live = false;
    o.address = static_cast<std::uint8_t>(address);
    o.loadMode = loadMode;
    o.plant.historyDays = 0;
    sim::Controller& c = bus.add("COM3", 9600, o);
    line = driver.line("COM3");
    return c;
  }

  static void click(QWidget* w) { QTest::mouseClick(w, Qt::LeftButton); }
  // Start-up and discovery; the station lists are filled at 5.6 s.
  void startAndDiscover() {
    start();
    clock.advance(ms(8000));
  }
  // A click and the reply's time; the time of the click.
  std::int64_t clickAndWait(QWidget* w, int waitMs = 400) {
    const std::int64_t at = nowMs();
    click(w);
    if (waitMs > 0) clock.advance(ms(waitMs));
    return at;
  }
  // The operator clicks into a box (or a list's box), selects what stands there and types
  // `text` over it, one key press per character, any character; the cursor stays.
  static void type(QWidget* box, const QString& text) {
    QLineEdit* e = qobject_cast<QLineEdit*>(box);
    if (!e) e = qobject_cast<QComboBox*>(box)->lineEdit();
    click(e);
    QTest::keyClick(e, Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(e, Qt::Key_Delete);
    for (const QChar ch : text) QTest::sendKeyEvent(QTest::Click, e, Qt::Key_unknown, QString(ch), Qt::NoModifier);
  }
  // The operator picks an entry of a list.
  static void pick(QComboBox* box, const QString& text) {
    const int index = box->findText(text);
    ASSERT_GE(index, 0) << text.toStdString();
    box->setCurrentIndex(index);
    emit box->activated(index);
  }

  // The operator's steps on `screen`, joined by '|': "press Name" (a click, then `replyMs` for
  // the reply), "click Name", "pick Name entry", "type Name text" (the text may be empty).
  void run(QWidget& screen, std::string_view steps, int replyMs = 400) {
    for (const std::string& step : split(steps, '|')) {
      const std::vector<std::string> w = split(step, ' ');
      QWidget* c = screen.findChild<QWidget*>(QString::fromStdString(w.at(1)));
      ASSERT_TRUE(c) << step;
      const QString text = QString::fromStdString(step.substr(std::min(step.size(), w[0].size() + w[1].size() + 2)));
      if (w[0] == "press" || w[0] == "click") clickAndWait(c, w[0] == "press" ? replyMs : 0);
      if (w[0] == "pick") pick(qobject_cast<QComboBox*>(c), text);
      if (w[0] == "type") type(c, text);
    }
  }

  std::int64_t nowMs() const { return platform::toMs(clock.now()); }
  std::vector<Sent> sentFrom(std::int64_t fromMs) const { return sentFrames(*line, fromMs); }

  // The controls of `screen` named in `expected` as one text: "Name=text" for a box's or
  // list's text, a label's or a push button's caption, "Name=1" for a checked option,
  // "Name@Property=text" for a property's text; "+Name" / "-Name" for an enabled or disabled control.
  static ::testing::AssertionResult shows(const QWidget& screen, std::string_view expected) {
    return describedAs(expected, [&](const std::string& name) -> std::optional<std::pair<std::string, bool>> {
      const std::size_t at = name.find('@');
      const QWidget* w = screen.findChild<QWidget*>(QString::fromStdString(name.substr(0, at)));
      if (!w) return std::nullopt;
      QString value;
      if (auto* e = qobject_cast<const QLineEdit*>(w)) value = e->text();
      if (auto* c = qobject_cast<const QComboBox*>(w)) value = c->currentText();
      if (auto* l = qobject_cast<const QLabel*>(w)) value = l->text();
      if (auto* b = qobject_cast<const QAbstractButton*>(w))
        value = !b->isCheckable() ? b->text() : b->isChecked() ? "1" : "0";
      if (at != std::string::npos) value = w->property(name.substr(at + 1).c_str()).toString();
      return std::pair(value.toStdString(), w->isEnabled());
    });
  }

  // What happened since the last look: the frames sent that are not the scan's own reads, and
  // the messages shown ("frame, frame / message | message").
  std::string since() {
    const auto sent = testing::sentFrames(*line);
    std::string frames, messages;
    for (; framesSeen_ < sent.size(); ++framesSeen_) {
      const std::string head = sent[framesSeen_].frame.substr(2, 10);
      if (head == "0301000023" || head == "03E01D0001") continue;
      frames += (frames.empty() ? "" : ", ") + sent[framesSeen_].frame;
    }
    for (; shownSeen_ < dialogs.shown.size(); ++shownSeen_)
      messages += (messages.empty() ? "" : " | ") + dialogs.shown[shownSeen_].text.toStdString();
    return frames + " / " + messages;
  }

  sim::Bus bus{driver};
  platform::SimLine* line = nullptr;
  std::size_t framesSeen_ = 0, shownSeen_ = 0;
};

}  // namespace xl::testing

namespace xl {
// What the screen tests of this folder name without their namespace.
using platform::ms;
using testing::button;
using testing::combo;
using testing::control;
using testing::edit;
using testing::Sent;
using testing::split;
}  // namespace xl

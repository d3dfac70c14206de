// The configuration and history screens' frames, made by their own rules, answered by the
// device model: each dialogue as the screen would hold it, and what the controller does.

#include <gtest/gtest.h>

#include "configuration/device_id.h"
#include "configuration/factory_commands.h"
#include "configuration/load_block.h"
#include "link/device_data_map.h"
#include "link/frame_codec.h"
#include "monitoring/history_record.h"
#include "sim_test_util.h"
#include "tools/sim/controller.h"

namespace xl::sim {
namespace {

using configuration::LoadOption;
using monitoring::HistoryReading;
using testing::at;
using testing::frozenStation;
using testing::hex;

// What a screen's reply handler gets: the verified bytes (nothing unless the first byte is not
// 0) and the reply text.
struct Received {
  Bytes data;
  std::string text;
  bool dispatched = false;
};

Received receive(const std::optional<Bytes>& reply) {
  Received r;
  if (!reply) return r;
  r.text = hexText(*reply);
  const auto v = verifyFrame(r.text);
  if (v && !v->empty() && (*v)[0] != 0) {
    r.data = *v;
    r.dispatched = true;
  }
  return r;
}

// The same through the faults of the controller (an exception instead of the reply).
Received receiveWithFaults(Controller& c, const Bytes& frame) {
  Bytes all;
  for (const auto& part : c.onFrame(frame, at(0))) all.insert(all.end(), part.bytes.begin(), part.bytes.end());
  return receive(all.empty() ? std::nullopt : std::optional<Bytes>(all));
}

configuration::LoadBlockView readLoadBlock(Controller& c) {
  const Received r = receive(c.handle(*configuration::loadBlockReadRequest("1"), at(0)));
  auto v = configuration::showLoadBlock(r.data);
  EXPECT_TRUE(v);
  return v.value_or(configuration::LoadBlockView{});
}

std::string writeLoadBlock(Controller& c, LoadOption option, const char* hours, const configuration::LoadBlockView& read) {
  const auto w = configuration::buildLoadWrite({"1", option, hours, read.lTextBox2Tag, read.lTextBox3Tag});
  EXPECT_TRUE(w.frame);
  const Received r = receive(c.handle(w.frame.value_or(Bytes{}), at(0)));
  return configuration::loadReplyMessage(configuration::kLoadPendingWrite, r.data);
}

TEST(ScreenDialogues, HistoryReadingOfThreeDays) {
  Controller c(frozenStation());
  c.state().setRecord(3, DayRecord{124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
  c.state().setRecord(2, DayRecord{125, 145, 501, 201, 151, 61, 11, 6, 121, 51});
  c.state().setRecord(1, DayRecord{126, 146, 502, 202, 152, 62, 12, 7, 122, 52});
  c.state().readings.today = DayRecord{127, 147, 503, 203, 153, 63, 13, 8, 123, 53};

  HistoryReading reading;
  reading.start(*HistoryReading::dayCount("3").days);
  std::vector<monitoring::HistoryRow> rows;
  while (reading.reading()) {
    const auto tick = reading.tick("1", "3");
    ASSERT_TRUE(tick.frame);
    // The reply comes back after the countdown has moved on, as on the wire.
    const Received r = receive(c.handle(*tick.frame, at(0)));
    ASSERT_TRUE(r.dispatched);
    if (auto row = reading.showHistoryDay(r.data, reading.gridRows())) rows.push_back(*row);
  }
  ASSERT_EQ(rows.size(), 4u);
  EXPECT_EQ(rows[0].cells(), (std::vector<std::string>{"-1", "3", "12.4", "14.4", "5.00", "2.00", "150", "60", "10", "5",
                                                       "0.120", "0.050"}));
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(rows[i].row, i + 1);
    EXPECT_EQ(rows[i].label, std::to_string(3 - i));
    EXPECT_EQ(rows[i].values[0], link::fixedText((124 + i) / 10.0, 1));
    EXPECT_EQ(rows[i].values[9], link::fixedText((50 + i) / 1000.0, 3));
  }

  // Five years back the memory holds nothing: a record of zeros.
  reading.start(1825);
  const Received old = receive(c.handle(*reading.tick("1", "1825").frame, at(0)));
  EXPECT_EQ(reading.showHistoryDay(old.data, reading.gridRows())->values[0], "0.0");
}

TEST(ScreenDialogues, LoadBlockWriteChangesTheModeTheControllerReports) {
  Controller c(frozenStation());
  const auto factory = readLoadBlock(c);
  EXPECT_EQ(factory.option, LoadOption::Option4);  // manual mode as delivered

  // Mode 5 from the screen, acknowledged; read back with the delay and voltage it had.
  EXPECT_EQ(writeLoadBlock(c, LoadOption::Option5, "5", factory), configuration::kLoadWriteDoneText);
  EXPECT_EQ(c.state().param(param::kLoadMode), 5);
  const auto five = readLoadBlock(c);
  EXPECT_EQ(five.option, LoadOption::Option5);
  EXPECT_EQ(five.combo2, "5");
  EXPECT_EQ(five.lTextBox2Tag, factory.lTextBox2Tag);
  EXPECT_EQ(five.lTextBox3Tag, factory.lTextBox3Tag);
  // The scan's one-register read sees the new mode: the manual switch is off.
  const Received scan = receive(c.handle(requestFrame(1, " 03 E0 1D 0001"), at(0)));
  EXPECT_EQ(link::loadModeIsManual(scan.data), false);

  // Written back unchanged from that read, the controller keeps what it had.
  EXPECT_EQ(writeLoadBlock(c, five.option, five.combo2.c_str(), five), configuration::kLoadWriteDoneText);
  EXPECT_EQ(readLoadBlock(c).mode, 5);

  // 15 typed into the hours reads back as the manual mode.
  EXPECT_EQ(writeLoadBlock(c, LoadOption::Option5, "15", five), configuration::kLoadWriteDoneText);
  EXPECT_EQ(configuration::loadOptionCaption(readLoadBlock(c).option), "手动模式");

  // 18 is no mode: the controller refuses it, the screen shows nothing, nothing changes.
  EXPECT_EQ(writeLoadBlock(c, LoadOption::Option5, "18", five), "");
  EXPECT_EQ(c.state().param(param::kLoadMode), 15);
}

TEST(ScreenDialogues, AddressPassFindsTheLastAddressAndTheWriteMovesTheController) {
  auto pass = [](Controller& c) -> std::optional<int> {
    configuration::AddressScan scan;
    scan.start();
    while (auto t = scan.tick()) {
      const Received r = receive(c.handle(t->frame, at(0)));
      if (auto found = configuration::foundAddress(r.data, r.text)) return *found;
    }
    return std::nullopt;
  };
  Controller beyond(frozenStation(242));
  EXPECT_EQ(pass(beyond), std::nullopt);

  Controller c(frozenStation(241));
  const auto found = pass(c);
  ASSERT_EQ(found, 241);

  const auto w = configuration::addressWrite(static_cast<std::uint8_t>(*found), "5");
  ASSERT_TRUE(w.frame);
  const Received ack = receive(c.handle(*w.frame, at(0)));
  EXPECT_EQ(configuration::addressWriteMessage(ack.data, ack.text), configuration::kAddressWrittenText);
  EXPECT_EQ(c.address(), 5);
  EXPECT_EQ(pass(c), 5);
  // A second write to the old address finds nobody and shows nothing.
  const Received none = receive(c.handle(*configuration::addressWrite(241, "6").frame, at(0)));
  EXPECT_FALSE(none.dispatched);
  EXPECT_EQ(configuration::addressWriteMessage(none.data, none.text), "");
  EXPECT_EQ(c.address(), 5);
}

TEST(ScreenDialogues, FactoryCommandsRestoreClearSwitchAndRestart) {
  using configuration::FactoryCommand;
  Controller c(frozenStation());
  auto command = [&](FactoryCommand cmd) {
    const Received r = receive(c.handle(*configuration::factoryFrame(cmd, "1"), at(0)));
    return configuration::factoryReply(configuration::factoryPendingRead(cmd), r.data, r.text);
  };
  auto dayThree = [&] {
    HistoryReading reading;
    reading.start(3);
    const Received r = receive(c.handle(*reading.tick("1", "3").frame, at(0)));
    return reading.showHistoryDay(r.data, reading.gridRows()).value().values[0];
  };

  c.state().setRecord(3, DayRecord{124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
  writeLoadBlock(c, LoadOption::Option5, "5", readLoadBlock(c));
  EXPECT_EQ(dayThree(), "12.4");

  // 0x79 clears the history and keeps the load block.
  EXPECT_EQ(command(FactoryCommand::Command2).message, "清除数据成功");
  EXPECT_EQ(dayThree(), "0.0");
  EXPECT_EQ(readLoadBlock(c).mode, 5);

  // 0x78 restores the parameters, the load block with them, and clears the history.
  c.state().setRecord(3, DayRecord{124, 144, 500, 200, 150, 60, 10, 5, 120, 50});
  EXPECT_EQ(command(FactoryCommand::Command1).message, "恢复出厂成功");
  EXPECT_EQ(readLoadBlock(c).option, LoadOption::Option4);
  EXPECT_EQ(dayThree(), "0.0");

  // RS-485 use, as written and as register 0xE327 then reads.
  auto rs485 = [&] {
    const Received r = receive(c.handle(appendCrc(hex("01 03 E3 27 00 01")), at(0)));
    return r.data.at(4);
  };
  const auto parallel = command(FactoryCommand::Command4);
  EXPECT_EQ(parallel.message, "设置成功");
  EXPECT_EQ(parallel.text1, configuration::kParallelUseText);
  EXPECT_EQ(rs485(), 1);
  EXPECT_EQ(command(FactoryCommand::Command3).text1, configuration::kCommunicationUseText);
  EXPECT_EQ(rs485(), 0);

  // Restart: acknowledged, then silent for its time.
  c.setRestartSilence(std::chrono::seconds(3));
  EXPECT_EQ(command(FactoryCommand::Command5).message, "系统复位成功");
  EXPECT_FALSE(c.handle(*configuration::loadBlockReadRequest("1"), at(1000)));
  EXPECT_TRUE(c.handle(*configuration::loadBlockReadRequest("1"), at(3000)));
}

TEST(ScreenDialogues, ExceptionRepliesGiveNoMessage) {
  using configuration::FactoryCommand;
  Controller c(frozenStation());
  c.setFaults(Faults{.exception = Exception::IllegalFunction});

  const Received load = receiveWithFaults(c, *configuration::loadBlockReadRequest("1"));
  ASSERT_TRUE(load.dispatched);  // a sound frame of three bytes
  EXPECT_FALSE(configuration::showLoadBlock(load.data));
  const auto write = configuration::buildLoadWrite({"1", LoadOption::Option4, "", "5", "10"});
  EXPECT_EQ(configuration::loadReplyMessage(configuration::kLoadPendingWrite, receiveWithFaults(c, *write.frame).data), "");
  EXPECT_EQ(c.state().param(param::kLoadMode), 15);  // nothing carried out

  for (FactoryCommand cmd : {FactoryCommand::Command1, FactoryCommand::Command2, FactoryCommand::Command3,
                             FactoryCommand::Command4, FactoryCommand::Command5}) {
    const Received r = receiveWithFaults(c, *configuration::factoryFrame(cmd, "1"));
    const auto reply = configuration::factoryReply(configuration::factoryPendingRead(cmd), r.data, r.text);
    EXPECT_EQ(reply.message, "");
    EXPECT_FALSE(reply.text1);
  }

  HistoryReading reading;
  reading.start(0);
  const Received day = receiveWithFaults(c, *reading.tick("1", "0").frame);
  EXPECT_FALSE(reading.showHistoryDay(day.data, reading.gridRows()));

  // The address pass takes any sound frame, an exception too; the write's reply is not
  // compared with the request either.
  const Received poll = receiveWithFaults(c, configuration::addressPollFrame(1));
  EXPECT_EQ(configuration::foundAddress(poll.data, poll.text), 1);
  const Received ack = receiveWithFaults(c, *configuration::addressWrite(1, "5").frame);
  EXPECT_EQ(configuration::addressWriteMessage(ack.data, ack.text), configuration::kAddressWrittenText);
  EXPECT_EQ(c.address(), 1);
}

}  // namespace
}  // namespace xl::sim

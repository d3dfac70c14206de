// The configuration and history screens' rules against the device model's exception replies:
// a sound three-byte frame that no screen may take for an answer. (The ordinary dialogues are
// checked byte for byte in golden_test and through the whole console in the screen tests.)

#include <gtest/gtest.h>

#include "configuration/device_id.h"
#include "configuration/factory_commands.h"
#include "configuration/load_block.h"
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

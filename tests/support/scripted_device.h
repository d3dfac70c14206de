#pragma once
// A device for tests of the serial layer: answers every frame with the reply a test set up
// (parts with gaps), and records what it was sent.

#include <functional>
#include <vector>

#include "platform/sim_bus.h"

namespace xl::testing {

class ScriptedDevice : public platform::SimDevice {
 public:
  std::vector<platform::SimReplyPart> reply;
  // When set, computes the reply instead of `reply`.
  std::function<std::vector<platform::SimReplyPart>(const Bytes&)> answer;
  std::vector<std::pair<platform::Duration, Bytes>> received;

  std::vector<platform::SimReplyPart> onFrame(const Bytes& frame, platform::Duration at) override {
    received.emplace_back(at, frame);
    return answer ? answer(frame) : reply;
  }
};

}  // namespace xl::testing

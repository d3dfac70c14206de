#pragma once
// One simulated charge controller on an RS-485 line.
//
// `handle` is the device's protocol core: it takes a whole request frame (with its CRC) and the
// time it arrived, acts on it and returns the reply frame, or nothing when the device stays
// silent (not its address, a bad CRC, a broadcast, a restart in progress). `onFrame` puts the
// configured faults and the response latency on top of it; the simulated bus of the console's
// tests and the pseudo-terminal tool both call `onFrame`.
//
// Functions: 3 (read holding registers), 6 (write one register), 0x10 (write registers),
// 0x78 (factory settings restored, history cleared) and 0x79 (history cleared); the last two
// are answered with the first six bytes of the request. Anything else gets exception 1.
// A frame to address 0 is a broadcast: writes are carried out (except a change of address,
// which would give every device on the line the same one), nothing is answered.

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/bytes.h"
#include "platform/sim_bus.h"
#include "tools/sim/device_state.h"
#include "tools/sim/faults.h"
#include "tools/sim/solar_model.h"

namespace xl::sim {

struct StationOptions {
  std::uint8_t address = 1;
  Identity identity;
  PlantSetup plant;
  SimClock clock;
  bool live = true;                       // the station moves with time; off: values stay put
  std::uint16_t capacityAh = 200;         // battery capacity in the parameter block at the start
  bool loadOn = true;                     // the load output at the start
  std::optional<std::uint16_t> loadMode;  // the load mode at the start, instead of the factory one
  ForcedStatus forced;
  Duration latency = std::chrono::milliseconds(5);    // from the request's last byte to the reply
  Duration restartSilence = std::chrono::seconds(3);  // how long a restart keeps the device silent
  Faults faults;
};

class Controller : public platform::SimDevice {
 public:
  explicit Controller(const StationOptions& options = {});

  // The reply parts to a frame that has arrived at `at`: latency, reply and faults.
  std::vector<SimReplyPart> onFrame(const Bytes& frame, Duration at) override;

  // The device's answer to a whole frame arriving at `at`, without faults or timing: the reply
  // frame with its CRC, or nothing.
  std::optional<Bytes> handle(const Bytes& frame, Duration at);

  std::uint8_t address() const { return state_.address; }
  DeviceState& state() { return state_; }
  const DeviceState& state() const { return state_; }

  const Faults& faults() const { return faults_; }
  void setFaults(const Faults& faults) { faults_ = faults; }
  Duration latency() const { return latency_; }
  void setLatency(Duration latency) { latency_ = latency; }
  Duration restartSilence() const { return restartSilence_; }
  void setRestartSilence(Duration d) { restartSilence_ = d; }

  // A live station moves with time; a frozen one keeps whatever its state holds.
  bool live() const { return live_; }
  void setLive(bool live) { live_ = live; }

  // Brings a live station up to `at` (requests do this by themselves).
  void advanceTo(Duration at);
  // Whether a restart keeps the device silent at `at`.
  bool restarting(Duration at) const { return at < silentUntil_; }
  const SolarModel& model() const { return model_; }

  // The factory settings: parameter block, load block and RS-485 use as delivered, and the
  // history cleared. Address, identity, counters and totals stay.
  void restoreFactorySettings();
  // The stored days are forgotten and today's extremes and totals start again.
  void clearHistory();

 private:
  // Whether `frame` is a sound frame (length, CRC) for this device or for all, at `at`.
  bool hears(const Bytes& frame, Duration at) const;
  Bytes reply(const Bytes& payload);
  Bytes readHolding(const Bytes& p);
  Bytes writeSingle(const Bytes& p, Duration at);
  Bytes writeMultiple(const Bytes& p);
  Bytes exception(const Bytes& p, Exception code) const;

  DeviceState state_;
  SolarModel model_;
  Faults faults_;
  Duration latency_;
  Duration restartSilence_;
  Duration silentUntil_{Duration::min()};
  bool live_;
};

}  // namespace xl::sim

// The link health of a station, booked from exchanges alone: last good reply, share answered
// over the window, stale after two rounds, never answered.

#include "monitoring/link_health.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"

namespace xl::monitoring {
namespace {

constexpr std::int64_t kSec = 1'000'000;
constexpr std::int64_t kRound = 17 * kSec;

link::Exchange exchange(int address, link::Verdict verdict, std::int64_t atUs, const char* port = "COM3") {
  link::Exchange e;
  e.port = port;
  e.address = address;
  e.request = requestFrame(address, " 03 0100 0023");
  e.verdict = verdict;
  e.sentUs = atUs - 100'000;
  e.endedUs = atUs;
  return e;
}

// What the health columns show of one station at `nowUs`: its state, age and share.
std::string shown(const LinkHealth& health, int address, std::int64_t nowUs, const char* port = "COM3") {
  const HealthTexts t = healthTexts(health.find(port, address), nowUs, kRound);
  const char* const states[] = {"unknown", "never", "fresh", "stale"};
  return std::string(states[static_cast<int>(t.state)]) + " " + t.age + " " + t.share;
}

// The share over a pattern of faults and the round's length are checked in the whole console;
// here the booking itself, the staleness's bound, the window and the age texts.
TEST(LinkHealth, BooksEachExchangeToItsStationAndSharesTheGoodRepliesOfTheWindow) {
  LinkHealth health;
  health.record(exchange(1, link::Verdict::Ok, 2 * kSec));
  health.record(exchange(2, link::Verdict::NoReply, 3 * kSec));
  health.record(exchange(1, link::Verdict::Ok, 4 * kSec, "COM4"));  // another line, same address
  // Asked, never answered: "无应答"; a station never asked says nothing; a broadcast belongs to
  // nobody.
  health.record(exchange(0, link::Verdict::NoReply, 5 * kSec));
  EXPECT_EQ(shown(health, 1, 5 * kSec) + "|" + shown(health, 1, 5 * kSec, "COM4") + "|" + shown(health, 2, 5 * kSec) +
                "|" + shown(health, 3, 5 * kSec) + "|" + shown(health, 0, 5 * kSec),
            "fresh 3秒 100%|fresh 1秒 100%|never 无应答 0%|unknown  |unknown  ");
  // Stale only after two whole rounds without a good reply.
  EXPECT_EQ(shown(health, 1, 2 * kSec + 2 * kRound) + "|" + shown(health, 1, 2 * kSec + 2 * kRound + 1),
            "fresh 34秒 100%|stale 34秒 100%");
  // Faults do not refresh. The window keeps the last kWindow requests: twenty good ones push
  // every fault out.
  std::int64_t t = 5 * kSec;
  for (auto v : {link::Verdict::CrcError, link::Verdict::Exception, link::Verdict::LengthMismatch})
    health.record(exchange(1, v, t += kSec));
  EXPECT_EQ(shown(health, 1, t), "fresh 6秒 25%");
  for (std::size_t i = 0; i < LinkHealth::kWindow; ++i) health.record(exchange(1, link::Verdict::Ok, t += kSec));
  health.record(exchange(1, link::Verdict::NoReply, t += kSec));
  // A late reply (no request of its own) refreshes the time but is no request.
  link::Exchange late = exchange(1, link::Verdict::Ok, t += kSec);
  late.request.clear();
  late.address = -1;
  late.reply = {1, 3};
  health.record(late);
  EXPECT_EQ(shown(health, 1, t + kSec) + shareText(nullptr), "fresh 1秒 95%");
  std::string ages;
  for (std::int64_t us : {std::int64_t{0}, 59 * kSec + 999'999, 125 * kSec, (3 * 3600 + 120) * kSec,
                          (2 * 86400 + 3 * 3600) * kSec, std::int64_t{-5}})
    ages += ageText(us) + " ";
  EXPECT_EQ(ages, "0秒 59秒 2分05秒 3小时02分 2天03小时 0秒 ");
}

}  // namespace
}  // namespace xl::monitoring

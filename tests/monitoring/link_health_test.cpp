// The link health of a station, booked from exchanges alone: last good reply, share answered
// over the window, stale after two rounds, never answered.

#include "monitoring/link_health.h"

#include <gtest/gtest.h>

#include "link/frame_codec.h"

namespace xl::monitoring {
namespace {

constexpr std::int64_t kSec = 1'000'000;

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

TEST(LinkHealth, BooksEachExchangeToItsStation) {
  LinkHealth health;
  EXPECT_EQ(freshness(health.find("COM3", 1), 0, 17 * kSec), Freshness::Unknown);
  health.record(exchange(1, link::Verdict::Ok, 2 * kSec));
  health.record(exchange(2, link::Verdict::NoReply, 3 * kSec));
  health.record(exchange(1, link::Verdict::Ok, 4 * kSec, "COM4"));  // another line, same address
  const StationHealth* one = health.find("COM3", 1);
  ASSERT_NE(one, nullptr);
  EXPECT_EQ(one->lastGoodUs, 2 * kSec);
  EXPECT_EQ(one->requests, 1u);
  EXPECT_EQ(health.find("COM4", 1)->lastGoodUs, 4 * kSec);
  // Asked, never answered: "无应答"; a station never asked says nothing.
  EXPECT_EQ(freshness(health.find("COM3", 2), 3 * kSec, 17 * kSec), Freshness::NeverAnswered);
  EXPECT_EQ(healthTexts(health.find("COM3", 2), 3 * kSec, 17 * kSec).age, "无应答");
  EXPECT_EQ(health.find("COM3", 3), nullptr);
  // A broadcast belongs to nobody.
  health.record(exchange(0, link::Verdict::NoReply, 5 * kSec));
  EXPECT_EQ(health.find("COM3", 0), nullptr);
}

TEST(LinkHealth, StaleAfterTwoRoundsFreshAtTheNextGoodReply) {
  LinkHealth health;
  const std::int64_t round = pacedRoundUs(2, 10);
  EXPECT_EQ(round, 17 * kSec);  // 3 s real-time pass, 3 s load mode pass, 11 s rest
  health.record(exchange(1, link::Verdict::Ok, 20 * kSec));
  const auto* h = health.find("COM3", 1);
  EXPECT_EQ(freshness(h, 20 * kSec + 2 * round, round), Freshness::Fresh);
  EXPECT_EQ(freshness(h, 20 * kSec + 2 * round + 1, round), Freshness::Stale);
  // Faults do not refresh it; any good reply does.
  health.record(exchange(1, link::Verdict::CrcError, 60 * kSec));
  health.record(exchange(1, link::Verdict::Exception, 61 * kSec));
  EXPECT_EQ(freshness(h, 62 * kSec, round), Freshness::Stale);
  health.record(exchange(1, link::Verdict::Ok, 63 * kSec));
  EXPECT_EQ(freshness(h, 63 * kSec, round), Freshness::Fresh);
  const HealthTexts t = healthTexts(h, 71 * kSec, round);
  EXPECT_EQ(t.age, "8秒");
  EXPECT_EQ(t.ageUs, 8 * kSec);
}

TEST(LinkHealth, ShareCountsOnlyGoodRepliesOverTheWindow) {
  LinkHealth health;
  std::int64_t t = 0;
  // 3 good, a CRC fault, a silence, an exception, a wrong length: 3 of 7.
  for (auto v : {link::Verdict::Ok, link::Verdict::Ok, link::Verdict::CrcError, link::Verdict::NoReply,
                 link::Verdict::Exception, link::Verdict::LengthMismatch, link::Verdict::Ok})
    health.record(exchange(1, v, t += kSec));
  EXPECT_EQ(shareText(health.find("COM3", 1)), "43%");
  // The window keeps the last kWindow requests: twenty good ones push every fault out.
  for (std::size_t i = 0; i < LinkHealth::kWindow; ++i) health.record(exchange(1, link::Verdict::Ok, t += kSec));
  EXPECT_EQ(shareText(health.find("COM3", 1)), "100%");
  health.record(exchange(1, link::Verdict::NoReply, t += kSec));
  EXPECT_EQ(shareText(health.find("COM3", 1)), "95%");
  // A late reply (no request of its own) refreshes the time but is no request.
  link::Exchange late = exchange(1, link::Verdict::Ok, t += kSec);
  late.request.clear();
  late.address = -1;
  late.reply = {1, 3};
  health.record(late);
  EXPECT_EQ(health.find("COM3", 1)->lastGoodUs, t);
  EXPECT_EQ(shareText(health.find("COM3", 1)), "95%");
  EXPECT_EQ(shareText(nullptr), "");
}

TEST(LinkHealth, AgeTexts) {
  EXPECT_EQ(ageText(0), "0秒");
  EXPECT_EQ(ageText(59 * kSec + 999'999), "59秒");
  EXPECT_EQ(ageText(125 * kSec), "2分05秒");
  EXPECT_EQ(ageText(3 * 3600 * kSec + 120 * kSec), "3小时02分");
  EXPECT_EQ(ageText((2 * 86400 + 3 * 3600) * kSec), "2天03小时");
  EXPECT_EQ(ageText(-5), "0秒");
}

}  // namespace
}  // namespace xl::monitoring

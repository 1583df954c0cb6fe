#include "transport/ipmi/RoundTrip.h"

#include <gtest/gtest.h>

#include "transport/ipmi/Reservations.h"

namespace Kelvar::Ipmi {
namespace {

long WaitMs(const RoundTrip& trip, u32 index) {
  return std::chrono::duration_cast<Milliseconds>(trip.WaitAfter(IpmiTimings(), index)).count();
}

TEST(RoundTrip, WaitsFollowTheTarget) {
  const struct {
    const char* what;
    std::vector<int> samplesMs;
    u32 backlog;
    long waits[3];
  } cases[] = {
      {"nothing known", {}, 0, {250, 750, 2000}},
      {"prompt", {1, 1, 1}, 0, {250, 312, 1000}},
      {"first sample", {270}, 0, {810, 1620, 2000}},
      {"steady", std::vector<int>(40, 900), 0, {1800, 2000, 2000}},
      {"slow", std::vector<int>(40, 3000), 0, {6000, 6000, 6000}},
      {"copies on their way", std::vector<int>(40, 1000), 2, {4000, 4000, 4000}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.what);
    RoundTrip trip;
    for (const int sample : test.samplesMs) {
      trip.Add(Milliseconds(sample));
    }
    trip.SetBacklog(test.backlog);
    for (u32 index = 0; index < 3; ++index) {
      EXPECT_NEAR(static_cast<double>(WaitMs(trip, index)), static_cast<double>(test.waits[index]), 5) << index;
    }
  }
}

TEST(RoundTrip, VariationCountsAndQueuedCopiesDoNot) {
  RoundTrip steady;
  RoundTrip varying;
  for (int round = 0; round < 40; ++round) {
    steady.Add(Milliseconds(400));
    varying.Add(Milliseconds(round % 2 == 0 ? 100 : 700));
  }
  EXPECT_GT(WaitMs(varying, 0), WaitMs(steady, 0) + 300);
  const long before = WaitMs(steady, 0);
  steady.SetBacklog(3);
  steady.Add(Milliseconds(1600));
  steady.SetBacklog(0);
  EXPECT_EQ(WaitMs(steady, 0), before);
}

constexpr u8 kStorage = 0x0A;

ReceivedReply Reserved(u16 reservation) {
  return {{kStorage, 0x22, 0}, {0, {static_cast<u8>(reservation), static_cast<u8>(reservation >> 8)}}};
}

TEST(Reservations, TheReplyMadeLastCounts) {
  const IPMICOMMAND reserve{0x22, {}, kStorage};
  const IPMICOMMAND read{0x23, {0x01, 0x00, 0x05, 0x00, 0x00, 0x0F}, kStorage};
  Reservations reservations;
  EXPECT_EQ(reservations.Renewed(read).data, read.data);
  reservations.Note(Reserved(0x0302), 12);  // of the copy, on a faster way
  reservations.Note(Reserved(0x0001), 11);
  reservations.NoteTold(reserve, Reserved(0x0001).reply);
  EXPECT_EQ(reservations.Renewed(read).data, (std::vector<u8>{0x02, 0x03, 0x05, 0x00, 0x00, 0x0F}));
  const IPMICOMMAND foreign{0x23, {0x07, 0x00, 0x05, 0x00, 0x00, 0x0F}, kStorage};
  EXPECT_EQ(reservations.Renewed(foreign).data, foreign.data) << "a reservation that nobody was told";
  ReceivedReply refused = Reserved(0x0009);
  refused.reply.completionCode = 0xC3;
  reservations.Note(refused, 13);
  EXPECT_EQ(reservations.Renewed(read).data.at(0), 0x02);
}

}  // namespace
}  // namespace Kelvar::Ipmi

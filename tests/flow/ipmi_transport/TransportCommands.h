#pragma once

#include <numeric>

#include <gtest/gtest.h>

#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Test {

/// Waits for tests in which silence has to be waited for.
inline constexpr IpmiTimings kShort{30, 120, 4, 5000, 30000};
/// Waits for tests that lose packets on purpose and expect an answer in the end.
inline constexpr IpmiTimings kPatient{8, 32, 200, 5000, 30000};

inline const IPMICOMMAND kGetDeviceId{0x01, {}, 0x06};
inline const IPMICOMMAND kGetChannelInfo{0x42, {0x01}, 0x06};

inline void ExpectDeviceId(IpmiClient& client) {
  std::vector<u8> response{1, 2, 3};
  u8 completionCode = 1;
  EXPECT_EQ(client.send(kGetDeviceId, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0);
  ASSERT_GE(response.size(), 12U);
  EXPECT_EQ(response[2], 9) << "major firmware revision";
  EXPECT_EQ(response[3], 8) << "minor firmware revision";
}

inline void ExpectChannelInfo(IpmiClient& client) {
  std::vector<u8> response;
  u8 completionCode = 1;
  EXPECT_EQ(client.send(kGetChannelInfo, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0);
  ASSERT_EQ(response.size(), 9U);
  EXPECT_EQ(response[0], 1) << "channel number";
  EXPECT_EQ(response[1], 4) << "IEEE 802.3";
}

constexpr std::size_t kPlainMessage = 14;  ///< where the message of a packet without a session begins
constexpr std::size_t kPlusPayload = 16;   ///< where the payload of an RMCP+ packet begins

/// Whether a datagram is the reply to that command, outside of a session.
inline bool IsPlainReply(const std::vector<u8>& datagram, u8 command) {
  return datagram.size() > kPlainMessage + 7 && datagram[4] == 0 && datagram[kPlainMessage + 5] == command;
}

/// Makes the last checksum of such a reply right again.
inline void Reseal(std::vector<u8>& datagram) {
  datagram.back() = static_cast<u8>(0U - std::accumulate(datagram.begin() + kPlainMessage + 3, datagram.end() - 1, 0U));
}

/// That nothing takes place without a session.
inline void ExpectNoExchange(IpmiClient& client) {
  std::vector<u8> response{1};
  u8 completionCode = 0;
  EXPECT_NE(client.send(kGetDeviceId, response, completionCode), 0);
  EXPECT_EQ(completionCode, 0xFF);
  EXPECT_TRUE(response.empty());
}

}  // namespace Kelvar::Test

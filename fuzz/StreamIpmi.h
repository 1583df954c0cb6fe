#pragma once

#include <algorithm>
#include <span>
#include <vector>

#include "common/text/ByteReader.h"
#include "transport/ipmi/AddressedCommands.h"

namespace Kelvar::Fuzz {

/// A service processor whose replies are cut from one run of bytes: completion code, length, data. It refuses every
/// command once the run has ended.
class StreamIpmi final : public IpmiClientInterface, public Ipmi::AddressedCommands {
 public:
  explicit StreamIpmi(std::span<const u8> stream) : reader_(stream) {}

  CONNECTIONSTATE connect() override { return IPMICONNECTED; }
  void disconnect() override {}

  int send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) override {
    return SendTo({}, command, response, completionCode);
  }

  int SendTo(const Ipmi::ControllerAddress& /*to*/, const IPMICOMMAND& /*command*/, std::vector<u8>& response,
             u8& completionCode) override {
    completionCode = 0xFF;
    if (reader_.Remaining() == 0) {
      return 1;
    }
    completionCode = reader_.U8();
    const std::size_t length = reader_.Remaining() > 0 ? reader_.U8() : 0;
    const auto data = reader_.Bytes(std::min(length, reader_.Remaining()));
    response.assign(data.begin(), data.end());
    return 0;
  }

  void setBlockLength(const u16& /*length*/) override {}

 private:
  Text::ByteReader reader_;
};

}  // namespace Kelvar::Fuzz

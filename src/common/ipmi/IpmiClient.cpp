#include "common/ipmi/IpmiClient.h"

#include "common/ipmi/LanTransport.h"
#include "common/ipmi/SystemInterface.h"

namespace Kelvar {

IpmiClient::IpmiClient(const std::string& host, const std::string& user, const std::string& password,
                       const std::string& port, std::size_t cipherSuite)
    : transport_(std::make_unique<Ipmi::LanTransport>(host, user, password, port, cipherSuite)) {}

IpmiClient::IpmiClient(std::size_t deviceNumber) : IpmiClient(deviceNumber, Ipmi::MakeLinuxDeviceCalls()) {}

IpmiClient::IpmiClient(std::size_t deviceNumber, std::unique_ptr<Ipmi::DeviceCalls> calls)
    : transport_(std::make_unique<Ipmi::SystemInterface>(deviceNumber, std::move(calls))) {}

IpmiClient::~IpmiClient() = default;

CONNECTIONSTATE IpmiClient::connect() {
  return transport_->Open(timings_);
}

void IpmiClient::disconnect() {
  transport_->Close();
}

int IpmiClient::send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) {
  completionCode = 0xFF;
  response.clear();
  return transport_->Send(command, response, completionCode);
}

void IpmiClient::setBlockLength(const u16& /*length*/) {}

}  // namespace Kelvar

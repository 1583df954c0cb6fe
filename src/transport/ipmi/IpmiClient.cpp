#include "transport/ipmi/IpmiClient.h"

#include <chrono>

#include <kelvar/ConnectionOptions.h>

#include "transport/ipmi/IpmiDiagnostics.h"
#include "transport/ipmi/LanTransport.h"
#include "transport/ipmi/SystemInterface.h"

namespace Kelvar {

IpmiClient::IpmiClient(const std::string& host, const std::string& user, const std::string& password,
                       const std::string& port, std::size_t cipherSuite)
    : IpmiClient(Ipmi::LanTarget{host, user, password, port, cipherSuite}, Ipmi::MakeUdpPort()) {}

IpmiClient::IpmiClient(const Ipmi::LanTarget& target, std::unique_ptr<Ipmi::DatagramPort> port)
    : transport_(std::make_unique<Ipmi::LanTransport>(target, ConnectionOptionsScope::Current(), std::move(port))) {}

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

int IpmiClient::SendTo(const Ipmi::ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                       u8& completionCode) {
  completionCode = 0xFF;
  response.clear();
  const auto start = Ipmi::Clock::now();
  const int failure = transport_->Send(to, command, response, completionCode);
  const std::chrono::duration<double> taken = Ipmi::Clock::now() - start;
  Ipmi::RecordCommand(to, command,
                      {failure, completionCode, response.size(), transport_->Transmissions(), taken.count()});
  return failure;
}

void IpmiClient::SendAhead(std::span<Ipmi::QueuedCommand> commands) {
  transport_->SendAhead(commands);
  for (const Ipmi::QueuedCommand& queued : commands) {
    if (queued.answered) {
      Ipmi::RecordCommand({}, queued.command, {0, queued.completionCode, queued.response.size(), 1, queued.seconds});
    }
  }
}

bool IpmiClient::RenewIfLost() {
  return transport_->RenewIfLost();
}

bool IpmiClient::IsLoggedOut() const noexcept {
  return transport_->IsLoggedOut();
}

void IpmiClient::setBlockLength(const u16& /*length*/) {}

}  // namespace Kelvar

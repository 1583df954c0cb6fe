#include "transport/ipmi/IpmiClient.h"

#include <chrono>
#include <sstream>

#include <kelvar/ConnectionOptions.h>

#include "common/log/LogMacros.h"
#include "transport/ipmi/IpmiDiagnostics.h"
#include "transport/ipmi/LanTransport.h"
#include "transport/ipmi/SystemInterface.h"

namespace Kelvar {

namespace {

const char* TextOf(CONNECTIONSTATE state) {
  switch (state) {
    case IPMICONNECTED:
      return "open";
    case IPMIAUTHFAIL:
      return "login refused";
    case IPMICONNECTFAIL:
      break;
  }
  return "failed";
}

/// The bytes of a request stay out: those of some commands are secret.
void LogExchange(const IPMICOMMAND& command, int failure, std::size_t size, u8 completionCode) {
  if (Log::GetMinLogLevel() < 4) {
    return;
  }
  std::ostringstream answer;
  if (failure == 0) {
    answer << std::hex << std::showbase << "completion code " << int{completionCode} << std::dec << ", " << size
           << " bytes";
  } else {
    answer << "no answer";
  }
  KELVAR_LOG(4) << std::hex << std::showbase << "Exchange: IPMI network function " << int{command.netFn} << " command "
                << int{command.command} << " -> " << answer.str();
}

}  // namespace

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
  const CONNECTIONSTATE state = transport_->Open(timings_);
  KELVAR_LOG(4) << "Exchange: IPMI open session -> " << TextOf(state);
  return state;
}

void IpmiClient::disconnect() {
  transport_->Close();
}

int IpmiClient::send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) {
  completionCode = 0xFF;
  response.clear();
  const auto start = Ipmi::Clock::now();
  const int failure = transport_->Send(command, response, completionCode);
  const std::chrono::duration<double> taken = Ipmi::Clock::now() - start;
  LogExchange(command, failure, response.size(), completionCode);
  Ipmi::RecordCommand(command, {failure, completionCode, response.size(), transport_->Transmissions(), taken.count()});
  return failure;
}

void IpmiClient::setBlockLength(const u16& /*length*/) {}

}  // namespace Kelvar

#include "simulator/redfish/RedfishServer.h"

namespace Kelvar::Simulator {

RedfishServer::RedfishServer(const Machine& machine)
    : data_(LoadRedfishData(machine, Variables::Load(machine.folder / "machine.json"))),
      site_(std::make_shared<const Machine>(machine), data_, machine.FaultsOf("redfish")),
      server_({true, [this](std::string_view stage) { return site_.Faults().Match({}, stage); }, machine.latency},
              [this](const HttpRequest& request) { return Respond(request); }) {}

unsigned short RedfishServer::Start(unsigned short port) {
  return server_.Start(port);
}

std::vector<std::string> RedfishServer::Targets() const {
  const std::lock_guard lock(mutex_);
  return targets_;
}

HttpResponse RedfishServer::Respond(const HttpRequest& request) {
  {
    const std::lock_guard lock(mutex_);
    targets_.push_back(request.target);
  }
  return site_.Respond(request);
}

std::unique_ptr<Service> MakeRedfishServer(const Machine& machine) {
  return std::make_unique<RedfishServer>(machine);
}

}  // namespace Kelvar::Simulator

#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "simulator/http/HttpServer.h"
#include "simulator/machine/Machine.h"
#include "simulator/redfish/RedfishSite.h"

namespace Kelvar::Simulator {

/// The Redfish service of a machine, over HTTPS.
class RedfishServer : public Service {
 public:
  /// The machine's faults of protocol "redfish" are wanted of redfish/faults.json, as FaultTable::Load tells. Throws
  /// std::runtime_error or std::invalid_argument with a text for people when the machine's data are wrong.
  explicit RedfishServer(const Machine& machine);

  unsigned short Start(unsigned short port) override;

  /// The targets asked for so far, in order.
  std::vector<std::string> Targets() const;
  /// How many sessions are open.
  std::size_t OpenSessions() const { return site_.OpenSessions(); }
  const HttpServer& Server() const { return server_; }
  const ResourceTree& Tree() const { return data_->tree; }

 private:
  HttpResponse Respond(const HttpRequest& request);

  const std::shared_ptr<const RedfishData> data_;
  RedfishSite site_;
  mutable std::mutex mutex_;
  std::vector<std::string> targets_;
  // Last, so that its threads end first.
  HttpServer server_;
};

std::unique_ptr<Service> MakeRedfishServer(const Machine& machine);

}  // namespace Kelvar::Simulator

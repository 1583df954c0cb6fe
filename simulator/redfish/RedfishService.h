#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulator/http/Fault.h"
#include "simulator/http/HttpServer.h"
#include "simulator/machine/Machine.h"
#include "simulator/redfish/ResourceTree.h"
#include "simulator/redfish/ServiceSettings.h"
#include "simulator/redfish/Sessions.h"

namespace Kelvar::Simulator {

/// The Redfish service of a machine: what stands in its folder "redfish", served read-only, with basic authentication
/// and sessions for its accounts.
class RedfishService : public Service {
 public:
  /// The machine's faults of protocol "redfish" are wanted of redfish/faults.json, as FaultTable::Load tells. Throws
  /// std::runtime_error or std::invalid_argument with a text for people when the machine's data are wrong.
  explicit RedfishService(const Machine& machine);

  unsigned short Start(unsigned short port) override;

  /// The targets asked for so far, in order.
  std::vector<std::string> Targets() const;
  const HttpServer& Server() const { return server_; }
  const ResourceTree& Tree() const { return tree_; }

 private:
  HttpResponse Respond(const HttpRequest& request);
  HttpResponse Dispatch(const HttpRequest& request, const std::string& path);
  HttpResponse ServePage(const HttpRequest& request, const std::string& path);
  HttpResponse OpenSession(const HttpRequest& request);
  std::optional<std::string> FindPage(std::string_view path) const;
  std::optional<HttpResponse> RefuseStranger(const HttpRequest& request, const std::string& path) const;

  const Machine machine_;
  ServiceSettings settings_;
  ResourceTree tree_;
  FaultTable faults_;
  Sessions sessions_;
  mutable std::mutex mutex_;
  std::vector<std::string> targets_;
  // Last, so that its threads end first.
  HttpServer server_;
};

std::unique_ptr<Service> MakeRedfishService(const Machine& machine);

}  // namespace Kelvar::Simulator

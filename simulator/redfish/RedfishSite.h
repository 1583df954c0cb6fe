#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "simulator/http/Fault.h"
#include "simulator/http/HttpMessage.h"
#include "simulator/machine/Machine.h"
#include "simulator/redfish/ResourceTree.h"
#include "simulator/redfish/ServiceSettings.h"
#include "simulator/redfish/Sessions.h"

namespace Kelvar::Simulator {

/// What is read from a machine's folder "redfish", and may be shared.
struct RedfishData {
  RedfishData(const std::filesystem::path& folder, const Variables& variables)
      : settings(ReadSettings(folder / "service.json")), tree(folder, variables) {}

  ServiceSettings settings;
  ResourceTree tree;
};

/// Reads it, with `change` done to the pages before any collection grows. Throws std::runtime_error.
std::shared_ptr<const RedfishData> LoadRedfishData(const Machine& machine, const Variables& variables,
                                                   const std::function<void(ResourceTree& tree)>& change = {});

/// Answers requests as a machine's Redfish service does: read-only, with basic authentication and sessions for its
/// accounts. Safe to use from any thread.
class RedfishSite {
 public:
  /// `faults` are wanted of redfish/faults.json, or of redfish-faults.json beside the machine, as FaultTable::Load
  /// tells. Throws std::runtime_error or std::invalid_argument.
  RedfishSite(std::shared_ptr<const Machine> machine, std::shared_ptr<const RedfishData> data,
              const std::vector<std::string>& faults, SubstituteIdentity substitute = {});

  HttpResponse Respond(const HttpRequest& request);

  FaultTable& Faults() { return faults_; }
  /// How many sessions are open.
  std::size_t OpenSessions() const { return sessions_.OpenCount(); }

 private:
  HttpResponse Dispatch(const HttpRequest& request, const std::string& path);
  HttpResponse ServePage(const HttpRequest& request, const std::string& path);
  HttpResponse OpenSession(const HttpRequest& request);
  std::optional<std::string> FindPage(std::string_view path) const;
  bool IsSession(std::string_view path) const;
  std::optional<HttpResponse> RefuseStranger(const HttpRequest& request, const std::string& path);

  const std::shared_ptr<const Machine> machine_;
  const std::shared_ptr<const RedfishData> data_;
  const SubstituteIdentity substitute_;
  FaultTable faults_;
  Sessions sessions_;
};

}  // namespace Kelvar::Simulator

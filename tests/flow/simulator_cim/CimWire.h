#pragma once

#include <map>
#include <string>
#include <vector>

#include "flow/simulator_redfish/CurlFetch.h"
#include "simulator/cim/CimService.h"

namespace Kelvar::Test {

/// The library of machines that ships with the simulator.
Simulator::Machine ShippedMachine(const std::string& name);

/// One call in CIM-XML, with the headers that go with it.
struct CimCall {
  std::string method = "EnumerateInstances";
  std::string className = {};
  std::string nameSpace = "root/cimv2";
  /// More IPARAMVALUE elements.
  std::string parameters = {};
  bool trailers = false;

  std::string Body() const;
  std::vector<std::string> Headers() const;
};

/// A running CIM service, and a plain client of it.
class CimHost {
 public:
  explicit CimHost(const Simulator::CimOptions& options = {},
                   const Simulator::Machine& machine = ShippedMachine("full"));

  Simulator::CimService& Service() { return service_; }
  unsigned short Port() const { return port_; }
  std::string Url() const;

  /// Calls as the machine's own account.
  Fetched Call(const CimCall& call);
  Fetched Post(const std::string& body, const std::vector<std::string>& headers);

 private:
  const bool tls_;
  Simulator::CimService service_;
  const unsigned short port_;
  CurlFetch client_;
};

/// Reads a text with expat, which refuses what is not well-formed: how often each element occurs in it. A text that is
/// not well-formed gives one entry alone, "error" and the reason.
std::map<std::string, int> CountElements(const std::string& xml);

}  // namespace Kelvar::Test

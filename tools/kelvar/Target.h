#pragma once

#include <string>

#include <kelvar/ConnectionInfo.h>

namespace Kelvar::Tool {

enum class Protocol { Ipmi, Redfish, Cim };

/// One target, read from its address:
///   ipmi://[USER@]HOST[:PORT][?suite=N]    ipmi-local:N
///   redfish://[USER@]HOST[:PORT]
///   cim+http://..., cim+https://...        esxi+http://...?zmc=N, esxi+https://...?zmc=N
///   omc+http://..., omc+https://...
struct Target {
  std::string address;  ///< as given; holds no password
  Protocol protocol = Protocol::Ipmi;
  KelvarConnection::ConnectionInfo info;

  bool NeedsPassword() const { return info.ConnectionCase != KelvarConnection::CONNECTION_CASE_IPMI_LOCAL; }
};

/// Throws ToolError (usage) for anything else, and for an address with a password in it.
Target ParseTarget(const std::string& address);

/// "ipmi", "redfish", "cim".
const char* WordOf(Protocol protocol);

/// "IPMI", "Redfish", "CIM".
const char* NameOf(Protocol protocol);

}  // namespace Kelvar::Tool

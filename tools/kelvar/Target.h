#pragma once

#include <optional>
#include <string>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/ConnectionOptions.h>

namespace Kelvar::Tool {

enum class Protocol { Ipmi, Redfish, Cim };

/// One target, read from its address:
///   ipmi://[USER@]HOST[:PORT][?suite=N][&kg-file=FILE][&session=1.5-md5|1.5-password]    ipmi-local:N
///   redfish://[USER@]HOST[:PORT]
///   cim+http://..., cim+https://...        esxi+http://...?zmc=N, esxi+https://...?zmc=N
///   omc+http://..., omc+https://...
struct Target {
  std::string address;  ///< as given; holds no password
  Protocol protocol = Protocol::Ipmi;
  KelvarConnection::ConnectionInfo info;
  std::optional<ConnectionOptions::IpmiSession> ipmiSession = {};  ///< IPMI 2.0 without
  std::string bmcKeyFile = {};                                     ///< file with the BMC key (K_G) of IPMI 2.0
  std::string bmcKey = {};                                         ///< its first line, once the account is filled in
  bool thisRunOnly = false;                                        ///< a simulated machine that ends with the program

  /// The options with what this target needs.
  ConnectionOptions Complete(ConnectionOptions options) const;
  bool NeedsPassword() const { return info.ConnectionCase != KelvarConnection::CONNECTION_CASE_IPMI_LOCAL; }
};

/// "1.5-md5" and "1.5-password"; nothing for any other word.
std::optional<ConnectionOptions::IpmiSession> IpmiSessionNamed(const std::string& word);

/// Throws ToolError (usage) for anything else, and for an address with a password in it.
Target ParseTarget(const std::string& address);

/// "ipmi", "redfish", "cim".
const char* WordOf(Protocol protocol);

/// "IPMI", "Redfish", "CIM".
const char* NameOf(Protocol protocol);

}  // namespace Kelvar::Tool

#pragma once

#include <string>

#include <kelvar/Types.h>

namespace Kelvar::KelvarConnection {

/// Values of ConnectionInfo::ConnectionCase: the kind of target, and with it the backend.
enum CONNECTIONCASE : u32 {
  CONNECTION_CASE_IPMI_LOCAL = 0,  ///< IPMI through the local system interface
  CONNECTION_CASE_IPMI_LAN = 1,    ///< IPMI over the network
  CONNECTION_CASE_CIM_BMC = 2,     ///< the service processor's own CIM server
  CONNECTION_CASE_CIM_ESXI = 3,    ///< the CIM server of an ESXi host
  CONNECTION_CASE_CIM_OMC = 4,     ///< the CIM server of an OMC
  CONNECTION_CASE_REDFISH = 5,     ///< Redfish over HTTPS
};

/// How to reach one target. A plain value; every backend keeps its own copy.
class ConnectionInfo {
 public:
  /// Name or address of the service processor or CIM server; an IPv6 literal has no brackets.
  std::string Host;
  /// TCP port (Redfish, CIM) or UDP port (IPMI over the network) of the service.
  u16 Port = 0;
  /// User of the target's account.
  std::string UserName;
  /// Password of the account; never written to the log.
  std::string Password;
  /// Number of the service processor on a machine with several: the local IPMI device, and the N in the namespace
  /// "qel/zmcN/cimv2" of an ESXi host.
  u16 ZMCIndex = 0;
  /// IPMI over the network: the RMCP+ cipher suite. 3 and 17 are used as they are; any other value tries 17, then 3.
  u16 RemoteSessionArgument = 3;
  /// CIM only, values of NodeFirmwareInventory::CIMCONNECTIONTYPE: 0 plain HTTP, 1 TLS.
  u32 ConnectionType = 0;
  /// Values of CONNECTIONCASE. Below 2 is IPMI, 5 is Redfish, any other value is CIM.
  u32 ConnectionCase = CONNECTION_CASE_IPMI_LOCAL;
  /// 1 when Host is an IPv6 literal (the Redfish URL then carries brackets); any other value when it is not.
  u32 AddressFamily = 0;
};

}  // namespace Kelvar::KelvarConnection

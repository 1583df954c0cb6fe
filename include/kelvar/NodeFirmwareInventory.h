#pragma once

#include <memory>
#include <vector>

#include <kelvar/ConnectionInfo.h>
#include <kelvar/Export.h>
#include <kelvar/InventoryRecords.h>
#include <kelvar/Types.h>

namespace Kelvar {

class LogmgrRedfish;
class NodeFirmwareInventoryImp;
class zmcapp;

/// The inventory of one server, read through its service processor over Redfish, CIM or IPMI.
///
/// Every operation blocks until the target has answered or a time limit has passed, runs on the caller's thread and
/// only reads from the target. One object serves one thread at a time; different objects are independent. Operations
/// may be called in any order and any number of times; results are not kept between them.
///
/// Requests: over Redfish those that NodeFirmwareInventoryImpRedfish.h states for each operation; the four other logs
/// go from the systems, or from the managers, to the entries, one request a step. Over CIM one enumeration for each
/// class that an operation reads, over IPMI commands in the object's session.
///
/// Result: an INVENTORYRETURNCODE. A backend that lacks an operation gives INVENTORY_NOT_IMPLEMENTED (or
/// INVENTORY_FAILED where an operation says so). The six log operations give INVENTORY_SUCCESS and leave the vector
/// alone when the connection has no such log. No operation throws, but GetNFWSoftwareIdentity over IPMI passes on what
/// the transport throws. What was read before a failure stays in the caller's record or vector.
class KELVAR_EXPORT NodeFirmwareInventory {
 public:
  /// Result of every operation. The values are fixed.
  enum INVENTORYRETURNCODE : int {
    INVENTORY_SUCCESS = 0,
    INVENTORY_CONNECT_FAILED = 1,               ///< CIM, IPMI: no connection
    INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE = 2,  ///< IPMI completion code 0xC9
    INVENTORY_IPMI_NOT_PRESENT = 3,             ///< IPMI completion code 0xCB
    INVENTORY_IPMI_NOT_SUPPORTED_NOW = 4,       ///< IPMI completion code 0xD5
    INVENTORY_IPMI_EXCEPTION = 5,               ///< the IPMI transport raised an exception
    INVENTORY_NO_INSTANCE = 7,                  ///< CIM: the class has no instance
    INVENTORY_INCOMPLETE = 8,                   ///< CIM: an instance lacked a required property
    INVENTORY_CIM_EXCEPTION = 9,                ///< CIM: any other exception of the client
    INVENTORY_REST_FAILED = 10,                 ///< Redfish: HTTP status 400 or above, transfer or parse error
    INVENTORY_REST_TRANSPORT_FAILED = 11,       ///< Redfish: time-out or a TLS certificate problem
    INVENTORY_NOT_IMPLEMENTED = 12,             ///< the backend has no such operation
    INVENTORY_UNAUTHORIZED = 13,                ///< Redfish: HTTP status 401
    INVENTORY_FAILED = 15,                      ///< any failure without a more specific code
  };

  /// Generation of the service processor.
  enum ZMCGENERATIONTYPE : int {
    ZMC_GENERATION_1 = 0,
    ZMC_GENERATION_2 = 1,
  };

  /// Flavour of the CIM endpoint.
  enum INVENTORYCIMTYPE : int {
    INVENTORY_CIM_TYPE_DEFAULT = 2,
  };

  /// How the CIM client connects; values of ConnectionInfo::ConnectionType.
  enum CIMCONNECTIONTYPE : u32 {
    CIM_CONNECTION_HTTP = 0,
    CIM_CONNECTION_HTTPS = 1,
  };

  /// Chooses the backend by `info.ConnectionCase`. Redfish makes no request here; CIM connects with up to three tries
  /// and 10 seconds after each failed one; IPMI connects once, within about 10 seconds. For a target that does not
  /// answer the operations return the failure. Throws std::runtime_error "Couldn't initialize curl handle" for a
  /// Redfish target without memory for a transfer handle.
  explicit NodeFirmwareInventory(const KelvarConnection::ConnectionInfo& info);

  /// Redfish serves all operations; CIM only lists the components in GetNodeOtherSystemVPD. The order of the arguments
  /// decides, not their ConnectionCase, but `cimInfo` needs 2, 3 or 4 there to connect.
  NodeFirmwareInventory(const KelvarConnection::ConnectionInfo& cimInfo,
                        const KelvarConnection::ConnectionInfo& redfishInfo);

  /// Closes all connections.
  ~NodeFirmwareInventory();
  NodeFirmwareInventory(const NodeFirmwareInventory&) = delete;
  NodeFirmwareInventory& operator=(const NodeFirmwareInventory&) = delete;

  /// 0 when the backend has its transport object, else -1. Makes no request and does not show whether the target
  /// answers.
  int GetConnectStatus();

  /// Identity of the machine; a field that the backend cannot read keeps its value.
  INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system);

  /// Appends one record with the firmware build IDs and dates; what was read before a failure is delivered. All
  /// records of the vector also go to the log as one record each at level 4.
  INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list);

  /// Machine type and serial number; see the record for what each protocol fills.
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);

  /// Replaceable components. With two backends: the list over CIM, in which the first entry named exactly
  /// "system board 1" gets its FRU part number over Redfish; a failure of the Redfish part leaves the list as CIM
  /// gave it. INVENTORY_FAILED without a backend.
  INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list);

  /// Generation of the service processor. CIM and IPMI; INVENTORY_FAILED over Redfish. On failure `generation` keeps
  /// its value over Redfish and IPMI, and over CIM when no connection could be opened; any other failure over CIM (no
  /// instance, none that has the generation, an exception of the client) sets it to ZMC_GENERATION_1.
  INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation);

  /// DNS settings of the management network. CIM and Redfish.
  INVENTORYRETURNCODE GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list);

  /// The event log over Redfish.
  INVENTORYRETURNCODE GetZMCMessageLogDataRedfish(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);

  /// The event log over CIM. With `selector` 3 the event ID is the common event ID.
  INVENTORYRETURNCODE GetZMCMessageLogDataCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list, int selector);

  /// IP addresses of the management network. CIM and Redfish.
  INVENTORYRETURNCODE GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list);

  /// Static address assignments of the management network. CIM and Redfish.
  INVENTORYRETURNCODE GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list);

  /// SNMP settings of the management network. CIM and Redfish.
  INVENTORYRETURNCODE GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list);

  /// Indicator LEDs. CIM only.
  INVENTORYRETURNCODE GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>& list);

  /// Numeric sensors. CIM and Redfish.
  INVENTORYRETURNCODE GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list);

  /// BMC and UEFI firmware of an AMD platform. IPMI only; INVENTORY_FAILED elsewhere.
  INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list);

  /// Audit log over CIM (one-argument form).
  INVENTORYRETURNCODE GetZMCAuditLogDataViaCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);

  /// Platform event log over CIM (one-argument form).
  INVENTORYRETURNCODE GetZMCPlatformLogDataViaCIM(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>& list);

  /// Audit log over Redfish (one-argument form).
  INVENTORYRETURNCODE GetZMCAuditLogDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);

  /// Platform event log over Redfish (one-argument form).
  INVENTORYRETURNCODE GetZMCPlatformLogDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);

  /// Active events over Redfish (one-argument form).
  INVENTORYRETURNCODE GetZMCActiveEventsDataViaREST(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);

  /// Maintenance log over Redfish (one-argument form).
  INVENTORYRETURNCODE GetZMCMaintLogDataViaREST(std::vector<MAINTLOGREDFISHDATA>& list);

  /// Replaces the backend by a new one for `info`, for instance after the target has restarted; the log objects and
  /// the CIM backend of the two-argument form stay. 0 when the new backend exists, -1 when it could not be made: the
  /// object then has no backend.
  int ResetConn(const KelvarConnection::ConnectionInfo& info);

  // Kept for compatibility: the port and type of the CIM endpoint come from ConnectionInfo.
  u16 GetCIMPort();                                       ///< always 5988
  INVENTORYCIMTYPE GetCIMType();                          ///< always INVENTORY_CIM_TYPE_DEFAULT
  void SetCIMPort(u16 port);                              ///< does nothing
  void SetCIMType(const INVENTORYCIMTYPE& type);          ///< does nothing
  void SetConnectionType(const CIMCONNECTIONTYPE& type);  ///< does nothing

 private:
  friend struct BackendFactory;
  NodeFirmwareInventory();

  void LogFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list);

  std::unique_ptr<NodeFirmwareInventoryImp> primaryBackend;
  std::unique_ptr<NodeFirmwareInventoryImp> secondaryBackend;
  std::unique_ptr<zmcapp> zmcApp;
  std::unique_ptr<LogmgrRedfish> logManager;
};

}  // namespace Kelvar

#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <kelvar/NodeFirmwareInventoryImp.h>

namespace Rest {
class RestClientInterface;
struct RestResponse;
}  // namespace Rest

namespace Kelvar {

struct RedfishFrame;
class RedfishService;

/// The backend that reads a service processor over Redfish: HTTPS with basic authentication, no verification of the
/// certificate, GET requests only, 120 seconds for each, at most 10 redirects. Construction makes no request,
/// and one connection serves all operations of an object.
///
/// Results: INVENTORY_SUCCESS; INVENTORY_REST_TRANSPORT_FAILED for a time-out or a certificate problem;
/// INVENTORY_UNAUTHORIZED for HTTP status 401; INVENTORY_REST_FAILED for any other failed transfer, a status of 400 or
/// above, and an invalid response; others where an operation says so. Every failure leaves a line of level 1,
/// with the URL. While the service answers 503 a request is repeated, see Rest::RedfishClient. Of a collection with
/// several pages the first is read. No operation throws.
class KELVAR_EXPORT NodeFirmwareInventoryImpRedfish : public NodeFirmwareInventoryImp {
 public:
  /// Throws std::runtime_error "Couldn't initialize curl handle".
  explicit NodeFirmwareInventoryImpRedfish(const KelvarConnection::ConnectionInfo& connection);
  /// Over the caller's client, which gets the settings above. With a null client every request fails.
  NodeFirmwareInventoryImpRedfish(const KelvarConnection::ConnectionInfo& connection,
                                  std::unique_ptr<Rest::RestClientInterface> client);
  ~NodeFirmwareInventoryImpRedfish() override;

  /// Always 0; makes no request.
  int GetConnectStatus() override;

  /// From "/redfish/v1/Chassis/1". A text that the service does not report stays as it was. One request.
  INVENTORYRETURNCODE GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem& system) override;

  /// Appends one record with the seven identities that Redfish knows; what could not be read is empty. Always
  /// INVENTORY_SUCCESS. They come from a cache of the process: one request, if they are older than a minute. The
  /// caller's own client does not fill it: that uses a connection of its own.
  INVENTORYRETURNCODE GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) override;

  /// Machine type, serial number and model tag of the first system. INVENTORY_REST_FAILED, with the record filled, for
  /// a machine type of fewer than 4 characters; INVENTORY_FAILED when the list of systems cannot be read. Two requests.
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) override;

  /// Appends power supplies, the system board and drive backplanes, in this order; a source that fails leaves a gap.
  /// Always INVENTORY_SUCCESS. Three requests and one for each chassis.
  INVENTORYRETURNCODE GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) override;

  /// INVENTORY_FAILED: not offered over Redfish.
  INVENTORYRETURNCODE GetZMCGenerationType(ZMCGENERATIONTYPE& generation) override;

  /// Six records, one for each server address that the service processor can hold; "Unknown" for one that it lacks.
  /// Clears the list first. Two requests.
  INVENTORYRETURNCODE GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>& list) override;

  using NodeFirmwareInventoryImp::GetZMCMessageLogData;  // the log over CIM: not offered here
  /// The standard event log of the system. Clears the list first. An entry without "MessageArgs" ends the walk with
  /// INVENTORY_REST_FAILED; the entries before it stay. Three requests and one for each system.
  INVENTORYRETURNCODE GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list) override;

  /// Addresses of the interfaces NIC and ToHost. Clears the list first. Two requests.
  INVENTORYRETURNCODE GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>& list) override;

  /// Static addresses of NIC (IPv4 and IPv6) and ToHost (IPv4). Clears the list first. Two requests.
  INVENTORYRETURNCODE GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>& list) override;

  /// One record with the name of the SNMP resource. Clears the list first. One request.
  INVENTORYRETURNCODE GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>& list) override;

  /// Standard sensors with thresholds, sorted by name, or, when the service has no such collection, the OEM ones in
  /// their own order. Clears the list first. One or two requests.
  INVENTORYRETURNCODE GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>& list) override;

  /// From "/redfish/v1/Chassis/1". A text that the service does not report stays as it was. One request.
  INVENTORYRETURNCODE GetSystemBoardVPD(SystemBoardVPD& board) override;

  /// INVENTORY_FAILED: not offered over Redfish.
  INVENTORYRETURNCODE GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>& list) override;

  /// The result that a response means: see above.
  INVENTORYRETURNCODE CheckRestClientResponse(const Rest::RestResponse& response);

  /// Adds the whole firmware inventory to the map, by the members' "Id"; a member without "Id", "Name", "SoftwareId" or
  /// "Version" is skipped. False when it could not be read; what was read stays. One request.
  bool GetFirmware(std::map<std::string, KelvarOptions::SoftwareIdentity_>& identities);

  /// Appends each chassis whose "Id" is a number of 3 or above, or that has none. The result is the code of the last
  /// chassis that could not be read; the others are in the list. One request and one for each chassis.
  INVENTORYRETURNCODE GetBackPlaneVPD(std::vector<BackPlaneVPD>& list);

 private:
  friend struct NodeFirmwareInventoryImpRedfishTestAccess;

  RedfishFrame Frame() const;
  RedfishService Service() const;

  std::vector<std::string> ConstructChassisUrl();
  INVENTORYRETURNCODE ConstructSystemsUrl(std::vector<std::string>& urls);
  INVENTORYRETURNCODE GetPowerSupplyVPD(std::vector<PowerSupplyVPD>& list);
  INVENTORYRETURNCODE GetNodeFirmwareSystemVPDFromOEMProduct(KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd);
  INVENTORYRETURNCODE ParseStdSensor(std::vector<KelvarNfw::NUMERICSENSORS>& list, Rest::RestResponse&& response);
  INVENTORYRETURNCODE ParseOEMSensor(std::vector<KelvarNfw::NUMERICSENSORS>& list, Rest::RestResponse&& response);
  std::string toString(const u32& number);
  u32 toU32(const std::string& text);

  std::unique_ptr<Rest::RestClientInterface> restClient;
  std::string baseUrl;
  u32 operationLimitSeconds;
};

}  // namespace Kelvar

#include <kelvar/Names.h>

namespace Kelvar {

namespace {

template <typename Enumeration>
struct NameRow {
  Enumeration value;
  const char* name;
  const char* description = nullptr;
};

using NFI = NodeFirmwareInventory;

constexpr NameRow<NFI::INVENTORYRETURNCODE> kCodes[] = {
    {NFI::INVENTORY_SUCCESS, "INVENTORY_SUCCESS", "success"},
    {NFI::INVENTORY_CONNECT_FAILED, "INVENTORY_CONNECT_FAILED", "no connection to the target"},
    {NFI::INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE, "INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE",
     "the target refused a parameter as out of range"},
    {NFI::INVENTORY_IPMI_NOT_PRESENT, "INVENTORY_IPMI_NOT_PRESENT", "what was asked for is not present"},
    {NFI::INVENTORY_IPMI_NOT_SUPPORTED_NOW, "INVENTORY_IPMI_NOT_SUPPORTED_NOW",
     "the target cannot answer in its present state"},
    {NFI::INVENTORY_IPMI_EXCEPTION, "INVENTORY_IPMI_EXCEPTION", "the IPMI transport failed"},
    {NFI::INVENTORY_NO_INSTANCE, "INVENTORY_NO_INSTANCE", "the target has no such CIM instance"},
    {NFI::INVENTORY_INCOMPLETE, "INVENTORY_INCOMPLETE", "a CIM instance lacks a required property"},
    {NFI::INVENTORY_CIM_EXCEPTION, "INVENTORY_CIM_EXCEPTION", "the CIM client failed"},
    {NFI::INVENTORY_REST_FAILED, "INVENTORY_REST_FAILED", "the Redfish request failed"},
    {NFI::INVENTORY_REST_TRANSPORT_FAILED, "INVENTORY_REST_TRANSPORT_FAILED",
     "the Redfish request timed out, or the certificate was refused"},
    {NFI::INVENTORY_NOT_IMPLEMENTED, "INVENTORY_NOT_IMPLEMENTED", "not offered over this protocol"},
    {NFI::INVENTORY_UNAUTHORIZED, "INVENTORY_UNAUTHORIZED", "the login was refused"},
    {NFI::INVENTORY_FAILED, "INVENTORY_FAILED", "failed without a more exact cause"},
};

constexpr NameRow<NFI::ZMCGENERATIONTYPE> kGenerations[] = {
    {NFI::ZMC_GENERATION_1, "ZMC_GENERATION_1"},
    {NFI::ZMC_GENERATION_2, "ZMC_GENERATION_2"},
};

constexpr NameRow<NFI::CIMCONNECTIONTYPE> kConnectionTypes[] = {
    {NFI::CIM_CONNECTION_HTTP, "CIM_CONNECTION_HTTP"},
    {NFI::CIM_CONNECTION_HTTPS, "CIM_CONNECTION_HTTPS"},
};

constexpr NameRow<KelvarConnection::CONNECTIONCASE> kConnectionCases[] = {
    {KelvarConnection::CONNECTION_CASE_IPMI_LOCAL, "CONNECTION_CASE_IPMI_LOCAL"},
    {KelvarConnection::CONNECTION_CASE_IPMI_LAN, "CONNECTION_CASE_IPMI_LAN"},
    {KelvarConnection::CONNECTION_CASE_CIM_BMC, "CONNECTION_CASE_CIM_BMC"},
    {KelvarConnection::CONNECTION_CASE_CIM_ESXI, "CONNECTION_CASE_CIM_ESXI"},
    {KelvarConnection::CONNECTION_CASE_CIM_OMC, "CONNECTION_CASE_CIM_OMC"},
    {KelvarConnection::CONNECTION_CASE_REDFISH, "CONNECTION_CASE_REDFISH"},
};

template <typename Enumeration, std::size_t N>
const NameRow<Enumeration>* Find(const NameRow<Enumeration> (&rows)[N], Enumeration value) noexcept {
  for (const auto& row : rows) {
    if (row.value == value) {
      return &row;
    }
  }
  return nullptr;
}

template <typename Enumeration, std::size_t N>
const char* FindName(const NameRow<Enumeration> (&rows)[N], Enumeration value) noexcept {
  const auto* row = Find(rows, value);
  return row != nullptr ? row->name : "UNKNOWN";
}

}  // namespace

const char* NameOf(NFI::INVENTORYRETURNCODE code) noexcept {
  return FindName(kCodes, code);
}

const char* NameOf(NFI::ZMCGENERATIONTYPE generation) noexcept {
  return FindName(kGenerations, generation);
}

const char* NameOf(NFI::CIMCONNECTIONTYPE type) noexcept {
  return FindName(kConnectionTypes, type);
}

const char* NameOf(KelvarConnection::CONNECTIONCASE connectionCase) noexcept {
  return FindName(kConnectionCases, connectionCase);
}

const char* DescriptionOf(NFI::INVENTORYRETURNCODE code) noexcept {
  const auto* row = Find(kCodes, code);
  return row != nullptr ? row->description : "unknown result";
}

}  // namespace Kelvar

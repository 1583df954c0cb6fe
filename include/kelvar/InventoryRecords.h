#pragma once

#include <string>
#include <vector>

#include <kelvar/Types.h>

// The records that the inventory operations fill. All are plain values which the caller owns. Texts are byte strings
// in the encoding of the target; a text that nothing filled is empty, a number 0. Character arrays are always
// terminated, and zero behind their text; a text longer than its array is cut.

namespace Kelvar::KelvarNfw {

/// All firmware of one machine: pairs of a build ID ("<build>-<version>" over IPMI) and its date. A flat block.
struct NODEFIRMWAREBUILDID {
  char BMCBuildID[24];  ///< older service processor, primary bank
  char BMCBuildDate[12];
  char BMCBackUpBuildID[24];  ///< older service processor, backup bank
  char BMCBackUpBuildDate[12];
  char uEFIBuildID[24];  ///< UEFI firmware, primary bank
  char uEFIBuildDate[12];
  char uEFIBackUpBuildID[24];  ///< UEFI firmware, backup bank
  char uEFIBackUpBuildDate[12];
  char QDGpBuildID[24];  ///< diagnostics
  char QDGpBuildIDDate[12];
  char BMCPVQBuildID[24];  ///< newer service processor, primary bank
  char BMCPVQBuildDate[12];
  char BMCPVQBackUpBuildID[24];  ///< newer service processor, backup bank
  char BMCPVQBackUpBuildDate[12];
  char WRBpBuildID[24];  ///< provisioning component
  char WRBpBuildIDDate[12];
  char DRVLNpBuildID[24];  ///< driver pack for Linux
  char DRVLNpBuildIDDate[12];
  char DRVWNpBuildID[24];  ///< driver pack for Windows
  char DRVWNpBuildIDDate[12];
  char SorelBuildID[24];  ///< update manager component
  char SorelBuildIDDate[12];
};

/// Machine type and serial number. CIM and IPMI clear the whole block first; Redfish writes only what it has.
struct NODEFIRMWARESYSTEMVPD {
  char MachineType[20];
  char SerialNumber[30];
  char ModelName[16];  ///< model tag of at most 8 characters; Redfish only
  u8 HasModelName;     ///< 1 when ModelName is set, else 0
};

/// One DNS setting of the management network.
struct ZMCDNSSETTINGDATA {
  u32 ZMCIndex = 0;                ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string DNSServerAddresses;  ///< CIM: addresses joined with ","; Redfish: one address a record
  std::string ElementName;
  std::string RequestedHostname;
};

/// One IP address of the management network.
struct ZMCIPPROTOCOLENDPOINT {
  u32 ZMCIndex = 0;  ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string IPAddress;
  std::string AddressOrigin;
  std::string ElementName;
};

/// One static address assignment of the management network.
struct ZMCSTATICIP {
  u32 ZMCIndex = 0;  ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string AddressOrigin;
  std::string ElementName;
  std::string GatewayIPv4Address;
  std::string GatewayIPv6Address;
  std::string IPv4Address;
  std::string IPv6Address;
  std::string SubnetMask;
};

/// One SNMP setting of the management network.
struct ZMCSNMPCOMMUNITYSTRING {
  u32 ZMCIndex = 0;  ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string ElementName;
};

/// One indicator LED. CIM only.
struct INDICATORLEDS {
  u32 ZMCIndex = 0;
  std::string DeviceID;
  std::string ElementName;
  std::string ActivationState;         ///< "Lit", "Blinking", "Off", "ControlPattern", "Unknown"
  std::string DefaultActivationState;  ///< the same words
  std::string ControlMode;             ///< "Automatic", "Manual", "Test Mode", "Unknown"
  std::string OtherIdentifyingInfo;
};

/// One numeric sensor. Readings and thresholds are in BaseUnits; a threshold that the target does not give is 0.
struct NUMERICSENSORS {
  u32 ZMCIndex = 0;  ///< ConnectionInfo::ZMCIndex over CIM and for OEM sensors over Redfish, else 0
  float LowerThresholdCritical = 0;
  float LowerThresholdFatal = 0;
  float LowerThresholdNonCritical = 0;
  float UpperThresholdCritical = 0;     ///< standard sensors over Redfish only
  float UpperThresholdFatal = 0;        ///< standard sensors over Redfish only
  float UpperThresholdNonCritical = 0;  ///< standard sensors over Redfish only
  float CurrentReading = 0;
  std::string BaseUnits;
  std::string CurrentState;
  std::string DeviceID;
  std::string Caption;
  std::string Description;
  std::string ElementName;
  std::string HealthState;
};

/// One entry of a log read through CIM.
struct ZMCMESSAGELOGDATA {
  u32 RecordIndex = 0;  ///< not filled
  u32 ZMCIndex = 0;
  std::string EventSequenceNumber;
  std::string CreationTimeStamp;
  std::string ElementName;
  std::string EventID;
  std::string Reserved1;  ///< not filled
  std::string LogInstanceID;
  std::string LogName;
  std::string Message;
  std::string MessageID;
  std::string MessageArguments;  ///< joined with "^"
  std::string PerceivedSeverity;
  std::string AuxiliaryData;
  bool Hidden = false;
};

/// One entry of a log read through Redfish.
struct ZMCMESSAGELOGDATAREST {
  u32 RecordIndex = 0;  ///< number of the entry within its collection, from 0
  u32 ZMCIndex = 0;     ///< stays 0
  std::string Source;
  std::string EventSequenceNumber;
  std::string CreationTimeStamp;
  std::string EventID;
  std::string Reserved1;  ///< not filled
  std::string ElementName;
  std::string Message;
  std::string MessageID;
  std::string MessageArguments;
  std::string PerceivedSeverity;
  std::string AuxiliaryData;
  bool Hidden = false;  ///< true unless the target says exactly "false"
};

}  // namespace Kelvar::KelvarNfw

namespace Kelvar {

/// One hardware component. A filled entry named "system board 1" is the system board.
struct OtherSystemVPD {
  std::string Name;
  std::string SerialNumber;
  std::string PartNumber;
  std::string Manufacturer;
  std::string FruPartNumber;
};

/// One drive backplane. Redfish only.
struct BackPlaneVPD {
  std::string Name;
  std::string SerialNumber;
  std::string PartNumber;
  std::string Manufacturer;
  std::string FruPartNumber;
};

/// One power supply. Redfish only.
struct PowerSupplyVPD {
  std::string Name;
  std::string SerialNumber;
  std::string PartNumber;
  std::string Manufacturer;
  std::string FruPartNumber;
};

/// The system board. Redfish only; a text that the target leaves empty is "Unknown", but for Name.
struct SystemBoardVPD {
  std::string Name;
  std::string SerialNumber;
  std::string Model;
  std::string PartNumber;
  std::string Manufacturer;
  std::string FruPartNumber;
};

/// One entry of the maintenance log. Redfish only.
struct MAINTLOGREDFISHDATA {
  u32 RecordIndex = 0;  ///< number of the entry within its collection, from 0
  u32 ZMCIndex = 0;     ///< stays 0
  std::string Source;
  std::string EventSequenceNumber;
  std::string CreationTimeStamp;
  std::string EventID;
  std::string ElementName;
  std::string Message;
  std::string MessageID;
  std::string MessageArguments;
  std::string PerceivedSeverity;
  std::string AuxiliaryData;
  bool Hidden = false;  ///< true unless the target says exactly "false"
};

}  // namespace Kelvar

namespace Kelvar::KelvarAgentless {

/// Identity of the machine. A field that a backend cannot read keeps what the caller put there.
struct ComputerSystem {
  std::string ProductName;
  std::string Version;  ///< CIM only
  std::string Manufacturer;
  std::string Reserved1;   ///< not filled
  std::string SystemGUID;  ///< IPMI only
  std::string SerialNumber;
  std::string Model;  ///< CIM and Redfish
  std::string UUID;   ///< CIM and Redfish
};

}  // namespace Kelvar::KelvarAgentless

namespace Kelvar::KelvarOptions {

/// One software identity, in the shape of a CIM_SoftwareIdentity instance.
struct SoftwareIdentity_ {
  std::string Description;
  std::string ElementName;
  std::string ProductName;
  std::string Manufacturer;
  std::string Name;
  std::string VersionString;
  std::string Classifications;
  std::string ClassificationDescriptions;
  std::string IdentityInfoValue;
  std::string SoftwareID;
  std::string SubDeviceID;
  std::string ReleaseDate;
  std::string SoftwareStatus;
  std::string SoftwareRole;
  std::string IdentityInfoType;
  std::string IsPLDMUpdateSupported = "0";
  std::string InstanceID;
  std::string AssociatedAdapterSlot;
  std::string LastUpdateError;
  std::string LastUpdateErrorString;
  std::string ExtraText1;                 ///< not filled
  std::vector<std::string> RelatedItems;  ///< resource paths of what the firmware belongs to
  std::string ExtraText2;                 ///< not filled
  u32 ExtraValue = 3;                     ///< not filled
};

}  // namespace Kelvar::KelvarOptions

#pragma once

#include <string>
#include <vector>

#include <kelvar/Types.h>

// The records that the inventory operations fill. All are plain values which the caller owns. Texts are byte strings
// in the encoding of the target; a text that nothing filled is empty, a number 0. Character arrays are always
// terminated, and zero after their text; a text longer than its array is cut.

namespace Kelvar::KelvarNfw {

/// All firmware of one machine: pairs of a build ID ("<build>-<version>" over IPMI) and its date. A flat block.
struct NODEFIRMWAREBUILDID {
  char BMCBuildID[24];             ///< older service processor, primary bank
  char BMCBuildDate[12];           ///< date of that build
  char BMCBackUpBuildID[24];       ///< older service processor, backup bank
  char BMCBackUpBuildDate[12];     ///< date of that build
  char uEFIBuildID[24];            ///< UEFI firmware, primary bank
  char uEFIBuildDate[12];          ///< date of that build
  char uEFIBackUpBuildID[24];      ///< UEFI firmware, backup bank
  char uEFIBackUpBuildDate[12];    ///< date of that build
  char QDGpBuildID[24];            ///< diagnostics
  char QDGpBuildIDDate[12];        ///< date of that build
  char BMCPVQBuildID[24];          ///< newer service processor, primary bank
  char BMCPVQBuildDate[12];        ///< date of that build
  char BMCPVQBackUpBuildID[24];    ///< newer service processor, backup bank
  char BMCPVQBackUpBuildDate[12];  ///< date of that build
  char WRBpBuildID[24];            ///< provisioning component
  char WRBpBuildIDDate[12];        ///< date of that build
  char DRVLNpBuildID[24];          ///< driver pack for Linux
  char DRVLNpBuildIDDate[12];      ///< date of that build
  char DRVWNpBuildID[24];          ///< driver pack for Windows
  char DRVWNpBuildIDDate[12];      ///< date of that build
  char SorelBuildID[24];           ///< update manager component
  char SorelBuildIDDate[12];       ///< date of that build
};

/// Machine type and serial number. CIM and IPMI clear the whole block first; Redfish writes only what it has.
struct NODEFIRMWARESYSTEMVPD {
  char MachineType[20];   ///< machine type, over CIM the model
  char SerialNumber[30];  ///< serial number of the machine
  char ModelName[16];     ///< model tag of at most 8 characters; Redfish only
  u8 HasModelName;        ///< 1 when ModelName is set, else 0
};

/// One DNS setting of the management network.
struct ZMCDNSSETTINGDATA {
  u32 ZMCIndex = 0;                ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string DNSServerAddresses;  ///< CIM: addresses joined with ","; Redfish: one address a record
  std::string ElementName;         ///< name of the setting
  std::string RequestedHostname;   ///< host name that the service processor asks for
};

/// One IP address of the management network.
struct ZMCIPPROTOCOLENDPOINT {
  u32 ZMCIndex = 0;           ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string IPAddress;      ///< IPv4 or IPv6 address
  std::string AddressOrigin;  ///< where the address comes from, as the target says it
  std::string ElementName;    ///< name of the endpoint
};

/// One static address assignment of the management network.
struct ZMCSTATICIP {
  u32 ZMCIndex = 0;                ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string AddressOrigin;       ///< where the address comes from, as the target says it
  std::string ElementName;         ///< name of the assignment
  std::string GatewayIPv4Address;  ///< empty when the record is about IPv6
  std::string GatewayIPv6Address;  ///< empty when the record is about IPv4
  std::string IPv4Address;         ///< empty when the record is about IPv6
  std::string IPv6Address;         ///< empty when the record is about IPv4
  std::string SubnetMask;          ///< of the address
};

/// One SNMP setting of the management network.
struct ZMCSNMPCOMMUNITYSTRING {
  u32 ZMCIndex = 0;         ///< ConnectionInfo::ZMCIndex over CIM, 0 over Redfish
  std::string ElementName;  ///< name of the setting
};

/// One indicator LED. CIM only.
struct INDICATORLEDS {
  u32 ZMCIndex = 0;                    ///< ConnectionInfo::ZMCIndex
  std::string DeviceID;                ///< identifier of the LED
  std::string ElementName;             ///< name for people
  std::string ActivationState;         ///< "Lit", "Blinking", "Off", "ControlPattern", "Unknown"
  std::string DefaultActivationState;  ///< the same words
  std::string ControlMode;             ///< "Automatic", "Manual", "Test Mode", "Unknown"
  std::string OtherIdentifyingInfo;    ///< other information of the target
};

/// One numeric sensor. The reading is in BaseUnits, and so are thresholds over Redfish; over CIM they are what the
/// target sends, not scaled as the reading is. A threshold that the target does not report is 0.
struct NUMERICSENSORS {
  u32 ZMCIndex = 0;                     ///< ConnectionInfo::ZMCIndex over CIM and for OEM sensors over Redfish, else 0
  float LowerThresholdCritical = 0;     ///< below it the sensor is critical
  float LowerThresholdFatal = 0;        ///< below it the sensor is fatal
  float LowerThresholdNonCritical = 0;  ///< below it the sensor warns
  float UpperThresholdCritical = 0;     ///< standard sensors over Redfish only
  float UpperThresholdFatal = 0;        ///< standard sensors over Redfish only
  float UpperThresholdNonCritical = 0;  ///< standard sensors over Redfish only
  float CurrentReading = 0;             ///< scaled: the value itself
  std::string BaseUnits;                ///< unit as a word; "Unknown" when the target names no known one
  std::string CurrentState;             ///< state of the sensor as a word
  std::string DeviceID;                 ///< identifier of the sensor
  std::string Caption;                  ///< CIM and OEM sensors over Redfish only
  std::string Description;              ///< CIM: free text; standard sensors over Redfish: the physical context
  std::string ElementName;              ///< name for people
  std::string HealthState;              ///< health as a word; empty when the target does not report it
};

/// One entry of a log read through CIM.
struct ZMCMESSAGELOGDATA {
  u32 RecordIndex = 0;              ///< not filled
  u32 ZMCIndex = 0;                 ///< ConnectionInfo::ZMCIndex
  std::string EventSequenceNumber;  ///< the target's own number of the event
  std::string CreationTimeStamp;    ///< as the target writes it, with its zone
  std::string ElementName;          ///< name of the entry
  std::string EventID;              ///< identifier of the kind of event; over CIM the common one if asked for
  std::string Reserved1;            ///< not filled
  std::string LogInstanceID;        ///< identifier of the entry within its log
  std::string LogName;              ///< log that holds the entry
  std::string Message;              ///< text for people
  std::string MessageID;            ///< identifier of the text in a message registry
  std::string MessageArguments;     ///< joined with "^"
  std::string PerceivedSeverity;    ///< severity as a word; CIM: a DMTF one, "Unknown" to "Fatal/NonRecoverable"
  std::string AuxiliaryData;        ///< the manufacturer's additions
  bool Hidden = false;              ///< the target marks it as not to be shown
};

/// One entry of a log read through Redfish.
struct ZMCMESSAGELOGDATAREST {
  u32 RecordIndex = 0;              ///< number of the entry within its collection, from 0
  u32 ZMCIndex = 0;                 ///< stays 0
  std::string Source;               ///< what reported the event
  std::string EventSequenceNumber;  ///< the target's own number of the event
  std::string CreationTimeStamp;    ///< as the target writes it, with its zone
  std::string EventID;              ///< identifier of the kind of event
  std::string Reserved1;            ///< not filled
  std::string ElementName;          ///< name of the entry
  std::string Message;              ///< text for people
  std::string MessageID;            ///< identifier of the text in a message registry
  std::string MessageArguments;     ///< arguments of the text
  std::string PerceivedSeverity;    ///< severity, a word of the target
  std::string AuxiliaryData;        ///< the manufacturer's additions
  bool Hidden = false;              ///< true unless the target says exactly "false"
};

}  // namespace Kelvar::KelvarNfw

namespace Kelvar {

/// One hardware component. A filled entry named "system board 1" is the system board.
struct OtherSystemVPD {
  std::string Name;           ///< its place, or what it is
  std::string SerialNumber;   ///< the manufacturer's serial number
  std::string PartNumber;     ///< the manufacturer's part number
  std::string Manufacturer;   ///< name of the manufacturer
  std::string FruPartNumber;  ///< part number to order it by
};

/// One drive backplane. Redfish only.
struct BackPlaneVPD {
  std::string Name;           ///< its place, or what it is
  std::string SerialNumber;   ///< the manufacturer's serial number
  std::string PartNumber;     ///< the manufacturer's part number
  std::string Manufacturer;   ///< name of the manufacturer
  std::string FruPartNumber;  ///< part number to order it by
};

/// One power supply. Redfish only.
struct PowerSupplyVPD {
  std::string Name;           ///< its place, or what it is
  std::string SerialNumber;   ///< the manufacturer's serial number
  std::string PartNumber;     ///< the manufacturer's part number
  std::string Manufacturer;   ///< name of the manufacturer
  std::string FruPartNumber;  ///< part number to order it by
};

/// The system board. Redfish only; a text that the target leaves empty is "Unknown", but for Name.
struct SystemBoardVPD {
  std::string Name;           ///< its place, or what it is
  std::string SerialNumber;   ///< the manufacturer's serial number
  std::string Model;          ///< model of the board
  std::string PartNumber;     ///< the manufacturer's part number
  std::string Manufacturer;   ///< name of the manufacturer
  std::string FruPartNumber;  ///< part number to order it by
};

/// One entry of the maintenance log. Redfish only.
struct MAINTLOGREDFISHDATA {
  u32 RecordIndex = 0;              ///< number of the entry within its collection, from 0
  u32 ZMCIndex = 0;                 ///< stays 0
  std::string Source;               ///< what reported the event
  std::string EventSequenceNumber;  ///< the target's own number of the event
  std::string CreationTimeStamp;    ///< as the target writes it, with its zone
  std::string EventID;              ///< identifier of the kind of event
  std::string ElementName;          ///< name of the entry
  std::string Message;              ///< text for people
  std::string MessageID;            ///< identifier of the text in a message registry
  std::string MessageArguments;     ///< arguments of the text
  std::string PerceivedSeverity;    ///< severity, a word of the target
  std::string AuxiliaryData;        ///< the manufacturer's additions
  bool Hidden = false;              ///< true unless the target says exactly "false"
};

}  // namespace Kelvar

namespace Kelvar::KelvarAgentless {

/// Identity of the machine. A field that a backend cannot read keeps what the caller put there.
struct ComputerSystem {
  std::string ProductName;   ///< product name, over IPMI the machine type
  std::string Version;       ///< CIM only
  std::string Manufacturer;  ///< manufacturer of the machine
  std::string Reserved1;     ///< not filled
  std::string SystemGUID;    ///< IPMI only
  std::string SerialNumber;  ///< serial number of the machine
  std::string Model;         ///< CIM and Redfish
  std::string UUID;          ///< CIM and Redfish
};

}  // namespace Kelvar::KelvarAgentless

namespace Kelvar::KelvarOptions {

/// One software identity, in the shape of a CIM_SoftwareIdentity instance.
struct SoftwareIdentity_ {
  std::string Description;                  ///< text for people
  std::string ElementName;                  ///< not filled
  std::string ProductName;                  ///< not filled
  std::string Manufacturer;                 ///< manufacturer of the firmware
  std::string Name;                         ///< name for people
  std::string VersionString;                ///< version, over IPMI "<build>-<version>"
  std::string Classifications;              ///< number of the CIM value map: "10" is firmware
  std::string ClassificationDescriptions;   ///< not filled
  std::string IdentityInfoValue;            ///< not filled
  std::string SoftwareID;                   ///< identifier of the kind of firmware
  std::string SubDeviceID;                  ///< not filled
  std::string ReleaseDate;                  ///< as the target writes it
  std::string SoftwareStatus;               ///< not filled
  std::string SoftwareRole;                 ///< not filled
  std::string IdentityInfoType;             ///< not filled
  std::string IsPLDMUpdateSupported = "0";  ///< not filled: "0"
  std::string InstanceID;                   ///< identifier of the resource
  std::string AssociatedAdapterSlot;        ///< not filled
  std::string LastUpdateError;              ///< not filled
  std::string LastUpdateErrorString;        ///< not filled
  std::string ExtraText1;                   ///< not filled
  std::vector<std::string> RelatedItems;    ///< resource paths of what the firmware belongs to
  std::string ExtraText2;                   ///< not filled
  u32 ExtraValue = 3;                       ///< not filled
};

}  // namespace Kelvar::KelvarOptions

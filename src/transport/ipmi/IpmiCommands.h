#pragma once

#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar {

// Network functions of the public standard, and the commands of each that are in use.

inline constexpr u8 kNetFnChassis = 0x00;
inline constexpr u8 kGetChassisStatus = 0x01;

inline constexpr u8 kNetFnSensorEvent = 0x04;
inline constexpr u8 kGetDeviceSdrInfo = 0x20;
inline constexpr u8 kGetDeviceSdr = 0x21;
inline constexpr u8 kReserveDeviceSdr = 0x22;
inline constexpr u8 kGetReadingFactors = 0x23;
inline constexpr u8 kGetThresholds = 0x27;
inline constexpr u8 kGetReading = 0x2D;

inline constexpr u8 kNetFnApplication = 0x06;
inline constexpr u8 kGetDeviceId = 0x01;
inline constexpr u8 kGetSelfTest = 0x04;
inline constexpr u8 kGetDeviceGuid = 0x08;
inline constexpr u8 kSendMessage = 0x34;
inline constexpr u8 kGetSystemGuid = 0x37;
inline constexpr u8 kGetAuthCapabilities = 0x38;
inline constexpr u8 kGetSessionChallenge = 0x39;
inline constexpr u8 kActivateSession = 0x3A;
inline constexpr u8 kSetSessionPrivilege = 0x3B;
inline constexpr u8 kCloseSession = 0x3C;
inline constexpr u8 kGetChannelInfo = 0x42;
inline constexpr u8 kMasterWriteRead = 0x52;
inline constexpr u8 kGetCipherSuites = 0x54;
inline constexpr u8 kGetSystemInfo = 0x59;

inline constexpr u8 kNetFnStorage = 0x0A;
inline constexpr u8 kGetFruAreaInfo = 0x10;
inline constexpr u8 kReadFruData = 0x11;
inline constexpr u8 kGetSdrRepositoryInfo = 0x20;
inline constexpr u8 kReserveSdrRepository = 0x22;
inline constexpr u8 kGetSdr = 0x23;
inline constexpr u8 kGetSelInfo = 0x40;
inline constexpr u8 kReserveSel = 0x42;
inline constexpr u8 kGetSelEntry = 0x43;
inline constexpr u8 kGetSelTimeOffset = 0x5C;

inline constexpr u8 kNetFnTransport = 0x0C;
inline constexpr u8 kGetLanParameters = 0x02;

inline constexpr u8 kNetFnGroupExtension = 0x2C;
inline constexpr u8 kGetDcmiCapabilities = 0x01;
inline constexpr u8 kGetDcmiPowerReading = 0x02;
inline constexpr u8 kGetDcmiAssetTag = 0x06;
inline constexpr u8 kGetDcmiControllerId = 0x09;

inline constexpr u8 kCodeFruBusy = 0x81;       ///< of Read FRU Data
inline constexpr u8 kCodeNoSuchDevice = 0x83;  ///< of Send Message and Master Write-Read
inline constexpr u8 kCodeNodeBusy = 0xC0;
inline constexpr u8 kCodeInvalidCommand = 0xC1;
inline constexpr u8 kCodeTimeout = 0xC3;

/// The target has more to do than it can.
constexpr bool IsBusyCode(u8 completionCode) noexcept {
  switch (completionCode) {
    case kCodeNodeBusy:
    case kCodeTimeout:
    case 0xCE:  // no reply can be given
    case 0xCF:  // taken for a duplicate
    case 0xD0:  // sensor data records in update
    case 0xD1:  // firmware in update
    case 0xD2:  // starting
    case 0xD3:  // destination away
      return true;
    default:
      return false;
  }
}

/// The EEPROM of a FRU is read slowly.
inline bool IsBusyFru(const IPMICOMMAND& command, u8 completionCode) noexcept {
  return command.netFn == kNetFnStorage && command.command == kReadFruData && completionCode == kCodeFruBusy;
}

}  // namespace Kelvar

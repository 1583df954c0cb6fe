#include "module/reader/ipmi/ReplySizes.h"

#include <algorithm>
#include <iterator>

#include "module/reader/ipmi/LanParameters.h"
#include "module/reader/ipmi/SelRecord.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr std::size_t kGuidSize = 16;
constexpr std::size_t kRecordAndNext = 3;  // at least one byte of the record

constexpr struct {
  u8 netFn;
  u8 command;
  std::size_t size;
} kCommands[] = {
    {kNetFnChassis, kGetChassisStatus, 3},
    {kNetFnSensorEvent, kGetDeviceSdrInfo, 2},
    {kNetFnSensorEvent, kGetDeviceSdr, kRecordAndNext},
    {kNetFnSensorEvent, kReserveDeviceSdr, 2},
    {kNetFnSensorEvent, kGetReadingFactors, 7},
    {kNetFnSensorEvent, kGetThresholds, 7},
    {kNetFnSensorEvent, kGetReading, 2},
    {kNetFnApplication, kGetDeviceId, 11},
    {kNetFnApplication, kGetSelfTest, 1},
    {kNetFnApplication, kGetDeviceGuid, kGuidSize},
    {kNetFnApplication, kGetSystemGuid, kGuidSize},
    {kNetFnApplication, kGetChannelInfo, 2},
    {kNetFnApplication, kGetCipherSuites, 1},
    {kNetFnApplication, kGetSystemInfo, 2},
    {kNetFnStorage, kGetFruAreaInfo, 3},
    {kNetFnStorage, kReadFruData, 2},
    {kNetFnStorage, kReserveSdrRepository, 2},
    {kNetFnStorage, kGetSdr, kRecordAndNext},
    {kNetFnStorage, kGetSelInfo, 3},
    {kNetFnStorage, kReserveSel, 2},
    {kNetFnStorage, kGetSelEntry, 2 + kSelRecordSize},
    {kNetFnStorage, kGetSelTimeOffset, 2},
    {kNetFnGroupExtension, kGetDcmiPowerReading, 18},
    {kNetFnGroupExtension, kGetDcmiAssetTag, 2},
    {kNetFnGroupExtension, kGetDcmiControllerId, 2},
};

/// With the revision that comes first.
constexpr struct {
  LanParameter parameter;
  std::size_t size;
} kParameters[] = {
    {LanParameter::Ipv4Address, 5},
    {LanParameter::Ipv4Source, 2},
    {LanParameter::MacAddress, 7},
    {LanParameter::SubnetMask, 5},
    {LanParameter::PrimaryRmcpPort, 3},
    {LanParameter::DefaultGateway, 5},
    {LanParameter::Vlan, 3},
    {LanParameter::Ipv6Enables, 2},
    {LanParameter::Ipv6Status, 3},
    {LanParameter::Ipv6StaticAddress, 21},
    {LanParameter::Ipv6DynamicAddress, 21},
    {LanParameter::Ipv6RouterControl, 2},
    {LanParameter::Ipv6StaticRouter, 17},
    {LanParameter::Ipv6DynamicRouterCount, 2},
    {LanParameter::Ipv6DynamicRouter, 18},
};

}  // namespace

std::size_t LeastReplySize(const IPMICOMMAND& command) noexcept {
  if (command.netFn == kNetFnTransport && command.command == kGetLanParameters && command.data.size() > 1) {
    const auto* row = std::find_if(std::begin(kParameters), std::end(kParameters), [&command](const auto& each) {
      return static_cast<u8>(each.parameter) == command.data[1];
    });
    return row != std::end(kParameters) ? row->size : 1;
  }
  const auto* row = std::find_if(std::begin(kCommands), std::end(kCommands), [&command](const auto& each) {
    return each.netFn == command.netFn && each.command == command.command;
  });
  return row != std::end(kCommands) ? row->size : 0;
}

}  // namespace Kelvar::Reader::Ipmi

// Over CIM, one class that cannot be read costs the family that it belongs to, and no other.

#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>
#include <kelvar/NodeFirmwareInventory.h>

#include "simulator/cim/CimService.h"
#include "support/Loopback.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using Model::Family;
using Model::FamilyStatus;

constexpr const char* kClassFaults[] = {
    " status=500", " status=204", " cim-error=\"1 broken\"", " cim-error=\"2 denied\"", " status=403", " body=<CIM>"};

struct ClassCase {
  const char* name;
  Family family;
  FamilyStatus status;
};

class CimClass : public testing::TestWithParam<ClassCase> {};

TEST_P(CimClass, CostsItsFamilyAlone) {
  for (const std::string fault : kClassFaults) {
    Simulator::Machine machine = Simulator::LoadMachine("full", kMachineFolder);
    machine.faults = {std::string("cim:*:") + GetParam().name + fault};
    Simulator::CimService service(machine, {});
    auto target = LoopbackInfo(KelvarConnection::CONNECTION_CASE_CIM_BMC, service.Start(0));
    target.ConnectionType = NodeFirmwareInventory::CIM_CONNECTION_HTTP;
    const Model::Inventory inventory = InventoryReader(target).Read();
    for (const Family family : Model::kAllFamilies) {
      const Model::FamilyResult& result = inventory.ResultOf(family);
      const bool isHit = family == GetParam().family;
      EXPECT_EQ(result.status, isHit ? GetParam().status : FamilyStatus::Complete) << fault << ' ' << NameOf(family);
      EXPECT_EQ(result.cause != FailureCause::None && !result.reason.empty(), isHit) << fault << ' ' << NameOf(family);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, CimClass,
                         testing::Values(ClassCase{"QEL_ComputerSystem", Family::System, FamilyStatus::Partial},
                                         ClassCase{"CIM_SoftwareIdentity", Family::Firmware, FamilyStatus::Failed},
                                         ClassCase{"CIM_PhysicalElement", Family::Components, FamilyStatus::Failed},
                                         ClassCase{"CIM_NumericSensor", Family::Sensors, FamilyStatus::Failed},
                                         ClassCase{"CIM_IndicatorLED", Family::Leds, FamilyStatus::Failed},
                                         ClassCase{"QEL_StandardMessageLogEntry", Family::Logs, FamilyStatus::Partial},
                                         ClassCase{"CIM_LogEntry", Family::Logs, FamilyStatus::Partial},
                                         ClassCase{"CIM_IPProtocolEndpoint", Family::Network, FamilyStatus::Partial}),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace Kelvar::Test

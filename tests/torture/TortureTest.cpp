// One operation of each backend, and a whole reading, over and over: in each run another allocation or another socket
// call fails, once or from then on. The caller gets a result code and nothing else, and no memory is lost. The
// environment variable KELVAR_TORTURE=full tries every call; without it a sample is taken.

#include <kelvar/Diagnostics.h>
#include <kelvar/InventoryReader.h>
#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <set>

#include <gtest/gtest.h>
#include <openssl/crypto.h>

#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "simulator/cim/CimService.h"
#include "simulator/redfish/RedfishServer.h"
#include "support/Loopback.h"
#include "support/MachineIpmi.h"
#include "support/TestPlaces.h"
#include "torture/FailPoints.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Test {
namespace {

using KelvarConnection::ConnectionInfo;

/// A target, and what makes objects for it.
class Victim {
 public:
  virtual ~Victim() = default;
  /// Makes an object; what comes back reads with it and gives a result.
  virtual std::function<int()> Connect() = 0;
};

using Facade = std::shared_ptr<NodeFirmwareInventory>;

template <auto operation, class Record>
std::function<int()> ReadList(Facade inventory) {
  return [inventory] {
    std::vector<Record> list;
    return static_cast<int>((inventory.get()->*operation)(list));
  };
}

using Inventory = NodeFirmwareInventory;

/// A whole reading. Gives the greatest status of its families, and -1 where one says nothing of itself.
std::function<int()> ReadModel(const ConnectionInfo& info) {
  InventoryReaderOptions options;
  options.deadline_seconds = 10;
  const auto reader = std::make_shared<InventoryReader>(info, options);
  return [reader] {
    const Model::Inventory inventory = reader->Read();
    const auto [least, greatest] =
        std::minmax_element(inventory.results.begin(), inventory.results.end(),
                            [](const auto& left, const auto& right) { return left.status < right.status; });
    return least->status == Model::FamilyStatus::NotAsked ? -1 : static_cast<int>(greatest->status);
  };
}

class RedfishVictim : public Victim {
 public:
  RedfishVictim() : info_(LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, service_.Start(0))) {}
  std::function<int()> Connect() override {
    return ReadList<&Inventory::GetNodeOtherSystemVPD, OtherSystemVPD>(std::make_shared<Inventory>(info_));
  }

 protected:
  Simulator::Machine machine_ = Simulator::LoadMachine("full", kMachineFolder);
  Simulator::RedfishServer service_{machine_};
  ConnectionInfo info_;
};

class CimVictim : public Victim {
 public:
  CimVictim() : info_(LoopbackInfo(KelvarConnection::CONNECTION_CASE_CIM_BMC, service_.Start(0))) {}
  std::function<int()> Connect() override {
    BackendFactory parts;
    parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpCIM>(info_, [](u32) {});
    return ReadList<&Inventory::GetZMCNumericSensors, KelvarNfw::NUMERICSENSORS>(
        BackendFactory::MakeFacade(std::move(parts)));
  }

 protected:
  Simulator::Machine machine_ = Simulator::LoadMachine("full", kMachineFolder);
  Simulator::CimService service_{machine_};
  ConnectionInfo info_;
};

class IpmiVictim : public Victim {
 public:
  explicit IpmiVictim(const char* machine = "full")
      : server_(MachineIpmi(Simulator::LoadMachine(machine, kMachineFolder))),
        info_(LoopbackInfo(KelvarConnection::CONNECTION_CASE_IPMI_LAN, server_.Port())) {}
  std::function<int()> Connect() override {
    auto client =
        std::make_unique<IpmiClient>(info_.Host, info_.UserName, info_.Password, std::to_string(info_.Port), 3);
    client->SetTimings({10, 10, 2, 500, 30000});
    BackendFactory parts;
    parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpIPMI>(info_, std::move(client));
    return ReadList<&Inventory::GetNodeFirmwareBuildID, KelvarNfw::NODEFIRMWAREBUILDID>(
        BackendFactory::MakeFacade(std::move(parts)));
  }

 protected:
  IpmiSim server_;
  ConnectionInfo info_;
};

template <class Protocol>
class Reading : public Protocol {
 public:
  std::function<int()> Connect() override { return ReadModel(this->info_); }
};

/// Commands go to satellite controllers too.
class SatelliteVictim : public IpmiVictim {
 public:
  SatelliteVictim() : IpmiVictim("satellites") {}
};

struct Outcome {
  bool struck = false;
  std::size_t calls = 0;
  int code = 0;
  long lostBlocks = 0;
};

/// One run. An object that cannot be made says so by an exception; an operation never does.
Outcome Run(Victim& victim, const FailPlan& plan) {
  static const std::set<int> kKnown{0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 13, 15};
  Outcome outcome;
  OPENSSL_thread_stop();  // libcrypto keeps memory for each thread
  const long before = LiveBlocks();
  {
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    const FailPoints points(plan);
    try {
      const auto read = victim.Connect();
      try {
        outcome.code = read();
      } catch (...) {
        outcome.code = -1;
      }
    } catch (...) {
    }
    outcome.struck = points.Struck();
    outcome.calls = points.Calls();
    if (kKnown.count(outcome.code) == 0) {
      ADD_FAILURE() << "result " << outcome.code;
    }
  }
  OPENSSL_thread_stop();
  outcome.lostBlocks = LiveBlocks() - before;
  return outcome;
}

/// What is made once and kept for ever, by whatever library, is not a leak: a leak comes again.
bool Leaks(Victim& victim, const FailPlan& plan) {
  for (int round = 0; round < 3; ++round) {
    if (Run(victim, plan).lostBlocks <= 0) {
      return false;
    }
  }
  return true;
}

template <class Target>
class Torture : public testing::Test {};

using Victims = testing::Types<RedfishVictim, CimVictim, IpmiVictim, Reading<RedfishVictim>, Reading<CimVictim>,
                               Reading<IpmiVictim>, Reading<SatelliteVictim>>;
TYPED_TEST_SUITE(Torture, Victims);

/// Of about so many calls.
std::size_t Step(std::size_t calls, const std::string& depth) {
  constexpr std::size_t kSample = 60;
  return depth == "full" ? 1 : std::max<std::size_t>(1, calls / kSample);
}

template <class Target>
void FailEach(FailKind kind, bool forGood) {
  constexpr std::size_t kRunsOfVictim = 40;  // what fails while a session opens leaves half of it at the target

  const char* set = std::getenv("KELVAR_TORTURE");
  const std::string depth = set != nullptr ? set : "";
  const bool onlyOne = !depth.empty() && depth != "full";
  auto victim = std::make_unique<Target>();
  Run(*victim, {kind});
  const Outcome whole = Run(*victim, {kind});
  const std::size_t calls = whole.calls;
  ASSERT_GT(calls, 10U) << "the calls are not seen";
  FailPlan plan{kind, onlyOne ? std::stoul(depth) : 0, forGood};
  std::size_t runs = 0;
  for (bool struck = true; struck; plan.first += Step(calls, depth)) {
    if (++runs % kRunsOfVictim == 0) {
      victim = std::make_unique<Target>();
      Run(*victim, {kind});
    }
    SCOPED_TRACE(testing::Message() << "call " << plan.first << " of about " << calls);
    if (depth == "full") {
      std::fprintf(stderr, "call %zu\r", plan.first);  // what a crash leaves behind
    }
    const Outcome outcome = Run(*victim, plan);
    struck = outcome.struck && !onlyOne;
    // How many calls a reading takes differs with the pace of the target: a shorter one is whole too.
    EXPECT_TRUE(outcome.struck || outcome.code == whole.code)
        << "result " << outcome.code << " after " << outcome.calls << " calls of which none failed";
    EXPECT_FALSE(outcome.lostBlocks > 0 && Leaks(*victim, plan)) << outcome.lostBlocks << " blocks lost";
    if (testing::Test::HasFailure()) {
      return;
    }
  }
}

TYPED_TEST(Torture, EachAllocationFailsOnce) {
  FailEach<TypeParam>(FailKind::Allocation, false);
}

TYPED_TEST(Torture, AllocationsFailFromSomePointOn) {
  FailEach<TypeParam>(FailKind::Allocation, true);
}

TYPED_TEST(Torture, EachSocketCallFailsOnce) {
  FailEach<TypeParam>(FailKind::SocketCall, false);
}

TYPED_TEST(Torture, SocketCallsFailFromSomePointOn) {
  FailEach<TypeParam>(FailKind::SocketCall, true);
}

TEST(TortureReset, TellsThatThereIsNoNewBackend) {
  const auto info = LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, 443);
  NodeFirmwareInventory inventory(info);
  int result = 0;
  {
    const FailPoints points({FailKind::Allocation, 0, true});
    result = inventory.ResetConn(info);
  }
  EXPECT_EQ(result, -1);
  EXPECT_EQ(inventory.GetConnectStatus(), -1);
  EXPECT_EQ(inventory.ResetConn(info), 0);
  EXPECT_EQ(inventory.GetConnectStatus(), 0);
}

}  // namespace
}  // namespace Kelvar::Test

int main(int argc, char** argv) {
  Kelvar::Test::HookAllocators();
  // Every line is built, and none is shown.
  Kelvar::Log::SetMinLogLevel(4);
  Kelvar::Log::SetSink([](Kelvar::u32, const char*, int, const std::string&) {});
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

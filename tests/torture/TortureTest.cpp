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

class RedfishVictim : public Victim {
 public:
  RedfishVictim() : info_(LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, service_.Start(0))) {}
  std::function<int()> Connect() override {
    return ReadList<&Inventory::GetNodeOtherSystemVPD, OtherSystemVPD>(std::make_shared<Inventory>(info_));
  }

 protected:
  Simulator::Machine machine_ = Simulator::LoadMachine("full", KELVAR_TEST_MACHINES);
  Simulator::RedfishServer service_{machine_};
  ConnectionInfo info_;
};

/// A whole reading by the links of the service.
class ReaderVictim : public RedfishVictim {
 public:
  std::function<int()> Connect() override {
    InventoryReaderOptions options;
    options.deadline_seconds = 10;
    const auto reader = std::make_shared<InventoryReader>(info_, options);
    return [reader] {
      const Model::Inventory inventory = reader->Read();
      const bool told = std::none_of(inventory.results.begin(), inventory.results.end(),
                                     [](const auto& result) { return result.status == Model::FamilyStatus::NotAsked; });
      return told ? 0 : -1;
    };
  }
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

 private:
  Simulator::Machine machine_ = Simulator::LoadMachine("full", KELVAR_TEST_MACHINES);
  Simulator::CimService service_{machine_};
  ConnectionInfo info_;
};

class IpmiVictim : public Victim {
 public:
  std::function<int()> Connect() override {
    const auto info = LoopbackInfo(KelvarConnection::CONNECTION_CASE_IPMI_LAN, server_.Port());
    auto client = std::make_unique<IpmiClient>(info.Host, info.UserName, info.Password, std::to_string(info.Port), 3);
    client->SetTimings({10, 10, 2, 500, 30000});
    BackendFactory parts;
    parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpIPMI>(info, std::move(client));
    return ReadList<&Inventory::GetNodeFirmwareBuildID, KelvarNfw::NODEFIRMWAREBUILDID>(
        BackendFactory::MakeFacade(std::move(parts)));
  }

 private:
  IpmiSim server_{MachineIpmi(Simulator::LoadMachine("full", KELVAR_TEST_MACHINES))};
};

struct Outcome {
  bool struck = false;
  std::size_t calls = 0;
  long lostBlocks = 0;
};

/// One run. An object that cannot be made says so by an exception; an operation never does.
Outcome Run(Victim& victim, const FailPlan& plan) {
  static const std::set<int> known{0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11, 13, 15};
  Outcome outcome;
  OPENSSL_thread_stop();  // libcrypto keeps memory for each thread
  const long before = LiveBlocks();
  {
    Diagnostics diagnostics;
    const DiagnosticsScope scope(diagnostics);
    const FailPoints points(plan);
    int code = 0;
    try {
      const auto read = victim.Connect();
      try {
        code = read();
      } catch (...) {
        code = -1;
      }
    } catch (...) {
    }
    outcome.struck = points.Struck();
    outcome.calls = points.Calls();
    if (known.count(code) == 0) {
      ADD_FAILURE() << "result " << code;
    }
  }
  OPENSSL_thread_stop();
  outcome.lostBlocks = LiveBlocks() - before;
  return outcome;
}

/// What is made once and kept for ever, by whatever library, is no leak: a leak comes again.
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

using Victims = testing::Types<RedfishVictim, CimVictim, IpmiVictim, ReaderVictim>;
TYPED_TEST_SUITE(Torture, Victims);

/// Of about so many calls.
std::size_t Step(std::size_t calls, const std::string& depth) {
  constexpr std::size_t kSample = 60;
  return depth == "full" ? 1 : std::max<std::size_t>(1, calls / kSample);
}

void FailEach(Victim& victim, FailKind kind, bool forGood) {
  const char* set = std::getenv("KELVAR_TORTURE");
  const std::string depth = set != nullptr ? set : "";
  const bool onlyOne = !depth.empty() && depth != "full";
  Run(victim, {kind});
  const std::size_t calls = Run(victim, {kind}).calls;
  ASSERT_GT(calls, 10U) << "the calls are not seen";
  FailPlan plan{kind, onlyOne ? std::stoul(depth) : 0, forGood};
  for (bool struck = true; struck; plan.first += Step(calls, depth)) {
    SCOPED_TRACE(testing::Message() << "call " << plan.first << " of about " << calls);
    if (depth == "full") {
      std::fprintf(stderr, "call %zu\r", plan.first);  // what a crash leaves behind
    }
    const Outcome outcome = Run(victim, plan);
    struck = outcome.struck && !onlyOne;
    EXPECT_FALSE(outcome.lostBlocks > 0 && Leaks(victim, plan)) << outcome.lostBlocks << " blocks lost";
    if (testing::Test::HasFailure()) {
      return;
    }
  }
}

TYPED_TEST(Torture, EachAllocationFailsOnce) {
  TypeParam victim;
  FailEach(victim, FailKind::Allocation, false);
}

TYPED_TEST(Torture, AllocationsFailFromSomePointOn) {
  TypeParam victim;
  FailEach(victim, FailKind::Allocation, true);
}

TYPED_TEST(Torture, EachSocketCallFailsOnce) {
  TypeParam victim;
  FailEach(victim, FailKind::SocketCall, false);
}

TYPED_TEST(Torture, SocketCallsFailFromSomePointOn) {
  TypeParam victim;
  FailEach(victim, FailKind::SocketCall, true);
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

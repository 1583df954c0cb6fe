#include <gmock/gmock.h>

#include "support/FixedOperations.h"
#include "support/LogCapture.h"
#include "unit/inventory/FacadeScript.h"

namespace Kelvar::Test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ScriptedZmcapp final : public zmcapp {
 public:
  explicit ScriptedZmcapp(FacadeScript& script) : zmcapp({}, false), script_(script) {}
  ~ScriptedZmcapp() override { script_.calls.emplace_back("~zmcApp"); }
  ZMCAPPRETURNCODE GetZMCAuditEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>&) override {
    return static_cast<ZMCAPPRETURNCODE>(script_.Answer("zmcApp.GetZMCAuditEventLog"));
  }
  ZMCAPPRETURNCODE GetZMCPlatformEventLog(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>&) override {
    return static_cast<ZMCAPPRETURNCODE>(script_.Answer("zmcApp.GetZMCPlatformEventLog"));
  }

 private:
  FacadeScript& script_;
};

class ScriptedLogmgr final : public LogmgrRedfish {
 public:
  using Entries = std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>;
  explicit ScriptedLogmgr(FacadeScript& script) : LogmgrRedfish(KelvarConnection::ConnectionInfo()), script_(script) {}
  ~ScriptedLogmgr() override { script_.calls.emplace_back("~logManager"); }
  int GetActiveEventsForInventory(Entries&) override {
    return script_.Answer("logManager.GetActiveEventsForInventory");
  }
  int GetAuditLogForInventory(Entries&) override { return script_.Answer("logManager.GetAuditLogForInventory"); }
  int GetPlatformLogForInventory(Entries&) override { return script_.Answer("logManager.GetPlatformLogForInventory"); }
  int GetMaintenanceLog(std::vector<MAINTLOGREDFISHDATA>&) override {
    return script_.Answer("logManager.GetMaintenanceLog");
  }

 private:
  FacadeScript& script_;
};

BackendFactory AllParts(FacadeScript& script) {
  BackendFactory parts;
  parts.primaryBackend = std::make_unique<ScriptedBackend>(script, "primary");
  parts.zmcApp = std::make_unique<ScriptedZmcapp>(script);
  parts.logManager = std::make_unique<ScriptedLogmgr>(script);
  return parts;
}

TEST(Facade, ForwardsEachOperationToItsObject) {
  for (const FixedOperation& operation : kFixedOperations) {
    FacadeScript script;
    const auto facade = BackendFactory::MakeFacade(AllParts(script));
    script.codes[operation.forwarded] = 99;
    EXPECT_EQ(operation.call(*facade).result, 99) << "unchanged: " << operation.name;
    EXPECT_THAT(script.calls, ElementsAre(operation.forwarded));
    EXPECT_EQ(script.selector, operation.name == std::string_view("cim-log") ? 3 : 0);
  }
  FacadeScript script;
  const auto facade = BackendFactory::MakeFacade(AllParts(script));
  script.codes["primary.GetConnectStatus"] = 99;
  EXPECT_EQ(facade->GetConnectStatus(), 99);
}

TEST(Facade, AnswersForAbsentObjects) {
  const auto facade = BackendFactory::MakeFacade({});
  for (const FixedOperation& operation : kFixedOperations) {
    EXPECT_EQ(operation.call(*facade).result, operation.absent) << operation.name;
  }
  EXPECT_EQ(facade->GetConnectStatus(), -1);
}

TEST(Facade, DestroysItsObjectsInOrder) {
  FacadeScript script;
  BackendFactory parts = AllParts(script);
  parts.secondaryBackend = std::make_unique<ScriptedBackend>(script, "secondary");
  BackendFactory::MakeFacade(std::move(parts)).reset();
  EXPECT_THAT(script.calls, ElementsAre("~primary", "~zmcApp", "~logManager", "~secondary"));
}

TEST(Facade, FixedOperationsTouchNothing) {
  FacadeScript script;
  const auto facade = BackendFactory::MakeFacade(AllParts(script));
  facade->SetCIMPort(1234);
  facade->SetCIMType(static_cast<NFI::INVENTORYCIMTYPE>(1));
  facade->SetConnectionType(NFI::CIM_CONNECTION_HTTPS);
  EXPECT_EQ(facade->GetCIMPort(), 5988);
  EXPECT_EQ(facade->GetCIMType(), 2);
  EXPECT_THAT(script.calls, IsEmpty());
}

TEST(Facade, ResetConnReplacesThePrimaryBackendAlone) {
  const LogCapture log;
  FacadeScript script;
  BackendFactory parts = AllParts(script);
  parts.secondaryBackend = std::make_unique<ScriptedBackend>(script, "secondary");
  const auto facade = BackendFactory::MakeFacade(std::move(parts));
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_IPMI_LOCAL;
  info.ZMCIndex = 65535;  // a device that no machine has
  EXPECT_EQ(facade->ResetConn(info), 0);
  EXPECT_THAT(script.calls, ElementsAre("~primary"));
  NFI::ZMCGENERATIONTYPE generation = NFI::ZMC_GENERATION_1;
  EXPECT_EQ(facade->GetZMCGenerationType(generation), 1) << "the new backend has no connection";
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> entries;
  EXPECT_EQ(facade->GetZMCAuditLogDataViaCIM(entries), 7) << "zmcApp stays";
}

/// Names and FRU part numbers of a component list, as "name=number".
std::vector<std::string> Shown(const std::vector<OtherSystemVPD>& list) {
  std::vector<std::string> lines;
  lines.reserve(list.size());
  for (const OtherSystemVPD& component : list) {
    lines.push_back(component.Name + "=" + component.FruPartNumber);
  }
  return lines;
}

TEST(FacadeComponents, RedfishSuppliesTheBoardNumberOfTheListOverCIM) {
  const std::string list = "secondary.GetNodeOtherSystemVPD";
  const std::string board = "primary.GetSystemBoardVPD";
  const std::vector<std::string> unchanged = {"PSU=cim", "System Board 1=cim", "system board 12=cim",
                                              "system board 1=cim", "system board 1=cim"};
  const std::vector<std::string> merged = {"PSU=cim", "System Board 1=cim", "system board 12=cim",
                                           "system board 1=FRU1", "system board 1=cim"};
  const struct {
    const char* name;
    int listCode, boardCode;
    bool primary;
    int code;
    std::vector<std::string> calls, components;
  } cases[] = {
      {"both succeed", 0, 0, true, 0, {list, board}, merged},
      {"the board fails", 0, 10, true, 0, {list, board}, unchanged},
      {"the list fails", 8, 0, true, 8, {list}, unchanged},
      {"no primary backend", 0, 0, false, 0, {list}, unchanged},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    FacadeScript script;
    script.codes = {{list, c.listCode}, {board, c.boardCode}};
    script.boardFruPartNumber = "FRU1";
    for (const char* name : {"PSU", "System Board 1", "system board 12", "system board 1", "system board 1"}) {
      script.components.push_back({name, "", "", "", "cim"});
    }
    BackendFactory parts;
    parts.secondaryBackend = std::make_unique<ScriptedBackend>(script, "secondary");
    if (c.primary) {
      parts.primaryBackend = std::make_unique<ScriptedBackend>(script, "primary");
    }
    const auto facade = BackendFactory::MakeFacade(std::move(parts));
    std::vector<OtherSystemVPD> components;
    EXPECT_EQ(facade->GetNodeOtherSystemVPD(components), c.code);
    EXPECT_EQ(script.calls, c.calls);
    EXPECT_EQ(Shown(components), c.components);
  }
}

}  // namespace
}  // namespace Kelvar::Test

#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "module/nfw/inventory/BackendFactory.h"

namespace Kelvar::Test {

using NFI = NodeFirmwareInventory;
using Code = NFI::INVENTORYRETURNCODE;

/// What happens to the objects behind a facade, in order, and what they answer.
struct FacadeScript {
  std::vector<std::string> calls;
  std::map<std::string, int> codes;  ///< by call; 7 for one that is not named
  std::vector<OtherSystemVPD> components;
  std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
  std::string boardFruPartNumber;
  int selector = 0;

  int Answer(const std::string& call) {
    calls.push_back(call);
    const auto code = codes.find(call);
    return code != codes.end() ? code->second : 7;
  }
};

class ScriptedBackend final : public NodeFirmwareInventoryImp {
 public:
  ScriptedBackend(FacadeScript& script, std::string name)
      : NodeFirmwareInventoryImp({}), script_(script), name_(std::move(name)) {}
  ~ScriptedBackend() override { script_.calls.push_back("~" + name_); }

  int GetConnectStatus() override { return Answer("GetConnectStatus"); }
  Code GetHardwareInfoComputerSystem(KelvarAgentless::ComputerSystem&) override {
    return Answer("GetHardwareInfoComputerSystem");
  }
  Code GetNodeFirmwareBuildID(std::vector<KelvarNfw::NODEFIRMWAREBUILDID>& list) override {
    list.insert(list.end(), script_.builds.begin(), script_.builds.end());
    return Answer("GetNodeFirmwareBuildID");
  }
  Code GetNodeFirmwareSystemVPD(KelvarNfw::NODEFIRMWARESYSTEMVPD&) override {
    return Answer("GetNodeFirmwareSystemVPD");
  }
  Code GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) override {
    list.insert(list.end(), script_.components.begin(), script_.components.end());
    return Answer("GetNodeOtherSystemVPD");
  }
  Code GetZMCGenerationType(ZMCGENERATIONTYPE&) override { return Answer("GetZMCGenerationType"); }
  Code GetZMCDNSSettingData(std::vector<KelvarNfw::ZMCDNSSETTINGDATA>&) override {
    return Answer("GetZMCDNSSettingData");
  }
  Code GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>&) override {
    return Answer("GetZMCMessageLogData REST");
  }
  Code GetZMCMessageLogData(std::vector<KelvarNfw::ZMCMESSAGELOGDATA>&, int selector) override {
    script_.selector = selector;
    return Answer("GetZMCMessageLogData CIM");
  }
  Code GetZMCIPProtocolEndPoint(std::vector<KelvarNfw::ZMCIPPROTOCOLENDPOINT>&) override {
    return Answer("GetZMCIPProtocolEndPoint");
  }
  Code GetZMCStaticIPAddress(std::vector<KelvarNfw::ZMCSTATICIP>&) override { return Answer("GetZMCStaticIPAddress"); }
  Code GetZMCCommunityString(std::vector<KelvarNfw::ZMCSNMPCOMMUNITYSTRING>&) override {
    return Answer("GetZMCCommunityString");
  }
  Code GetZMCIndicatorLED(std::vector<KelvarNfw::INDICATORLEDS>&) override { return Answer("GetZMCIndicatorLED"); }
  Code GetZMCNumericSensors(std::vector<KelvarNfw::NUMERICSENSORS>&) override { return Answer("GetZMCNumericSensors"); }
  Code GetSystemBoardVPD(SystemBoardVPD& board) override {
    board.FruPartNumber = script_.boardFruPartNumber;
    return Answer("GetSystemBoardVPD");
  }
  Code GetNFWSoftwareIdentity(std::vector<KelvarOptions::SoftwareIdentity_>&) override {
    return Answer("GetNFWSoftwareIdentity");
  }

 private:
  Code Answer(const std::string& operation) { return static_cast<Code>(script_.Answer(name_ + "." + operation)); }

  FacadeScript& script_;
  const std::string name_;
};

}  // namespace Kelvar::Test

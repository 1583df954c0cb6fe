#pragma once

#include <kelvar/GlobalConfig.h>
#include <kelvar/NodeFirmwareInventory.h>
#include <kelvar/NodeFirmwareInventoryImpRedfish.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/LogCapture.h"
#include "support/Loopback.h"
#include "support/ScriptedHttpServer.h"

namespace Kelvar {

struct NodeFirmwareInventoryImpRedfishTestAccess {
  static std::string BaseUrl(const NodeFirmwareInventoryImpRedfish& backend) { return backend.baseUrl; }
  static auto ChassisUrls(NodeFirmwareInventoryImpRedfish& backend) { return backend.ConstructChassisUrl(); }
  static auto OemProduct(NodeFirmwareInventoryImpRedfish& backend, KelvarNfw::NODEFIRMWARESYSTEMVPD& vpd) {
    return backend.GetNodeFirmwareSystemVPDFromOEMProduct(vpd);
  }
  static auto PowerSupplies(NodeFirmwareInventoryImpRedfish& backend, std::vector<PowerSupplyVPD>& list) {
    return backend.GetPowerSupplyVPD(list);
  }
};

namespace Test {

using Access = NodeFirmwareInventoryImpRedfishTestAccess;

/// A service processor that answers from a script, and a backend that reads it. A 503 is not waited for.
class RedfishBackendTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", -1); }

  KelvarConnection::ConnectionInfo Target() const {
    auto info = LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, server.Port());
    info.Password = "not-to-be-logged";
    info.ZMCIndex = 3;
    return info;
  }

  void Json(const std::string& target, std::string body) { server.On(target, HttpReply(std::move(body))); }
  void Status(const std::string& target, int status) { server.On(target, HttpReply(status, "error document")); }
  /// The connection ends within the answer.
  void Cut(const std::string& target) {
    HttpReply reply("{}");
    reply.cutAfter = 5;
    server.On(target, reply);
  }
  /// A collection whose members are the given paths.
  void Collection(const std::string& target, const std::vector<std::string>& paths) {
    std::string members;
    for (const std::string& path : paths) {
      members += (members.empty() ? "" : ",") + ("{\"@odata.id\":\"" + path + "\"}");
    }
    Json(target, "{\"Members\":[" + members + "]}");
  }

  ScriptedHttpServer server{{.tls = true}};
  NodeFirmwareInventoryImpRedfish backend{Target()};
};

}  // namespace Test
}  // namespace Kelvar

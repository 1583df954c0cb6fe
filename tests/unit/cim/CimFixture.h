#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "module/nfw/inventory/BackendFactory.h"
#include "module/nfw/inventory/cim/NodeFirmwareInventoryImpCIM.h"
#include "support/LogCapture.h"
#include "support/Loopback.h"
#include "support/ScriptedCimServer.h"

namespace Kelvar::Test {

/// A scripted CIM server, and the facade of a connection to it. Pauses are counted and not slept.
class CimFixture : public testing::Test {
 protected:
  using NFI = NodeFirmwareInventory;

  KelvarConnection::ConnectionInfo Info(u32 connectionCase = KelvarConnection::CONNECTION_CASE_CIM_BMC) const {
    KelvarConnection::ConnectionInfo info = LoopbackInfo(connectionCase, server.Port());
    info.Password = "secret";
    info.ZMCIndex = 2;
    return info;
  }

  CIMPause Pause() {
    return [this](u32 milliseconds) { pauses.push_back(milliseconds); };
  }

  std::unique_ptr<NFI> Facade(const KelvarConnection::ConnectionInfo& info) {
    BackendFactory parts;
    parts.primaryBackend = std::make_unique<NodeFirmwareInventoryImpCIM>(info, Pause());
    parts.zmcApp = std::make_unique<zmcapp>(info, false, Pause());
    return BackendFactory::MakeFacade(std::move(parts));
  }
  std::unique_ptr<NFI> Facade() { return Facade(Info()); }

  /// Names and namespaces of the classes asked for, as "namespace:class".
  std::vector<std::string> Asked() const {
    std::vector<std::string> asked;
    for (const ScriptedCimServer::Request& request : server.Requests()) {
      asked.push_back(request.nameSpace + ":" + request.className);
    }
    return asked;
  }

  ScriptedCimServer server;
  std::vector<u32> pauses;
};

/// A reply that is an HTTP error.
inline HttpReply HttpError(int status) {
  return HttpReply(status, "");
}

}  // namespace Kelvar::Test

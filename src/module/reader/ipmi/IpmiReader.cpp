#include "module/reader/ipmi/IpmiReader.h"

#include <memory>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Reader {

namespace {

using KelvarConnection::ConnectionInfo;
using Model::FamilyStatus;

bool IsLan(const ConnectionInfo& info) {
  return info.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LAN;
}

std::unique_ptr<IpmiClientInterface> MakeClient(const ConnectionInfo& info) {
  if (IsLan(info)) {
    return std::make_unique<IpmiClient>(info.Host, info.UserName, info.Password, std::to_string(info.Port),
                                        info.RemoteSessionArgument);
  }
  return std::make_unique<IpmiClient>(info.ZMCIndex);
}

/// Closes the session however the reading ends.
class Session {
 public:
  explicit Session(IpmiClientInterface& client) : client_(client) {}
  ~Session() {
    try {
      client_.disconnect();
    } catch (...) {
      KELVAR_LOG(2) << "IPMI reading: the session could not be closed";
    }
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

 private:
  IpmiClientInterface& client_;
};

Ipmi::ReadingOptions OptionsOf(const ReadRequest& request) {
  Ipmi::ReadingOptions options;
  options.families = request.families;
  options.deadline = request.deadline;
  options.logLimit = request.options.log_limit;
  options.logSince = request.options.log_since;
  options.newestFirst = request.options.newest_first;
  options.cacheFolder = request.options.sdr_cache_folder;
  if (IsLan(request.info) && request.options.sdr_cache) {
    options.cacheName = request.info.Host + ":" + std::to_string(request.info.Port);
  }
  return options;
}

void Fail(const ReadRequest& request, Model::Inventory& inventory, CONNECTIONSTATE state) {
  const bool refused = state == IPMIAUTHFAIL;
  const FailureCause cause = refused ? FailureCause::LoginRefused : FailureCause::Unreachable;
  const char* why = refused ? "the login was refused" : "no session could be opened";
  DiagnosticsRecorder::AddGap(GapKind::Failure, cause, "session", why);
  for (const Model::Family family : request.families) {
    inventory.ResultOf(family) = {FamilyStatus::Failed, cause, why};
  }
}

}  // namespace

void ReadIpmi(const ReadRequest& request, Model::Inventory& inventory) {
  const std::unique_ptr<IpmiClientInterface> client = MakeClient(request.info);
  const CONNECTIONSTATE state = client->connect();
  if (state != IPMICONNECTED) {
    Fail(request, inventory, state);
    return;
  }
  const Session session(*client);
  Ipmi::SystemClock clock;
  Ipmi::ReadInventory(*client, clock, OptionsOf(request), inventory);
}

}  // namespace Kelvar::Reader

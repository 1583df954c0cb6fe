#include "module/reader/ipmi/IpmiReader.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>

#include "common/deadline/OperationDeadline.h"
#include "common/log/LogMacros.h"
#include "common/text/Escape.h"
#include "module/reader/ipmi/ReadingContext.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Reader {

namespace {

using KelvarConnection::ConnectionInfo;
using Model::FamilyStatus;

bool IsLan(const ConnectionInfo& info) {
  return info.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LAN;
}

std::unique_ptr<IpmiClient> MakeClient(const ConnectionInfo& info) {
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
  options.cancelled = request.cancelled;
  options.logLimit = request.options.log_limit;
  options.logSince = request.options.log_since;
  options.newestFirst = request.options.newest_first;
  options.cacheFolder = request.options.sdr_cache_folder;
  if (IsLan(request.info) && request.options.sdr_cache) {
    options.cacheName = request.info.Host + ":" + std::to_string(request.info.Port);
  }
  return options;
}

constexpr std::size_t kUsualSuite = 3;
constexpr std::size_t kStrongerSuite = 17;

CONNECTIONSTATE Connect(IpmiClient& client, Diagnostics& setUp) {
  const DiagnosticsScope scope(setUp);
  return client.connect();
}

/// A target that refuses the usual suite may have the stronger one alone. Never the other way round.
bool MayHaveStrongerSuite(const ConnectionInfo& info, const Diagnostics& setUp) {
  return IsLan(info) && info.RemoteSessionArgument == kUsualSuite && setUp.Cause() == FailureCause::NotOffered;
}

/// `setUp` is what the transport met.
void Fail(const ReadRequest& request, Model::Inventory& inventory, CONNECTIONSTATE state, const Diagnostics& setUp) {
  const FailureCause usual = state == IPMIAUTHFAIL ? FailureCause::LoginRefused : FailureCause::Unreachable;
  const FailureCause cause = setUp.Cause() == FailureCause::None ? usual : setUp.Cause();
  const std::string why = setUp.Detail().empty() ? "no session could be opened" : setUp.Detail();
  for (const Model::Family family : request.families) {
    inventory.ResultOf(family) = {FamilyStatus::Failed, cause, Text::EscapeControl(why)};
  }
}

}  // namespace

void ReadIpmi(const ReadRequest& request, Model::Inventory& inventory) {
  std::unique_ptr<IpmiClient> client = MakeClient(request.info);
  const OperationDeadline deadline(request.SecondsLeft());
  Diagnostics setUp;
  CONNECTIONSTATE state = Connect(*client, setUp);
  if (state != IPMICONNECTED && MayHaveStrongerSuite(request.info, setUp)) {
    KELVAR_LOG(2) << "IPMI reading: cipher suite 3 is not offered, trying 17";
    ConnectionInfo stronger = request.info;
    stronger.RemoteSessionArgument = kStrongerSuite;
    client = MakeClient(stronger);
    setUp = Diagnostics();
    state = Connect(*client, setUp);
  }
  if (state != IPMICONNECTED) {
    Fail(request, inventory, state, setUp);
    return;
  }
  const Session session(*client);
  Ipmi::SystemClock clock;
  Ipmi::ReadInventory(*client, clock, OptionsOf(request), inventory);
}

}  // namespace Kelvar::Reader

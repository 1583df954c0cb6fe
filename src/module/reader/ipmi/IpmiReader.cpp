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

/// `setUp` is what the transport met.
void Fail(const ReadRequest& request, Model::Inventory& inventory, CONNECTIONSTATE state, const Diagnostics& setUp) {
  const FailureCause usual = state == IPMIAUTHFAIL ? FailureCause::LoginRefused : FailureCause::Unreachable;
  const FailureCause cause = setUp.Cause() == FailureCause::None ? usual : setUp.Cause();
  const std::string why = setUp.Detail().empty() ? "no session could be opened" : setUp.Detail();
  for (const Model::Family family : request.families) {
    inventory.ResultOf(family) = {FamilyStatus::Failed, cause, Text::EscapeControl(why)};
  }
}

/// Whole seconds until the reading has to end, at least 1; 0 for no bound.
u32 SecondsLeft(const ReadRequest& request) {
  if (!request.deadline) {
    return 0;
  }
  const auto left = std::chrono::ceil<std::chrono::seconds>(*request.deadline - std::chrono::steady_clock::now());
  return static_cast<u32>(std::clamp<std::int64_t>(left.count(), 1, 0xFFFFFFFF));
}

}  // namespace

void ReadIpmi(const ReadRequest& request, Model::Inventory& inventory) {
  const std::unique_ptr<IpmiClientInterface> client = MakeClient(request.info);
  const OperationDeadline deadline(SecondsLeft(request));
  Diagnostics setUp;
  const CONNECTIONSTATE state = [&] {
    const DiagnosticsScope scope(setUp);
    return client->connect();
  }();
  if (state != IPMICONNECTED) {
    Fail(request, inventory, state, setUp);
    return;
  }
  const Session session(*client);
  Ipmi::SystemClock clock;
  Ipmi::ReadInventory(*client, clock, OptionsOf(request), inventory);
}

}  // namespace Kelvar::Reader

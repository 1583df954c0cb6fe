#include <kelvar/InventoryReader.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/Escape.h"
#include "common/text/Secret.h"
#include "module/reader/FamilyReader.h"
#include "module/reader/cim/CimReader.h"
#include "module/reader/ipmi/IpmiReader.h"
#include "module/reader/redfish/RedfishReader.h"

namespace Kelvar {

using Model::Family;
using Model::FamilyStatus;
using Model::Inventory;

namespace {

constexpr u32 kMaxRequestsAtOnce = 16;
constexpr u32 kMaxResources = 20'000;

InventoryReaderOptions Bounded(InventoryReaderOptions options) {
  options.requests_at_once = std::clamp<u32>(options.requests_at_once, 1, kMaxRequestsAtOnce);
  options.resource_limit = std::clamp<u32>(options.resource_limit, 1, kMaxResources);
  return options;
}

/// In the model's order, each once.
std::vector<Family> Ordered(const std::vector<Family>& families) {
  std::vector<Family> ordered;
  for (const Family family : Model::kAllFamilies) {
    if (std::find(families.begin(), families.end(), family) != families.end()) {
      ordered.push_back(family);
    }
  }
  return ordered;
}

const char* ProtocolOf(u32 connectionCase) {
  using namespace KelvarConnection;
  return connectionCase < CONNECTION_CASE_CIM_BMC    ? "ipmi"
         : connectionCase == CONNECTION_CASE_REDFISH ? "redfish"
                                                     : "cim";
}

/// Families that have no result get this one.
void FailRest(Inventory& inventory, const std::vector<Family>& families, FailureCause cause, const std::string& why) {
  for (const Family family : families) {
    Model::FamilyResult& result = inventory.ResultOf(family);
    if (result.status == FamilyStatus::NotAsked) {
      result = {FamilyStatus::Failed, cause, Text::EscapeControl(why)};
    }
  }
}

void FailWithoutTexts(Inventory& inventory, const auto& families) noexcept {
  for (const Family family : families) {
    Model::FamilyResult& result = inventory.ResultOf(family);
    if (result.status == FamilyStatus::NotAsked) {
      result.status = FamilyStatus::Failed;
    }
  }
}

void ReadByProtocol(const Reader::ReadRequest& request, Inventory& inventory) {
  if (inventory.protocol == "redfish") {
    Reader::ReadRedfish(request, inventory);
  } else if (inventory.protocol == "cim") {
    Reader::ReadCim(request, inventory);
  } else {
    Reader::ReadIpmi(request, inventory);
  }
}

/// Why there can be no such target; null where there can be one. Nothing is sent then: characters that have a meaning
/// in a URL would lead a request, and the password with it, to another host or port.
const char* WrongIn(const KelvarConnection::ConnectionInfo& info) noexcept {
  if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LOCAL) {
    return nullptr;
  }
  if (info.ConnectionCase > KelvarConnection::CONNECTION_CASE_REDFISH) {
    return "unknown kind of connection";
  }
  const bool legal = std::none_of(info.Host.begin(), info.Host.end(), [](char letter) {
    constexpr std::string_view kOfUrls = "/\\?#@\x7F";
    return static_cast<u8>(letter) <= ' ' || kOfUrls.find(letter) != kOfUrls.npos;
  });
  return legal && !info.Host.empty() ? nullptr : "invalid host name";
}

void Run(const Reader::ReadRequest& request, Diagnostics& diagnostics, Inventory& inventory) {
  const DiagnosticsScope diagnosticsScope(diagnostics);
  const ConnectionOptionsScope optionsScope(request.options.connection);
  std::string failure = "nothing was read";
  try {
    if (const char* const wrong = WrongIn(request.info)) {
      DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::Unreachable, "connection", wrong);
      throw std::invalid_argument(wrong);
    }
    ReadByProtocol(request, inventory);
  } catch (const std::exception& error) {
    failure = error.what();
    KELVAR_LOG(1) << "Reading the inventory failed: " << failure;
  } catch (...) {
    failure = "unknown error";
  }
  FailRest(inventory, request.families, diagnostics.Cause(), failure);
}

std::optional<std::chrono::steady_clock::time_point> DeadlineIn(double seconds) {
  if (!(seconds > 0)) {
    return std::nullopt;
  }
  const std::chrono::duration<double> bounded(std::min(seconds, 1e6));
  return std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::milliseconds>(bounded);
}

void CloseSession(const Reader::ReadRequest& request, Diagnostics& diagnostics) noexcept {
  try {
    const DiagnosticsScope diagnosticsScope(diagnostics);
    const ConnectionOptionsScope optionsScope(request.options.connection);
    Reader::CloseRedfish(request);
  } catch (const std::exception& error) {
    KELVAR_LOG(1) << "The Redfish session could not be closed: " << error.what();
  }
}

}  // namespace

struct InventoryReader::State {
  KelvarConnection::ConnectionInfo info;
  InventoryReaderOptions options;
  Diagnostics diagnostics;
  bool loginRefused = false;
  std::atomic<bool> cancelled{false};
  Reader::KeptSession kept;

  ~State() {
    Text::WipeText(info.Password);
    Text::WipeText(kept.token);
  }
};

InventoryReader::InventoryReader(const KelvarConnection::ConnectionInfo& info, InventoryReaderOptions options)
    : state_(std::make_unique<State>()) {
  state_->info = info;
  state_->options = Bounded(std::move(options));
}

InventoryReader::~InventoryReader() {
  if (!state_->kept.token.empty()) {
    const auto now = std::chrono::steady_clock::now();
    CloseSession({state_->info, state_->options, {}, now, nullptr, &state_->kept}, state_->diagnostics);
  }
}

void InventoryReader::SetDeadline(double seconds) noexcept {
  state_->options.deadline_seconds = seconds;
}

void InventoryReader::Cancel() noexcept {
  state_->cancelled = true;
}

Inventory InventoryReader::Read(const std::vector<Family>& families) {
  Inventory inventory;
  try {
    const std::vector<Family> ordered = Ordered(families);
    inventory.protocol = ProtocolOf(state_->info.ConnectionCase);
    if (state_->loginRefused) {
      FailRest(inventory, ordered, FailureCause::LoginRefused, "the login was refused earlier");
      return inventory;
    }
    state_->diagnostics.Clear();
    const Reader::ReadRequest request{state_->info,
                                      state_->options,
                                      ordered,
                                      DeadlineIn(state_->options.deadline_seconds),
                                      &state_->cancelled,
                                      state_->options.keep_session ? &state_->kept : nullptr};
    Run(request, state_->diagnostics, inventory);
    state_->loginRefused = state_->diagnostics.Cause() == FailureCause::LoginRefused;
  } catch (const std::exception&) {  // no memory even for the results' texts
    FailWithoutTexts(inventory, families);
  }
  return inventory;
}

Inventory InventoryReader::Read() {
  std::vector<Family> all;
  try {
    all.assign(Model::kAllFamilies.begin(), Model::kAllFamilies.end());
  } catch (const std::bad_alloc&) {
    Inventory inventory;
    FailWithoutTexts(inventory, Model::kAllFamilies);
    return inventory;
  }
  return Read(all);
}

const Diagnostics& InventoryReader::LastDiagnostics() const noexcept {
  return state_->diagnostics;
}

}  // namespace Kelvar

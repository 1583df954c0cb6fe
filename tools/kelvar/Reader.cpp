#include "tools/kelvar/Reader.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <utility>

#include "tools/kelvar/Judgement.h"
#include "tools/kelvar/ServiceRoot.h"
#include "tools/kelvar/inventory/InventoryReading.h"
#include "tools/kelvar/inventory/LogSelection.h"

namespace Kelvar::Tool {

namespace {

constexpr long kServiceRootSeconds = 10;

std::unique_ptr<NodeFirmwareInventory> Connect(const Target& target, const std::optional<Target>& partner) {
  if (partner) {
    return std::make_unique<NodeFirmwareInventory>(partner->info, target.info);
  }
  return std::make_unique<NodeFirmwareInventory>(target.info);
}

void DropEmptyRecords(std::vector<Record>& records) {
  records.erase(std::remove_if(records.begin(), records.end(), [](const Record& record) { return !HoldsFact(record); }),
                records.end());
}

/// A resource (HTTP 403) or class (CIM status 2) that the account may not see is no refused account.
bool AccountRefused(const Diagnostics& met) {
  constexpr int kForbidden = 403;
  constexpr int kAccessDenied = 2;
  bool accepted = false;
  for (const DiagnosticExchange& one : met.Exchanges()) {
    const bool isCim = one.protocol == "cim";
    accepted = accepted || (isCim && one.cause == FailureCause::None && one.request != "connect");
    const bool isAlone = one.status == kForbidden || (isCim && accepted && one.status == kAccessDenied);
    if (one.cause == FailureCause::LoginRefused && !isAlone) {
      return true;
    }
  }
  return false;
}

/// A failure that every further request would meet again.
bool EndsReading(ExitCode code) {
  return code == ExitCode::Unreachable || code == ExitCode::LoginRefused || code == ExitCode::Tls;
}

/// What the tool wants beyond the library's usual behaviour.
ConnectionOptions ForReading(ConnectionOptions options) {
  options.stop_after_refused_login = true;
  options.keep_account_from_other_hosts = true;
  options.no_thresholds_of_other_sensors = true;
  return options;
}

class Reading {
 public:
  Reading(const Target& target, const ReadOptions& options)
      : target_(target), options_(options), start_(std::chrono::steady_clock::now()) {
    report_.target = target.address;
    report_.operations = true;
    report_.protocol = target.protocol;
    report_.start = std::chrono::system_clock::now();
  }

  Report Run(const std::vector<const Operation*>& operations, const std::optional<Target>& partner,
             const Progress& progress) {
    const ConnectionOptionsScope options(ForReading(target_.Complete(options_.reader.connection)));
    bool reached = false;
    try {
      if (const auto inventory = ConnectNow(partner)) {
        ReadAll(*inventory, operations, progress);
        reached = understood_;
      }
    } catch (const std::exception& error) {
      report_.error = error.what();
      report_.code = report_.results.empty() ? ExitCode::Internal : ExitCode::Partial;
    }
    report_.connection = reached || report_.Delivered() ? ExitCode::Complete : report_.code;
    report_.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    return std::move(report_);
  }

 private:
  /// Null, with the reason in the report, when there is no connection. Each operation would try again; over CIM for
  /// half a minute.
  std::unique_ptr<NodeFirmwareInventory> ConnectNow(const std::optional<Target>& partner) {
    Diagnostics met;
    met.SetWaitListener(options_.waiting);
    std::unique_ptr<NodeFirmwareInventory> inventory;
    {
      const DiagnosticsScope scope(met);
      inventory = Connect(target_, partner);
    }
    report_.connecting = met.Exchanges();
    Note(met.Tls());
    report_.loginRefused = AccountRefused(met);
    understood_ = met.ServiceUnderstood();
    if (met.Cause() == FailureCause::None && inventory->GetConnectStatus() == 0) {
      return inventory;
    }
    report_.code = met.Cause() == FailureCause::None ? ExitCode::Unreachable : ExitCodeOf(met.Cause());
    report_.error = "no connection to " + target_.address + ": " +
                    (met.Detail().empty() ? std::string(DescriptionOf(report_.code)) : met.Detail());
    return nullptr;
  }

  void ReadAll(NodeFirmwareInventory& inventory, const std::vector<const Operation*>& operations,
               const Progress& progress) {
    const OperationContext context{inventory, target_.info, options_.commonEventId};
    for (std::size_t i = 0; i < operations.size(); ++i) {
      if (options_.begin) {
        options_.begin(*operations[i], i + 1, operations.size());
      }
      if (stopped_ && options_.what.empty()) {
        report_.error = "nothing else was tried";
        return;
      }
      OperationResult result = stopped_ ? NotTried(*operations[i]) : Read(*operations[i], context);
      if (!report_.error.empty()) {
        return;
      }
      if (!options_.what.empty() || !LeftOut(result)) {
        report_.code = report_.results.empty() ? result.code : Combine(report_.code, result.code);
        report_.results.push_back(std::move(result));
        if (progress && !progress(report_.results.back())) {
          return;
        }
      }
    }
    if (report_.results.empty()) {
      report_.code = ExitCode::Unsupported;
      report_.error =
          target_.address + " has nothing that can be read over " + NameOf(target_.protocol) + " (see --explain)";
    }
  }

  void Note(const DiagnosticTls& tls) { report_.tls = *tls.version == '\0' ? report_.tls : tls; }

  OperationResult Read(const Operation& operation, const OperationContext& context) {
    Diagnostics met;
    met.SetWaitListener(options_.waiting);
    Outcome outcome;
    {
      const DiagnosticsScope scope(met);
      outcome = operation.For(target_.protocol)(context);
    }
    DropEmptyRecords(outcome.records);
    understood_ = understood_ || met.ServiceUnderstood();
    Judgement judgement = Judge(operation, outcome, met, understood_);
    if (outcome.records.empty() && !identified_ && !EndsReading(judgement.code)) {
      judgement = Identify(met).value_or(Judge(operation, outcome, met, understood_));
    }
    identified_ = identified_ || !outcome.records.empty();
    report_.loginRefused = report_.loginRefused || AccountRefused(met);
    Note(met.Tls());
    stopped_ = report_.loginRefused || (EndsReading(judgement.code) && !understood_);
    stoppedBy_ = judgement.code;
    return {&operation,     outcome.returned,          std::move(outcome.records),
            judgement.code, std::move(judgement.note), std::move(judgement.why),
            met.Exchanges()};
  }

  /// What is left to read after a failure that would only come again.
  OperationResult NotTried(const Operation& operation) const {
    const auto returned = report_.loginRefused ? NodeFirmwareInventory::INVENTORY_UNAUTHORIZED
                                               : NodeFirmwareInventory::INVENTORY_CONNECT_FAILED;
    const ExitCode code = report_.loginRefused ? ExitCode::LoginRefused : stoppedBy_;
    return {&operation, returned, {}, code, std::string("not tried: ") + DescriptionOf(code), "", {}};
  }

  /// Nothing has come of it yet: is it the expected service at all? Asked once, and only then. Where it is not, the
  /// report says so. What it came to, where that is known better now.
  std::optional<Judgement> Identify(const Diagnostics& met) {
    identified_ = true;
    if (target_.protocol == Protocol::Redfish) {
      return IdentifyRedfish();
    }
    if (met.Cause() == FailureCause::NotSuchService && !understood_) {
      IsNotSuchService(met.Detail());
    }
    return std::nullopt;
  }

  std::optional<Judgement> IdentifyRedfish() {
    constexpr long kOk = 200;
    const HttpAnswer root = AskHttp(ServiceRootUrl(target_.info.Host, target_.info.Port), kServiceRootSeconds);
    const std::string why = "GET /redfish/v1/: " + root.Text();
    if (root.status == 0) {
      return Judgement{ExitCode::Unreachable, std::string("failed: ") + DescriptionOf(ExitCode::Unreachable), why};
    }
    if (RedfishVersionIn(root)) {
      understood_ = true;
    } else if (SaysWhatItIs(root.status)) {
      IsNotSuchService(why + (root.status == kOk ? " without RedfishVersion" : ""));
    }
    return std::nullopt;
  }

  /// Other statuses come from a service that does not show itself now.
  static bool SaysWhatItIs(long status) {
    constexpr long kUnauthorized = 401;
    constexpr long kForbidden = 403;
    constexpr long kTooMany = 429;
    constexpr long kServerErrors = 500;
    return status != kUnauthorized && status != kForbidden && status != kTooMany && status < kServerErrors;
  }

  void IsNotSuchService(const std::string& why) {
    understood_ = false;
    report_.code = ExitCode::Unsupported;
    report_.error =
        target_.address + " is not a " + NameOf(target_.protocol) + " service" + (why.empty() ? "" : ": " + why);
  }

  /// When everything is asked for, what the target does not offer is not missing.
  static bool LeftOut(const OperationResult& result) {
    return result.code == ExitCode::Unsupported ||
           (result.operation->someMachinesOnly && result.code == ExitCode::BadData);
  }

  const Target& target_;
  const ReadOptions& options_;
  std::chrono::steady_clock::time_point start_;
  bool understood_ = false;  ///< the target has answered as the expected service
  bool identified_ = false;  ///< a fact was read, or the service was asked what it is
  bool stopped_ = false;
  ExitCode stoppedBy_ = ExitCode::Complete;  ///< code of the last operation that was tried
  Report report_;
};

void SelectEntries(const ReadOptions& options, std::vector<Model::LogEntry>& entries) {
  if (!options.severity.empty()) {
    KeepSevere(entries, options.severity, options.reader.log_limit);
    if (!options.reader.newest_first) {
      TurnAround(entries);
    }
  }
}

Report ReadModel(const Target& target, const ReadOptions& options) {
  const InventoryReaderOptions reader = ReaderOptionsFor(target, options);
  auto inventory =
      std::make_shared<InventoryReport>(ReadInventory(target, options.what, reader, options.waiting, options.kept));
  SelectEntries(options, inventory->inventory.log_entries);
  Report report;
  report.target = target.address;
  report.protocol = target.protocol;
  report.start = inventory->start;
  report.seconds = inventory->seconds;
  report.code = inventory->code;
  report.connection = inventory->diagnostics.ServiceUnderstood() ? ExitCode::Complete : inventory->code;
  report.loginRefused = AccountRefused(inventory->diagnostics);
  report.error = inventory->error;
  report.tls = inventory->tls;
  report.inventory = std::move(inventory);
  return report;
}

}  // namespace

InventoryReaderOptions ReaderOptionsFor(const Target& target, const ReadOptions& options) {
  InventoryReaderOptions reader = options.reader;
  reader.connection = ForReading(target.Complete(reader.connection));
  if (!options.severity.empty()) {  // a limit holds for the entries that are severe enough, so all are read
    reader.log_limit = 0;
    reader.newest_first = true;
  }
  if (target.thisRunOnly) {
    reader.sdr_cache_folder.clear();
  }
  return reader;
}

void CheckWords(const std::vector<std::string>& what, bool operations, Protocol protocol) {
  if (operations) {
    OperationsFor(what, protocol);
  } else {
    FamiliesOf(what);
  }
}

Report ReadTarget(const Target& target, const std::optional<Target>& partner, const ReadOptions& options,
                  const Progress& progress) {
  if (!options.operations) {
    return ReadModel(target, options);
  }
  const std::vector<const Operation*> operations = OperationsFor(options.what, target.protocol);
  return Reading(target, options).Run(operations, partner, progress);
}

}  // namespace Kelvar::Tool

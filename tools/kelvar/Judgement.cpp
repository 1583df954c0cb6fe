#include "tools/kelvar/Judgement.h"

#include <algorithm>

#include <fmt/format.h>

#include <kelvar/Names.h>

namespace Kelvar::Tool {

namespace {

using Inventory = NodeFirmwareInventory;

const DiagnosticExchange* FirstWith(const Diagnostics& met, FailureCause cause) {
  const auto& all = met.Exchanges();
  const auto found = std::find_if(all.begin(), all.end(), [cause](const auto& one) { return one.cause == cause; });
  return found == all.end() ? nullptr : &*found;
}

const DiagnosticGap* FirstGap(const Diagnostics& met, GapKind kind) {
  const auto& all = met.Gaps();
  const auto found = std::find_if(all.begin(), all.end(), [kind](const auto& one) { return one.kind == kind; });
  return found == all.end() ? nullptr : &*found;
}

std::string TextOf(const DiagnosticGap& gap) {
  return gap.detail.empty() ? gap.what : gap.what + ": " + gap.detail;
}

/// The most telling thing that was met.
std::string WhyOf(const Diagnostics& met, FailureCause cause) {
  if (const DiagnosticExchange* const exchange = FirstWith(met, cause);
      exchange != nullptr && cause != FailureCause::None) {
    return exchange->response.empty() ? exchange->request : exchange->request + ": " + exchange->response;
  }
  if (!met.Gaps().empty()) {
    const u64 others = met.GapCount() - 1;
    return TextOf(met.Gaps().front()) + (others > 0 ? fmt::format(" and {} more", others) : "");
  }
  return met.Detail();
}

bool IsMany(const Operation& operation) {
  return operation.kind == Operation::Kind::List || operation.kind == Operation::Kind::Log;
}

/// Everything was answered, and nothing was missing in what was answered: there is just nothing of this kind.
bool NothingWentWrong(const Diagnostics& met) {
  return met.Cause() == FailureCause::None && met.GapCount() == 0 && met.ExchangeCount() > 0;
}

/// That a target does not offer something is known only where it said so itself; a path that is not there may only be
/// not where the operation looks.
Judgement NotOffered(const Diagnostics& met) {
  const DiagnosticExchange* const exchange = FirstWith(met, FailureCause::NotOffered);
  const bool path = exchange != nullptr && exchange->protocol == "redfish";
  const char* const note = path ? "failed: nothing where it is looked for" : "failed: the target does not offer it";
  return {ExitCode::Unsupported, note, WhyOf(met, FailureCause::NotOffered)};
}

Judgement Failed(const Operation& operation, const Outcome& outcome, const Diagnostics& met, FailureCause cause) {
  if (cause == FailureCause::NotOffered) {
    return NotOffered(met);
  }
  if (cause != FailureCause::None) {
    return {ExitCodeOf(cause), std::string("failed: ") + DescriptionOf(cause), WhyOf(met, cause)};
  }
  const bool success = outcome.returned == Inventory::INVENTORY_SUCCESS;
  if (NothingWentWrong(met) && (success || IsMany(operation))) {
    return {ExitCode::Unsupported, "failed: the target has none", ""};
  }
  const ExitCode code = success ? ExitCode::BadData : ExitCodeOf(outcome.returned);
  return {code, std::string("failed: ") + DescriptionOf(code), WhyOf(met, cause)};
}

}  // namespace

FailureCause CauseOf(const Diagnostics& met, bool understood) {
  const FailureCause cause = met.Cause();
  if (cause != FailureCause::NotSuchService || !understood) {
    return cause;
  }
  return FirstWith(met, FailureCause::NotOffered) != nullptr ? FailureCause::NotOffered : FailureCause::BadData;
}

Judgement Judge(const Operation& operation, const Outcome& outcome, const Diagnostics& met, bool understood) {
  const bool success = outcome.returned == Inventory::INVENTORY_SUCCESS;
  const FailureCause cause = CauseOf(met, understood);
  if (!outcome.records.empty()) {
    const bool whole = success && (met.GapCount() == 0 || operation.kind == Operation::Kind::Whole);
    return whole ? Judgement{} : Judgement{ExitCode::Partial, "incomplete", WhyOf(met, cause)};
  }
  if (const DiagnosticGap* const links = FirstGap(met, GapKind::LinksOnly)) {
    return {ExitCode::Unsupported, "failed: the collection's members are links, which this operation does not follow",
            TextOf(*links)};
  }
  if (success && IsMany(operation) && NothingWentWrong(met)) {
    return {};
  }
  return Failed(operation, outcome, met, cause);
}

}  // namespace Kelvar::Tool

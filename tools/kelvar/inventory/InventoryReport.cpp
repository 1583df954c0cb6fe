#include "tools/kelvar/inventory/InventoryReport.h"

#include <algorithm>

namespace Kelvar::Tool {

ExitCode ExitCodeOf(const Model::FamilyResult& result, bool askedByName) {
  switch (result.status) {
    case Model::FamilyStatus::NotAsked:
    case Model::FamilyStatus::Complete:
      return ExitCode::Complete;
    case Model::FamilyStatus::Absent:
      return askedByName ? ExitCode::Unsupported : ExitCode::Complete;
    case Model::FamilyStatus::Partial:
      return ExitCode::Partial;
    case Model::FamilyStatus::Failed:
      return ExitCodeOf(result.cause);
  }
  return ExitCode::Internal;
}

bool InventoryReport::Delivered() const {
  return std::any_of(families.begin(), families.end(), [this](Model::Family family) {
    const Model::FamilyStatus status = inventory.ResultOf(family).status;
    return status == Model::FamilyStatus::Complete || status == Model::FamilyStatus::Partial;
  });
}

std::string ReasonOf(const InventoryReport& report) {
  if (!report.error.empty() || report.code == ExitCode::Complete) {
    return report.error;
  }
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    if (ExitCodeOf(result, !report.all_families) != ExitCode::Complete) {
      return std::string(Model::NameOf(family)) + ": " + ReasonOf(result);
    }
  }
  return DescriptionOf(report.code);
}

std::string ReasonOf(const Model::FamilyResult& result) {
  if (!result.reason.empty()) {
    return result.reason;
  }
  if (result.status == Model::FamilyStatus::Absent) {
    return "the target has none";
  }
  return result.cause == FailureCause::None ? Model::NameOf(result.status) : Kelvar::DescriptionOf(result.cause);
}

FailureCause CauseOf(ExitCode code) {
  switch (code) {
    case ExitCode::Unreachable:
      return FailureCause::Unreachable;
    case ExitCode::LoginRefused:
      return FailureCause::LoginRefused;
    case ExitCode::Tls:
      return FailureCause::Tls;
    case ExitCode::BadData:
      return FailureCause::BadData;
    case ExitCode::Unsupported:
      return FailureCause::NotOffered;
    default:
      return FailureCause::None;
  }
}

InventoryReport Excerpt(const InventoryReport& report) {
  InventoryReport excerpt;
  excerpt.target = report.target;
  excerpt.protocol = report.protocol;
  excerpt.start = report.start;
  excerpt.seconds = report.seconds;
  excerpt.code = report.code;
  excerpt.cause = report.cause;
  excerpt.error = report.error;
  excerpt.families = report.families;
  excerpt.all_families = report.all_families;
  excerpt.inventory = report.inventory;
  excerpt.verdict = report.verdict;
  excerpt.tls = report.tls;
  return excerpt;
}

void Conclude(InventoryReport& report) {
  report.code = ExitCode::Complete;
  bool first = true;
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    if (report.all_families && result.status == Model::FamilyStatus::Absent) {
      continue;
    }
    const ExitCode code = ExitCodeOf(result, !report.all_families);
    report.code = first ? code : Combine(report.code, code);
    first = false;
  }
  // A target without any of the families was not read, whatever each of them says.
  if (!report.Delivered() && report.code == ExitCode::Complete) {
    report.code = ExitCode::Unsupported;
  }
  report.verdict = Model::Judge(report.inventory);
}

}  // namespace Kelvar::Tool

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

void Conclude(InventoryReport& report) {
  bool first = true;
  bool any = false;
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    any = any || result.status == Model::FamilyStatus::Complete || result.status == Model::FamilyStatus::Partial;
    if (report.all_families && result.status == Model::FamilyStatus::Absent) {
      continue;
    }
    const ExitCode code = ExitCodeOf(result, !report.all_families);
    report.code = first ? code : Combine(report.code, code);
    first = false;
  }
  // A target without any of the families was not read, whatever each of them says.
  if (!any && report.code == ExitCode::Complete) {
    report.code = ExitCode::Unsupported;
  }
  report.verdict = Model::Judge(report.inventory);
}

}  // namespace Kelvar::Tool

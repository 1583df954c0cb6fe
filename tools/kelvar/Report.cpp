#include "tools/kelvar/Report.h"

#include <algorithm>

namespace Kelvar::Tool {

bool Report::Delivered() const {
  return std::any_of(results.begin(), results.end(), [](const OperationResult& result) { return result.Delivered(); });
}

bool ThresholdsAreScaled(const Record& sensor, Protocol protocol) {
  const Value* const caption = FieldOf(sensor, "Caption");
  return protocol == Protocol::Redfish && (caption == nullptr || IsEmpty(*caption));
}

std::string ReasonOf(const OperationResult& result) {
  return result.why.empty() ? result.note : result.note + " (" + result.why + ")";
}

std::string ReasonOf(const Report& report) {
  if (!report.error.empty() || report.code == ExitCode::Complete) {
    return report.error;
  }
  for (const OperationResult& result : report.results) {
    if (result.code != ExitCode::Complete) {
      return std::string(result.operation->name) + ": " + ReasonOf(result);
    }
  }
  return DescriptionOf(report.code);
}

}  // namespace Kelvar::Tool

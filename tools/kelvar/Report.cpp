#include "tools/kelvar/Report.h"

#include <algorithm>

namespace Kelvar::Tool {

bool Report::Delivered() const {
  if (inventory) {
    return inventory->Delivered();
  }
  return std::any_of(results.begin(), results.end(), [](const OperationResult& result) { return result.Delivered(); });
}

std::shared_ptr<const InventoryReport> InventoryOf(const Report& report) {
  if (report.inventory) {
    return report.inventory;
  }
  auto bare = std::make_shared<InventoryReport>();
  bare->target = report.target;
  bare->protocol = report.code == ExitCode::Usage ? "" : WordOf(report.protocol);
  bare->start = report.start;
  bare->seconds = report.seconds;
  bare->code = report.code;
  bare->cause = CauseOf(report.code);
  bare->error = report.error;
  return bare;
}

bool ThresholdsAreScaled(const Record& sensor, Protocol protocol) {
  const Value* const caption = FieldOf(sensor, "Caption");
  return protocol == Protocol::Redfish && (caption == nullptr || IsEmpty(*caption));
}

std::string TextOf(const DiagnosticTls& tls) {
  const std::string version = tls.version;
  if (version.empty()) {
    return "";
  }
  switch (tls.verification) {
    case TlsVerification::Authority:
      return version + ", certificate verified (--cacert)";
    case TlsVerification::Pin:
      return version + ", certificate verified (--pin)";
    case TlsVerification::PinAndAuthority:
      return version + ", certificate verified (--cacert and --pin)";
    case TlsVerification::None:
      break;
  }
  return version + ", certificate not verified (see --cacert and --pin)";
}

std::string ReasonOf(const OperationResult& result) {
  return result.why.empty() ? result.note : result.note + " (" + result.why + ")";
}

std::string ReasonOf(const Report& report) {
  if (!report.error.empty() || report.code == ExitCode::Complete) {
    return report.error;
  }
  if (report.inventory) {
    return ReasonOf(*report.inventory);
  }
  for (const OperationResult& result : report.results) {
    if (result.code != ExitCode::Complete) {
      return std::string(result.operation->name) + ": " + ReasonOf(result);
    }
  }
  return DescriptionOf(report.code);
}

}  // namespace Kelvar::Tool

#include "tools/kelvar/metrics/OpenMetrics.h"

#include <fmt/format.h>

#include "tools/kelvar/metrics/InventoryMetrics.h"

namespace Kelvar::Tool {

namespace {

std::string WithoutUser(std::string address) {
  const std::size_t scheme = address.find("://");
  const std::size_t at = address.find('@');
  if (scheme != std::string::npos && at != std::string::npos && at > scheme) {
    address.erase(scheme + 3, at - scheme - 2);
  }
  return address;
}

}  // namespace

void OpenMetricsDocument::Add(const InventoryReport& report) {
  const std::string address = CleanLabel(WithoutUser(report.target));
  const std::lock_guard lock(mutex_);
  std::string target = address;
  for (unsigned copy = 2; !targets_.insert(target).second; ++copy) {
    target = fmt::format("{} #{}", address, copy);
  }
  const bool finished = report.cause != FailureCause::Deadline;
  AddMetrics(exposition_, {{"target", target}}, report, {.finished = finished, .ageSeconds = std::nullopt});
}

std::string OpenMetricsDocument::Text() const {
  const std::lock_guard lock(mutex_);
  return exposition_.OpenMetricsText();
}

}  // namespace Kelvar::Tool

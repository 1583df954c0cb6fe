#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Kelvar::Tool {

using Labels = std::vector<std::pair<const char*, std::string>>;

/// A metric: its name, its type and what it tells.
struct Metric {
  const char* name;
  const char* type;  ///< "gauge" or "counter"
  const char* help;
};

/// Collects samples and writes them in Prometheus' text format, version 0.0.4. Samples of one metric come together,
/// metrics in the order of their first sample. That no series comes twice is the caller's care.
class Exposition {
 public:
  /// `metric` must outlive the object. Label values are UTF-8 without line feeds: see CleanLabel.
  void Add(const Metric& metric, const Labels& labels, double value);
  void Add(const Metric& metric, double value) { Add(metric, {}, value); }

  std::string Text() const;
  /// The same in the format of OpenMetrics 1.0, with its end.
  std::string OpenMetricsText() const;

 private:
  struct Family {
    const Metric* metric;
    std::string lines;
  };

  std::deque<Family> families_;
};

constexpr std::size_t kLabelBytes = 128;  ///< of a label value at most

/// A text from a target as a label value: valid UTF-8 without control characters, cut to at most `limit` bytes.
std::string CleanLabel(std::string_view text, std::size_t limit = kLabelBytes);

}  // namespace Kelvar::Tool

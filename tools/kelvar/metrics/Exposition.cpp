#include "tools/kelvar/metrics/Exposition.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "common/text/Escape.h"

namespace Kelvar::Tool {

namespace {

std::string Escaped(const std::string& value) {
  std::string escaped;
  for (const char character : value) {
    if (character == '\\' || character == '"') {
      escaped += '\\';
    }
    escaped += character;
  }
  return escaped;
}

std::string TextOf(double value) {
  if (std::isnan(value)) {
    return "NaN";
  }
  if (std::isinf(value)) {
    return value > 0 ? "+Inf" : "-Inf";
  }
  return fmt::format("{}", value);
}

}  // namespace

void Exposition::Add(const Metric& metric, const Labels& labels, double value) {
  auto family = std::find_if(families_.begin(), families_.end(),
                             [&metric](const Family& known) { return known.metric == &metric; });
  if (family == families_.end()) {
    family = families_.insert(family, {&metric, ""});
  }
  std::string text;
  for (const auto& [name, content] : labels) {
    text += fmt::format("{}{}=\"{}\"", text.empty() ? "" : ",", name, Escaped(content));
  }
  family->lines += metric.name + (text.empty() ? std::string() : "{" + text + "}") + " " + TextOf(value) + "\n";
}

std::string Exposition::Text() const {
  std::string text;
  for (const Family& family : families_) {
    text +=
        fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", family.metric->name, family.metric->help, family.metric->type);
    text += family.lines;
  }
  return text;
}

/// A counter's family has its name without the suffix of the sample.
std::string Exposition::OpenMetricsText() const {
  constexpr std::string_view kTotal = "_total";
  std::string text;
  for (const Family& family : families_) {
    std::string_view name = family.metric->name;
    if (family.metric->type == std::string_view("counter") && name.size() > kTotal.size() &&
        name.substr(name.size() - kTotal.size()) == kTotal) {
      name.remove_suffix(kTotal.size());
    }
    text += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", name, family.metric->help, family.metric->type);
    text += family.lines;
  }
  return text + "# EOF\n";
}

std::string CleanLabel(std::string_view text, std::size_t limit) {
  constexpr std::size_t kCutAt = 1024;  // no need to escape megabytes first
  std::string clean = Text::EscapeControl(text.substr(0, kCutAt));
  if (clean.size() > limit) {
    std::size_t end = limit;
    while (end > 0 && (static_cast<unsigned char>(clean[end]) & 0xC0U) == 0x80U) {
      --end;
    }
    clean.resize(end);
  }
  return clean;
}

}  // namespace Kelvar::Tool

// Stored runs: lines that are reports or are left out, and what is told of two of them. Nothing differs from itself,
// what is added one way is removed the other way, and each difference is one line for people and one JSON object.

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "fuzz/Check.h"
#include "tools/kelvar/fleet/Comparison.h"

using namespace Kelvar::Tool;

namespace {

std::size_t Count(const std::vector<Difference>& differences, Difference::Kind kind) {
  return static_cast<std::size_t>(std::count_if(differences.begin(), differences.end(),
                                                [kind](const Difference& one) { return one.kind == kind; }));
}

std::vector<Difference> Compare(const StoredReport& before, const StoredReport& now) {
  return Comparison({{now.target, before}}).Compare(now);
}

void CheckTexts(const std::vector<Difference>& differences) {
  const std::string lines = TextOf(differences, false, "");
  FUZZ_CHECK(static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n')) == differences.size());
  FUZZ_CHECK(std::none_of(lines.begin(), lines.end(), [](char letter) {
    return letter != '\n' && (static_cast<unsigned char>(letter) < ' ' || letter == 0x7F);
  }));
  rapidjson::Document document;
  const std::string json = "[" + TextOf(differences, true, ",") + "]";
  document.Parse<rapidjson::kParseIterativeFlag>(json.c_str());
  FUZZ_CHECK(!document.HasParseError() && document.Size() == differences.size());
}

void CheckPair(const StoredReport& before, const StoredReport& now) {
  const std::vector<Difference> forth = Compare(before, now);
  const std::vector<Difference> back = Compare(now, before);
  FUZZ_CHECK(Count(forth, Difference::Kind::Changed) == Count(back, Difference::Kind::Changed));
  FUZZ_CHECK(Count(forth, Difference::Kind::Added) == Count(back, Difference::Kind::Removed));
  FUZZ_CHECK(Count(forth, Difference::Kind::Removed) == Count(back, Difference::Kind::Added));
  for (const Difference& difference : forth) {
    FUZZ_CHECK(difference.target == now.target);
  }
  CheckTexts(forth);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  std::vector<StoredReport> reports;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    if (auto report = ParseStoredReport(text.substr(start, end - start))) {
      FUZZ_CHECK(!report->target.empty() && !report->status.empty());
      reports.push_back(std::move(*report));
    }
    start = end + 1;
  }
  for (std::size_t position = 0; position < reports.size(); ++position) {
    for (const Difference& difference : Compare(reports[position], reports[position])) {
      FUZZ_CHECK(!difference.IsDifference());
    }
    if (position > 0) {
      reports[position].target = reports[position - 1].target;
      CheckPair(reports[position - 1], reports[position]);
    }
  }
  return 0;
}

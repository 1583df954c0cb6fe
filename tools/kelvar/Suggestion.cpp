#include "tools/kelvar/Suggestion.h"

#include <algorithm>
#include <numeric>

namespace Kelvar::Tool {

namespace {

/// Letters to insert, remove or replace to get from one word to the other.
std::size_t Distance(std::string_view one, std::string_view other) {
  std::vector<std::size_t> row(other.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < one.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < other.size(); ++j) {
      const std::size_t replaced = diagonal + (one[i] == other[j] ? 0U : 1U);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string Suggestion(std::string_view word, const std::vector<std::string>& known) {
  constexpr std::size_t kLongestWord = 40;
  const std::size_t most = word.size() < 4 ? 1 : 2;
  if (word.empty() || word.size() > kLongestWord || known.empty()) {
    return "";
  }
  const auto nearest = std::min_element(known.begin(), known.end(), [word](const auto& one, const auto& other) {
    return Distance(word, one) < Distance(word, other);
  });
  return Distance(word, *nearest) <= most ? "; did you mean " + *nearest + "?" : "";
}

}  // namespace Kelvar::Tool

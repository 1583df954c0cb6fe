#include "module/reader/redfish/Collected.h"

#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

std::string_view DigitsAt(std::string_view text, std::size_t start) {
  std::size_t end = start;
  while (end < text.size() && text[end] >= '0' && text[end] <= '9') {
    ++end;
  }
  return text.substr(start, end - start);
}

std::string_view WithoutZeros(std::string_view digits) {
  const auto first = digits.find_first_not_of('0');
  return first == std::string_view::npos ? std::string_view() : digits.substr(first);
}

}  // namespace

bool NaturalLess(std::string_view left, std::string_view right) {
  std::size_t i = 0;
  std::size_t j = 0;
  while (i < left.size() && j < right.size()) {
    const std::string_view leftDigits = DigitsAt(left, i);
    const std::string_view rightDigits = DigitsAt(right, j);
    if (!leftDigits.empty() && !rightDigits.empty()) {
      const std::string_view leftNumber = WithoutZeros(leftDigits);
      const std::string_view rightNumber = WithoutZeros(rightDigits);
      if (leftNumber.size() != rightNumber.size()) {
        return leftNumber.size() < rightNumber.size();
      }
      if (leftNumber != rightNumber) {
        return leftNumber < rightNumber;
      }
      i += leftDigits.size();
      j += rightDigits.size();
    } else if (left[i] != right[j]) {
      return static_cast<unsigned char>(left[i]) < static_cast<unsigned char>(right[j]);
    } else {
      ++i;
      ++j;
    }
  }
  return left.size() - i < right.size() - j || (left.size() - i == right.size() - j && left < right);
}

std::string LinkedId(JsonValue object, std::string_view path) {
  const auto link = ParseLink(LinkAt(object, path), {});
  return link ? IdOf(link->path) + (link->fragment.empty() ? "" : "#" + link->fragment) : std::string();
}

std::string Collected::PlaceAbove(std::string_view id) const {
  for (std::string_view above = Above(id); !above.empty(); above = Above(above)) {
    const auto found = places.find(Lower(above));
    if (found != places.end()) {
      return found->second;
    }
  }
  return {};
}

std::string Collected::SpellingOf(const std::string& id) const {
  const auto found = places.find(Lower(id));
  return found == places.end() ? id : found->second;
}

}  // namespace Kelvar::Reader

#include "tools/kelvar/inventory/Flatten.h"

#include <fmt/format.h>

namespace Kelvar::Tool {

namespace {

template <typename Number>
std::string NumberText(const std::optional<Number>& number) {
  return number ? fmt::format("{}", *number) : std::string();
}

void Append(std::string& all, const std::string& text) {
  all += (all.empty() ? "" : "; ") + text;
}

}  // namespace

std::string FlatText(const std::string& text) {
  return text;
}

std::string FlatText(const std::optional<double>& number) {
  return NumberText(number);
}

std::string FlatText(const std::optional<u64>& number) {
  return NumberText(number);
}

std::string FlatText(const std::optional<u32>& number) {
  return NumberText(number);
}

std::string FlatText(const std::optional<bool>& flag) {
  return flag ? (*flag ? "true" : "false") : "";
}

std::string FlatText(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    Append(all, text);
  }
  return all;
}

std::string FlatText(const std::vector<Model::NetworkAddress>& addresses) {
  std::string all;
  for (const Model::NetworkAddress& address : addresses) {
    Append(all, address.address + (address.prefix_length ? fmt::format("/{}", *address.prefix_length) : ""));
  }
  return all;
}

}  // namespace Kelvar::Tool

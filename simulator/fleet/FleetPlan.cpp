#include "simulator/fleet/FleetPlan.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <stdexcept>
#include <string_view>

namespace Kelvar::Simulator {

namespace {

struct Word {
  std::string_view spec;
  std::string_view fault;
};

constexpr std::array kWords{Word{"silent", "@accept end=hang"}, Word{"garbage", "@accept garbage=512"},
                            Word{"slow", "* delay=3000"}};

bool IsStatus(std::string_view spec) {
  constexpr std::size_t kDigits = 3;
  return spec.size() == kDigits && spec.find_first_not_of("0123456789") == std::string_view::npos && spec[0] >= '1';
}

bool IsKnown(std::string_view spec) {
  const bool isWord =
      spec == kDead || std::any_of(kWords.begin(), kWords.end(), [&](const Word& word) { return word.spec == spec; });
  return isWord || IsStatus(spec) || spec.starts_with("redfish:") || spec.starts_with("cim:") ||
         spec.starts_with("ipmi:");
}

struct Share {
  double part = 0;
  std::string spec;
};

Share ParseShare(const std::string& text) {
  Share share;
  const std::size_t colon = std::min(text.find(':'), text.size());
  const auto [end, error] = std::from_chars(text.data(), text.data() + colon, share.part);
  const bool isNumber = error == std::errc() && end == text.data() + colon && share.part >= 0 && share.part <= 1;
  if (colon < text.size()) {
    share.spec = text.substr(colon + 1);
  }
  if (!isNumber || !IsKnown(share.spec)) {
    throw std::runtime_error("fleet fault \"" + text + "\": expected SHARE:SPEC, such as 0.1:dead");
  }
  return share;
}

/// Machines in the order in which faults take them: steps of the golden ratio leave no part of the fleet out.
std::vector<std::size_t> SpreadOut(std::size_t machines) {
  constexpr std::uint32_t kStep = 0x9E3779B9;
  std::vector<std::size_t> order(machines);
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::sort(order.begin(), order.end(), [](std::size_t one, std::size_t other) {
    return static_cast<std::uint32_t>(one) * kStep < static_cast<std::uint32_t>(other) * kStep;
  });
  return order;
}

}  // namespace

std::vector<std::string> AssignFaults(std::size_t machines, const std::vector<std::string>& faults) {
  std::vector<std::string> assigned(machines);
  const std::vector<std::size_t> order = SpreadOut(machines);
  std::size_t next = 0;
  for (const std::string& text : faults) {
    const Share share = ParseShare(text);
    const auto count = static_cast<std::size_t>(std::lround(share.part * static_cast<double>(machines)));
    if (count > machines - next) {
      throw std::runtime_error("the shares of the fleet's faults are more than 1");
    }
    for (const std::size_t end = next + count; next < end; ++next) {
      assigned[order[next]] = share.spec;
    }
  }
  return assigned;
}

std::vector<std::string> FaultsOfSpec(const std::string& spec, const std::string& protocol) {
  const std::string prefix = protocol + ':';
  if (spec.starts_with(prefix)) {
    return {spec.substr(prefix.size())};
  }
  if (protocol == "ipmi") {
    return {};
  }
  for (const Word& word : kWords) {
    if (word.spec == spec) {
      return {std::string(word.fault)};
    }
  }
  if (IsStatus(spec)) {
    const std::string login = spec == "401" ? R"( header="WWW-Authenticate: Basic realm=\"fleet\"")" : "";
    return {"* status=" + spec + login};
  }
  return {};
}

}  // namespace Kelvar::Simulator

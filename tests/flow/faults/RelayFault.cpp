#include "flow/faults/RelayFault.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <stdexcept>

namespace Kelvar::Test {
namespace {

std::size_t PlaceIn(const std::vector<u8>& datagram, long offset) {
  const long place = offset < 0 ? static_cast<long>(datagram.size()) + offset : offset;
  return static_cast<std::size_t>(std::max(place, 0L));
}

}  // namespace

std::optional<RelayFault> RelayFault::Parse(const std::string& text) {
  std::istringstream words(text);
  std::string direction;
  std::string range;
  words >> direction >> range;
  if (direction != "request" && direction != "reply") {
    return std::nullopt;
  }
  RelayFault fault;
  fault.towards_ = direction == "request" ? Towards::Server : Towards::Client;
  std::size_t end = 0;
  fault.first_ = fault.last_ = std::stoul(range, &end);
  if (end < range.size()) {
    fault.last_ = end + 1 < range.size() ? std::stoul(range.substr(end + 1)) : std::numeric_limits<std::size_t>::max();
  }
  for (std::string option; words >> option;) {
    const std::size_t equals = std::min(option.find('='), option.size());
    fault.SetOption(option.substr(0, equals), option.substr(std::min(equals + 1, option.size())));
  }
  return fault;
}

void RelayFault::SetOption(const std::string& name, const std::string& value) {
  if (name == "copies") {
    fate_.copies = std::stoi(value);
  } else if (name == "delay") {
    fate_.delay = std::chrono::milliseconds(std::stol(value));
  } else if (name == "cut") {
    cut_ = std::stol(value);
  } else if (name == "append") {
    append_ = std::stoul(value);
  } else if (name == "set") {
    set_.emplace_back(std::stol(value), static_cast<u8>(std::stoul(value.substr(value.find(':') + 1), nullptr, 16)));
  } else if (name == "replay") {
    replays_ = true;
  } else if (name == "restart") {
    restarts_ = true;
    fate_.copies = 0;
  } else {
    throw std::invalid_argument("unknown word " + name);
  }
}

bool RelayFault::Strikes(Towards towards, std::size_t number) const {
  return towards == towards_ && number >= first_ && number <= last_;
}

Fate RelayFault::Spoil(std::vector<u8>& datagram, const std::vector<u8>& before) const {
  if (replays_) {
    datagram = before;
  }
  for (const auto& [offset, byte] : set_) {
    if (PlaceIn(datagram, offset) < datagram.size()) {
      datagram[PlaceIn(datagram, offset)] = byte;
    }
  }
  if (cut_) {
    datagram.resize(std::min(datagram.size(), PlaceIn(datagram, *cut_)));
  }
  datagram.insert(datagram.end(), append_, 0x5A);
  return fate_;
}

}  // namespace Kelvar::Test

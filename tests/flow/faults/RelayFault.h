#pragma once

#include <optional>
#include <string>

#include "support/UdpRelay.h"

namespace Kelvar::Test {

/// What happens to IPMI datagrams on their way, read from a text
///
///   request|reply NUMBER[-[LAST]] [copies=N] [delay=MS] [cut=SIZE] [append=COUNT] [set=OFFSET:VALUE] [replay]
///   [restart]
///
/// Numbers count each direction from 0: the authentication capabilities, three of the key exchange, the privilege; 5 is
/// the first command. A negative offset or size counts from the end. "set", which may come several times, changes one
/// byte; "replay" puts the datagram before in this one's place; "restart" loses this one and starts the server again,
/// without its sessions.
class RelayFault {
 public:
  /// Nothing when the text begins with another word. Throws std::invalid_argument or std::out_of_range when the rest
  /// is wrong.
  static std::optional<RelayFault> Parse(const std::string& text);

  bool Strikes(Towards towards, std::size_t number) const;
  /// Changes the datagram; `before` is the one before, as it came.
  Fate Spoil(std::vector<u8>& datagram, const std::vector<u8>& before) const;
  bool Restarts() const { return restarts_; }

 private:
  void SetOption(const std::string& name, const std::string& value);

  Towards towards_ = Towards::Server;
  std::size_t first_ = 0;
  std::size_t last_ = 0;
  Fate fate_;
  std::optional<long> cut_;
  std::size_t append_ = 0;
  std::vector<std::pair<long, u8>> set_;
  bool replays_ = false;
  bool restarts_ = false;
};

}  // namespace Kelvar::Test

#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar::Test {

enum class Towards { Server, Client };

/// What becomes of one datagram.
struct Fate {
  int copies = 1;  ///< 0: lost
  std::chrono::milliseconds delay{0};
};

/// Asked on the relay's thread for each datagram, which it may change. `number` counts each direction from 0.
using RelayRule = std::function<Fate(Towards towards, std::size_t number, std::vector<u8>& datagram)>;

/// The same fates for the same seed: percentages of lost, doubled and delayed datagrams of both directions.
struct Weather {
  unsigned seed = 1;
  unsigned lostPercent = 0;
  unsigned doubledPercent = 0;
  unsigned delayedPercent = 0;
  std::chrono::milliseconds delay{0};
  std::chrono::milliseconds service{0};  ///< the server takes this long for each datagram, one after the other
};
RelayRule MakeWeather(const Weather& weather);

/// Is between a client and a server on 127.0.0.1, and spoils what passes.
class UdpRelay {
 public:
  UdpRelay(u16 serverPort, RelayRule rule);
  ~UdpRelay();
  UdpRelay(const UdpRelay&) = delete;
  UdpRelay& operator=(const UdpRelay&) = delete;

  std::string PortText() const { return std::to_string(port_); }
  u16 Port() const { return port_; }
  /// Datagrams that came from the client so far, lost ones included.
  std::size_t FromClient() const { return counts_[0]; }

 private:
  void Run();

  RelayRule rule_;
  int clientSide_ = -1;
  int serverSide_ = -1;
  u16 port_ = 0;
  std::atomic<std::size_t> counts_[2]{};
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

}  // namespace Kelvar::Test

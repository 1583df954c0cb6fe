#include "support/UdpRelay.h"

#include <algorithm>
#include <memory>
#include <queue>
#include <random>
#include <stdexcept>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Kelvar::Test {
namespace {

using Clock = std::chrono::steady_clock;

struct Delayed {
  Clock::time_point due;
  std::size_t order;
  Towards towards;
  std::vector<u8> datagram;
  bool operator<(const Delayed& other) const {
    return due != other.due ? due > other.due : order > other.order;  // the earliest is the top of the queue
  }
};

sockaddr_in Loopback(u16 port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int OpenSocket() {
  return socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

}  // namespace

RelayRule MakeWeather(const Weather& weather) {
  const auto random = std::make_shared<std::mt19937>(weather.seed);
  const auto busyUntil = std::make_shared<Clock::time_point>();
  return [weather, random, busyUntil](Towards towards, std::size_t, std::vector<u8>&) {
    const auto chance = [&](unsigned percent) { return (*random)() % 100 < percent; };
    Fate fate;
    fate.copies = chance(weather.lostPercent) ? 0 : 1;
    fate.copies *= chance(weather.doubledPercent) ? 2 : 1;
    fate.delay = chance(weather.delayedPercent) ? weather.delay : fate.delay;
    if (towards == Towards::Server && weather.service.count() > 0) {
      const auto now = Clock::now();
      *busyUntil = std::max(*busyUntil, now) + weather.service;
      fate.delay = std::chrono::duration_cast<std::chrono::milliseconds>(*busyUntil - now);
    }
    return fate;
  };
}

UdpRelay::UdpRelay(u16 serverPort, RelayRule rule)
    : rule_(std::move(rule)), clientSide_(OpenSocket()), serverSide_(OpenSocket()) {
  const sockaddr_in server = Loopback(serverPort);
  sockaddr_in own = Loopback(0);
  socklen_t size = sizeof own;
  if (bind(clientSide_, reinterpret_cast<sockaddr*>(&own), size) != 0 ||
      getsockname(clientSide_, reinterpret_cast<sockaddr*>(&own), &size) != 0 ||
      connect(serverSide_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
    throw std::runtime_error("relay: no sockets");
  }
  port_ = ntohs(own.sin_port);
  thread_ = std::thread([this] { Run(); });
}

UdpRelay::~UdpRelay() {
  stop_ = true;
  shutdown(clientSide_, SHUT_RDWR);  // wakes the thread's poll
  thread_.join();
  close(clientSide_);
  close(serverSide_);
}

void UdpRelay::Run() {
  sockaddr_in client{};
  std::priority_queue<Delayed> waiting;
  std::size_t order = 0;
  std::vector<u8> buffer(65536);
  const auto take = [&](Towards towards) {
    const bool fromClient = towards == Towards::Server;
    socklen_t size = sizeof client;
    const ssize_t length =
        fromClient ? recvfrom(clientSide_, buffer.data(), buffer.size(), 0, reinterpret_cast<sockaddr*>(&client), &size)
                   : recv(serverSide_, buffer.data(), buffer.size(), 0);
    if (length <= 0) {
      return;
    }
    std::vector<u8> datagram(buffer.begin(), buffer.begin() + length);
    const Fate fate = rule_(towards, counts_[fromClient ? 0 : 1]++, datagram);
    for (int copy = 0; copy < fate.copies; ++copy) {
      waiting.push({Clock::now() + fate.delay, order++, towards, datagram});
    }
  };
  while (!stop_) {
    for (; !waiting.empty() && waiting.top().due <= Clock::now(); waiting.pop()) {
      const Delayed& next = waiting.top();
      const bool toServer = next.towards == Towards::Server;
      sendto(toServer ? serverSide_ : clientSide_, next.datagram.data(), next.datagram.size(), MSG_NOSIGNAL,
             toServer ? nullptr : reinterpret_cast<const sockaddr*>(&client), toServer ? 0 : sizeof client);
    }
    const auto left = waiting.empty() ? std::chrono::milliseconds(200)
                                      : std::chrono::ceil<std::chrono::milliseconds>(waiting.top().due - Clock::now());
    pollfd sides[] = {{clientSide_, POLLIN, 0}, {serverSide_, POLLIN, 0}};
    if (poll(sides, 2, static_cast<int>(std::max<long>(left.count(), 0))) > 0) {
      if (sides[0].revents != 0) {
        take(Towards::Server);
      }
      if (sides[1].revents != 0) {
        take(Towards::Client);
      }
    }
  }
}

}  // namespace Kelvar::Test

#include <atomic>
#include <random>
#include <thread>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "flow/ipmi_transport/TransportCommands.h"
#include "support/IpmiSim.h"
#include "support/UdpRelay.h"

namespace Kelvar::Test {
namespace {

using std::chrono::milliseconds;

/// Changes a byte, cuts, or lengthens.
void Spoil(std::vector<u8>& datagram, std::mt19937& random) {
  switch (random() % 3) {
    case 0:
      datagram[random() % datagram.size()] ^= static_cast<u8>(1 + random() % 255);
      break;
    case 1:
      datagram.resize(random() % datagram.size());
      break;
    default:
      datagram.insert(datagram.end(), 1 + random() % 40, 0x5A);
      break;
  }
}

TEST(IpmiHostile, SpoiledHandshakesEndInTime) {
  IpmiSim server;
  for (unsigned seed = 1; seed <= 40; ++seed) {
    std::mt19937 random(seed);
    UdpRelay relay(server.Port(), [&](Towards towards, std::size_t, std::vector<u8>& datagram) {
      if (towards == Towards::Client && random() % 3 == 0) {
        Spoil(datagram, random);
      }
      return Fate{};
    });
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), seed % 2 == 0 ? 3 : 0);
    client.SetTimings({2, 2, 3, 40, 30000});
    const auto start = std::chrono::steady_clock::now();
    if (client.connect() == IPMICONNECTED) {
      std::vector<u8> response;
      u8 completionCode = 0;
      if (client.send(kGetDeviceId, response, completionCode) == 0) {
        EXPECT_EQ(completionCode, 0) << seed;
        EXPECT_EQ(response.size(), 15U) << seed;
      }
    }
    client.disconnect();
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(8000)) << seed;
  }
}

TEST(IpmiHostile, ChangedRepliesAreDroppedUntilAGoodOneComes) {
  IpmiSim server;
  std::mt19937 random(11);
  std::atomic<bool> open{false};
  const RelayRule spoil = [&](Towards towards, std::size_t number, std::vector<u8>& datagram) {
    if (towards == Towards::Client && open && number % 3 != 0) {
      Spoil(datagram, random);
    }
    return Fate{};
  };
  UdpRelay relay(server.Port(), spoil);
  IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
  client.SetTimings({4, 4, 1000, 5000, 30000});
  ASSERT_EQ(client.connect(), IPMICONNECTED);
  open = true;
  for (int round = 0; round < 30; ++round) {
    ExpectDeviceId(client);
  }
}

TEST(IpmiHostile, RefusalsOfStrangersAreNotBelieved) {
  const struct {
    const char* what;
    std::size_t place;  ///< in the payload of RAKP message 2
  } cases[] = {{"message tag", 0}, {"session", 4}};
  IpmiSim server;
  for (const auto& test : cases) {
    int forged = 0;
    UdpRelay relay(server.Port(), [&](Towards towards, std::size_t, std::vector<u8>& datagram) {
      if (towards == Towards::Client && datagram[5] == 0x13 && forged++ == 0) {
        datagram[kPlusPayload + test.place] ^= 0x01;
        datagram[kPlusPayload + 1] = 0x0D;
      }
      return Fate{};
    });
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", relay.PortText(), 3);
    client.SetTimings(kShort);
    EXPECT_EQ(client.connect(), IPMICONNECTED) << test.what;
  }
}

/// Answers the first datagram with a flood of others that never ends.
class Flood {
 public:
  explicit Flood(std::vector<u8> datagram) : datagram_(std::move(datagram)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    handle_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(handle_, reinterpret_cast<sockaddr*>(&address), size), 0);
    EXPECT_EQ(getsockname(handle_, reinterpret_cast<sockaddr*>(&address), &size), 0);
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { Run(); });
  }
  ~Flood() {
    stop_ = true;
    thread_.join();
    close(handle_);
  }
  std::string PortText() const { return std::to_string(port_); }

 private:
  void Run() {
    sockaddr_in client{};
    socklen_t size = sizeof client;
    u8 request[512];
    pollfd entry{handle_, POLLIN, 0};
    if (poll(&entry, 1, 2000) <= 0 ||
        recvfrom(handle_, request, sizeof request, 0, reinterpret_cast<sockaddr*>(&client), &size) < 0) {
      return;
    }
    while (!stop_) {
      sendto(handle_, datagram_.data(), datagram_.size(), MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&client), size);
    }
  }

  const std::vector<u8> datagram_;
  int handle_ = -1;
  u16 port_ = 0;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

TEST(IpmiHostile, FloodsDoNotProlongTheWait) {
  const std::vector<u8> datagrams[] = {
      {},
      {0x06, 0x00, 0xFF, 0x07},
      {0x06, 0x00, 0xFF, 0x07, 0x06, 0xC0, 0x01, 0x02, 0x03, 0x04, 0x01, 0x00, 0x00, 0x00, 0xFF, 0xFF},
      std::vector<u8>(8000, 0x06)};
  for (const auto& datagram : datagrams) {
    Flood flood(datagram);
    IpmiClient client("127.0.0.1", "admin", "kelvar-demo", flood.PortText(), 3);
    client.SetTimings({10, 20, 500, 60, 30000});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.connect(), IPMICONNECTFAIL);
    EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(8000)) << datagram.size();
  }
}

}  // namespace
}  // namespace Kelvar::Test

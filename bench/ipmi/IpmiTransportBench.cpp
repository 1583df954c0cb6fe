// The IPMI transport beside FreeIPMI's: the same server and the same relay, in turns.

#include <chrono>
#include <cstdio>
#include <ctime>
#include <memory>
#include <optional>
#include <vector>

#include <malloc.h>

#include "bench/Rows.h"
#include "bench/ipmi/FreeIpmiSession.h"
#include "support/IpmiSim.h"
#include "support/UdpRelay.h"
#include "transport/ipmi/IpmiClient.h"

namespace Kelvar::Bench {
namespace {

constexpr const char* kUser = "admin";
constexpr const char* kPassword = "kelvar-demo";

/// Wait before a request is sent again, in milliseconds; 0 is each library's own default.
u32 firstWaitMs = 0;

class KelvarSession {
 public:
  bool Open(u16 port) {
    client_.emplace("127.0.0.1", kUser, kPassword, std::to_string(port), 3);
    if (firstWaitMs != 0) {
      IpmiTimings timings;
      timings.firstWaitMs = firstWaitMs;
      client_->SetTimings(timings);
    }
    return client_->connect() == IPMICONNECTED;
  }
  bool Command() {
    std::vector<u8> response;
    u8 completionCode = 0;
    return client_->send({0x01, {}, 0x06}, response, completionCode) == 0 && completionCode == 0;
  }
  void Close() { client_.reset(); }

 private:
  std::optional<IpmiClient> client_;
};

class PeerSession {
 public:
  bool Open(u16 port) {
    session_.emplace();
    // By default it waits 20 seconds for a session before it gives up, which would be most of this bench's time.
    constexpr u32 kLimitMs = 3000;
    return session_->Open(port, kUser, kPassword, kLimitMs, firstWaitMs);
  }
  bool Command() { return session_->GetDeviceId(); }
  void Close() { session_.reset(); }

 private:
  std::optional<FreeIpmiSession> session_;
};

struct Score {
  double seconds = 0;
  double cpuSeconds = 0;
  int done = 0;
  int failed = 0;

  double Rate() const { return done / seconds; }
  Spent Each() const { return {seconds / done, cpuSeconds / done}; }
  void Add(const Score& other) {
    seconds += other.seconds;
    cpuSeconds += other.cpuSeconds;
    done += other.done;
    failed += other.failed;
  }
};

template <typename Work>
Score Measure(int count, const Work& work) {
  Score score;
  const std::clock_t cpuStart = std::clock();
  const auto start = std::chrono::steady_clock::now();
  for (int index = 0; index < count; ++index) {
    ++(work() ? score.done : score.failed);
  }
  score.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  score.cpuSeconds = static_cast<double>(std::clock() - cpuStart) / CLOCKS_PER_SEC;
  return score;
}

template <typename Session>
Score SetUps(u16 port, int count) {
  return Measure(count, [port] {
    Session session;
    const bool open = session.Open(port);
    session.Close();
    return open;
  });
}

template <typename Session>
Score Commands(u16 port, int count) {
  Session session;
  bool open = session.Open(port);
  return Measure(count, [&] {
    open = open || session.Open(port);
    const bool answered = open && session.Command();
    if (!answered) {  // the way on for a caller whose session broke
      session.Close();
      open = false;
    }
    return answered;
  });
}

using Task = Score (*)(u16 port, int count);

/// Both libraries in turns, each round with the same weather for both.
class Comparison {
 public:
  Comparison(const BenchOptions& options, const Test::IpmiSim& server, std::optional<Test::Weather> weather)
      : options_(options), server_(server), weather_(weather) {}

  void Run(const char* what, Task ours, Task theirs, int count) const {
    constexpr unsigned kRounds = 4;
    Score scores[2];
    std::size_t sent[2] = {};
    for (unsigned round = 1; round <= kRounds; ++round) {
      for (const bool peer : {false, true}) {
        std::optional<Test::UdpRelay> relay;
        if (weather_) {
          Test::Weather weather = *weather_;
          weather.seed = round;
          relay.emplace(server_.Port(), Test::MakeWeather(weather));
        }
        scores[peer].Add((peer ? theirs : ours)(relay ? relay->Port() : server_.Port(), count));
        sent[peer] += relay ? relay->FromClient() : 0;
      }
    }
    const auto each = [&](int peer) {
      return static_cast<double>(sent[peer]) / static_cast<double>(kRounds) / static_cast<double>(count);
    };
    std::printf("%-44s %9.1f %9.1f %7.2f %6d %6d %8.2f %8.2f\n", what, scores[0].Rate(), scores[1].Rate(),
                scores[0].Rate() / scores[1].Rate(), scores[0].failed, scores[1].failed, each(0), each(1));
    options_.Print({std::string("IPMI ") + what, "FreeIPMI library", scores[0].Each(), scores[1].Each()});
  }

 private:
  const BenchOptions& options_;
  const Test::IpmiSim& server_;
  std::optional<Test::Weather> weather_;
};

template <typename Session>
double KibPerSession(u16 port) {
  constexpr std::size_t kSessions = 8;
  const auto used = [] {
    const auto info = mallinfo2();
    return info.uordblks + info.hblkhd;
  };
  {
    Session warm;  // what the libraries allocate once does not count
    warm.Open(port);
    warm.Command();
    warm.Close();
  }
  const std::size_t before = used();
  std::vector<std::unique_ptr<Session>> sessions;
  sessions.reserve(kSessions);
  for (std::size_t index = 0; index < kSessions; ++index) {
    sessions.push_back(std::make_unique<Session>());
    sessions.back()->Open(port);
    sessions.back()->Command();
  }
  const std::size_t after = used();
  for (auto& session : sessions) {
    session->Close();
  }
  return static_cast<double>(after - before) / kSessions / 1024;
}

void Run(const BenchOptions& options) {
  constexpr unsigned kLost = 5;
  const int share = options.Quick() ? 4 : 1;
  const Test::IpmiSim server;
  using std::chrono::milliseconds;
  const Comparison quiet(options, server, std::nullopt);
  const Comparison lossy(options, server, Test::Weather{1, kLost, 0, 0, {}, {}});
  const Comparison slow(options, server, Test::Weather{1, 0, 0, 0, {}, milliseconds(300)});
  const Comparison far(options, server, Test::Weather{1, 0, 0, 100, milliseconds(150), {}});
  std::printf("%-44s %9s %9s %7s %6s %6s %8s %8s\n", "per second; failed; datagrams each", "kelvar", "freeipmi",
              "ratio", "kelvar", "peer", "kelvar", "peer");
  quiet.Run("session set-ups", &SetUps<KelvarSession>, &SetUps<PeerSession>, 200 / share);
  quiet.Run("commands", &Commands<KelvarSession>, &Commands<PeerSession>, 3000 / share);
  if (!options.Quick()) {
    lossy.Run("set-ups, 5 % lost each way", &SetUps<KelvarSession>, &SetUps<PeerSession>, 4);
    lossy.Run("commands, 5 % lost each way", &Commands<KelvarSession>, &Commands<PeerSession>, 25);
    // Slower than the first wait: who does not follow the target sends copies without end.
    far.Run("commands, 300 ms away", &Commands<KelvarSession>, &Commands<PeerSession>, 8);
    slow.Run("commands of 300 ms, one at a time", &Commands<KelvarSession>, &Commands<PeerSession>, 8);
  }
  firstWaitMs = 25;
  lossy.Run("set-ups, 5 % lost, both wait 25 ms at first", &SetUps<KelvarSession>, &SetUps<PeerSession>, 20 / share);
  lossy.Run("commands, 5 % lost, both wait 25 ms at first", &Commands<KelvarSession>, &Commands<PeerSession>,
            500 / share);
  firstWaitMs = 0;
  const double own = KibPerSession<KelvarSession>(server.Port());
  const double peer = KibPerSession<PeerSession>(server.Port());
  std::printf("%-44s %9.1f %9.1f %7.2f\n", "KiB per session", own, peer, own / peer);
  options.Print({"IPMI memory of a session", "FreeIPMI library", {-1, -1, own / 1024}, {-1, -1, peer / 1024}});
}

}  // namespace
}  // namespace Kelvar::Bench

int main(int argc, char** argv) {
  Kelvar::Bench::Run(Kelvar::Bench::BenchOptions(argc, argv));
  return 0;
}

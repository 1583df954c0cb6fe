// What the library leaves alone in the program that loads it, and what of that program's it can live with. Each test
// reads a simulated machine over all three protocols.

#include <kelvar/Log.h>
#include <kelvar/NodeFirmwareInventory.h>

#include <array>
#include <atomic>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <locale>
#include <set>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "flow/guest/GuestReadings.h"
#include "support/UdpRelay.h"
#include "transport/ipmi/SystemInterface.h"

namespace Kelvar::Test {
namespace {

class GoodGuest : public testing::Test {
 protected:
  std::array<ConnectionInfo, 3> Targets() const { return TargetsOf(sim_); }

 private:
  const BmcSim sim_;
};

/// A number from the environment, for longer runs.
int Depth(const char* name, int usual) {
  const char* set = std::getenv(name);
  return set != nullptr ? std::atoi(set) : usual;
}

TEST_F(GoodGuest, LeavesSignalsAndTheWorkingFolderAlone) {
  const auto state = [] {
    std::ostringstream text;
    for (int number = 1; number < SIGRTMAX; ++number) {
      struct sigaction action {};
      sigaction(number, nullptr, &action);
      text << reinterpret_cast<std::uintptr_t>(action.sa_handler) << ',' << action.sa_flags << ' ';
    }
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    for (int number = 1; number < SIGRTMAX; ++number) {
      text << sigismember(&blocked, number);
    }
    text << std::setlocale(LC_ALL, nullptr) << std::filesystem::current_path();
    return text.str();
  };
  const std::string before = state();
  for (const ConnectionInfo& target : Targets()) {
    ReadAll(target);
    EXPECT_EQ(state(), before) << target.ConnectionCase;
  }
}

/// Numbers as some countries write them.
class CommaNumbers : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

TEST_F(GoodGuest, ReadsTheSameInAnyLocale) {
  std::vector<std::string> usual;
  for (const ConnectionInfo& target : Targets()) {
    usual.push_back(ReadAll(target));
    EXPECT_GT(usual.back().size(), 100U);
  }
  const std::locale former = std::locale::global(std::locale(std::locale::classic(), new CommaNumbers));
  std::setlocale(LC_ALL, "de_DE.UTF-8");  // where it is installed
  std::vector<std::string> elsewhere;
  for (const ConnectionInfo& target : Targets()) {
    elsewhere.push_back(ReadAll(target));
  }
  std::locale::global(former);
  EXPECT_EQ(elsewhere, usual);
}

/// Ends with 0 when all targets can be read in a process of its own that `prepare` has changed, and `holds` while the
/// objects live.
int ReadInChild(
    const std::array<ConnectionInfo, 3>& targets, const std::function<void()>& prepare,
    const std::function<bool()>& holds = [] { return true; }) {
  const pid_t child = fork();
  if (child == 0) {
    prepare();
    bool good = true;
    for (const ConnectionInfo& target : targets) {
      NodeFirmwareInventory inventory(target);
      std::vector<OtherSystemVPD> components;
      good = good && inventory.GetNodeOtherSystemVPD(components) == 0 && !components.empty();
      std::vector<KelvarNfw::NODEFIRMWAREBUILDID> builds;
      good = good && inventory.GetNodeFirmwareBuildID(builds) == 0;
      good = good && holds();
    }
    _exit(good ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

/// Relays to an IPMI server and counts datagrams that are not IPMI. Its thread runs in a process of its own: forked
/// from one with threads, a child can hang under the address sanitizer.
class StrayCounter {
 public:
  explicit StrayCounter(u16 serverPort) {
    int here[2];
    int there[2];
    EXPECT_EQ(pipe2(here, O_CLOEXEC) + pipe2(there, O_CLOEXEC), 0);
    child_ = fork();
    if (child_ == 0) {
      close(there[1]);
      Count(serverPort, here[1], there[0]);
    }
    close(here[1]);
    close(there[0]);
    answers_ = here[0];
    end_ = there[1];
    port_ = static_cast<u16>(Next());
  }
  ~StrayCounter() {
    close(answers_);
    waitpid(child_, nullptr, 0);
  }
  StrayCounter(const StrayCounter&) = delete;
  StrayCounter& operator=(const StrayCounter&) = delete;

  u16 Port() const { return port_; }
  /// To be asked once, at the end.
  int Strays() {
    close(end_);
    return Next();
  }

 private:
  [[noreturn]] static void Count(u16 serverPort, int answers, int end) {
    std::atomic<int> strays = 0;
    const UdpRelay relay(serverPort, [&](Towards towards, std::size_t, std::vector<u8>& datagram) {
      const bool stray = towards == Towards::Server && (datagram.empty() || datagram[0] != 0x06);  // RMCP version 1.0
      strays += stray ? 1 : 0;
      return Fate{};
    });
    char none = 0;
    const int port = relay.Port();
    const bool told = write(answers, &port, sizeof port) == sizeof port && read(end, &none, 1) == 0;
    const int counted = strays;
    _exit(told && write(answers, &counted, sizeof counted) == sizeof counted ? 0 : 1);
  }
  int Next() const {
    int number = -1;
    EXPECT_EQ(read(answers_, &number, sizeof number), static_cast<ssize_t>(sizeof number));
    return number;
  }

  pid_t child_ = -1;
  int answers_ = -1;
  int end_ = -1;
  u16 port_ = 0;
};

/// What the host program, and the library itself, write to a stream that is closed would go to a target whose socket
/// got the stream's number.
TEST_F(GoodGuest, DoesWithoutStandardStreams) {
  auto targets = Targets();
  StrayCounter counter(targets[2].Port);
  targets[2].Port = counter.Port();
  for (int closed = 1; closed < 8; ++closed) {
    const auto forEachClosed = [closed](const std::function<bool(int)>& act) {
      bool all = true;
      for (int number = 0; number < 3; ++number) {
        all = ((closed >> number & 1) == 0 || act(number)) && all;
      }
      return all;
    };
    const auto prepare = [&] {
      Log::SetMinLogLevel(4);
      const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
      for (int number = 0; number < 3; ++number) {
        dup2(nowhere, number);
      }
      close(nowhere);
      forEachClosed([](int number) { return close(number) == 0; });
    };
    const auto holds = [&] {
      return Ipmi::MakeLinuxDeviceCalls()->Open("/dev/null") > STDERR_FILENO &&
             forEachClosed([](int number) { return fcntl(number, F_GETFD) < 0; });
    };
    EXPECT_EQ(ReadInChild(targets, prepare, holds), 0) << closed;
  }
  EXPECT_EQ(counter.Strays(), 0);
}

/// Sockets of libcurl too, but for a pair that it wakes itself up with.
TEST_F(GoodGuest, HandsNoConnectionToProgramsThatTheHostStarts) {
  const auto inherited = [] {
    std::set<int> numbers;
    for (int number = 3; number < 256; ++number) {
      sockaddr_storage peer{};
      socklen_t size = sizeof peer;
      if (fcntl(number, F_GETFD) == 0 && getpeername(number, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
          peer.ss_family != AF_UNIX) {
        numbers.insert(number);
      }
    }
    return numbers;
  };
  const auto before = inherited();
  for (const ConnectionInfo& target : Targets()) {
    NodeFirmwareInventory inventory(target);
    KelvarAgentless::ComputerSystem system;
    EXPECT_EQ(inventory.GetHardwareInfoComputerSystem(system), 0);
    EXPECT_EQ(inherited(), before) << target.ConnectionCase;
  }
}

TEST_F(GoodGuest, DoesWithAFullDisk) {
  EXPECT_EQ(ReadInChild(Targets(),
                        [] {
                          const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
                          dup2(full, STDOUT_FILENO);
                          dup2(full, STDERR_FILENO);
                          Log::SetMinLogLevel(4);
                        }),
            0);
}

std::size_t OpenDescriptors() {
  using Iterator = std::filesystem::directory_iterator;
  return static_cast<std::size_t>(std::distance(Iterator("/proc/self/fd"), Iterator()));
}

TEST_F(GoodGuest, KeepsNothingOfObjectsThatAreGone) {
  const int lifetimes = Depth("KELVAR_GUEST_LIFETIMES", 40);
  const auto live = [&](int count) {
    for (int round = 0; round < count; ++round) {
      for (const ConnectionInfo& target : Targets()) {
        NodeFirmwareInventory inventory(target);
        KelvarAgentless::ComputerSystem system;
        ASSERT_EQ(inventory.GetHardwareInfoComputerSystem(system), 0);
      }
    }
  };
  live(5 + lifetimes / 2);  // what is made once and kept; libcrypto's caches are full after some thousand objects
  const std::size_t descriptors = OpenDescriptors();
  const std::size_t bytes = mallinfo2().uordblks;  // 0 under a sanitizer, which looks for leaks itself
  live(lifetimes);
  EXPECT_EQ(OpenDescriptors(), descriptors);
  EXPECT_LT(mallinfo2().uordblks, bytes + 65536);  // some of what is free counts too
}

}  // namespace
}  // namespace Kelvar::Test

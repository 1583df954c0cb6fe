#include "simulator/ipmi/IpmiService.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "simulator/ipmi/ChildProcess.h"
#include "simulator/ipmi/IpmiData.h"
#include "simulator/machine/Paths.h"

namespace Kelvar::Simulator {

namespace {

namespace fs = std::filesystem;

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }

  int Number() const { return number_; }
  void Close() {
    if (number_ >= 0) {
      close(number_);
    }
    number_ = -1;
  }

 private:
  int number_;
};

class PrivateFolder {
 public:
  PrivateFolder() {
    std::string name = (fs::temp_directory_path() / "kelvar-bmcsim-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a folder like " + name + ": " + std::strerror(errno));
    }
    path_ = name;
  }
  ~PrivateFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  PrivateFolder(const PrivateFolder&) = delete;
  PrivateFolder& operator=(const PrivateFolder&) = delete;

  fs::path operator/(const char* name) const { return path_ / name; }

 private:
  fs::path path_;
};

/// Where ipmi_sim is to listen: a port that is free on both loopback addresses just now.
struct Place {
  unsigned short port = 0;
  bool withIpv6 = false;
};

bool BindIpv6(int socket, unsigned short port) {
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  address.sin6_port = htons(port);
  return bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

Place FindPlace(unsigned short wantedPort) {
  const Descriptor ipv4(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(wantedPort);
  socklen_t length = sizeof address;
  if (bind(ipv4.Number(), reinterpret_cast<const sockaddr*>(&address), length) != 0 ||
      getsockname(ipv4.Number(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    throw std::runtime_error("UDP port " + std::to_string(wantedPort) + ": " + std::strerror(errno));
  }
  const unsigned short port = ntohs(address.sin_port);
  const Descriptor ipv6(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  return {port, ipv6.Number() >= 0 && BindIpv6(ipv6.Number(), port)};
}

void WriteFile(const fs::path& file, const std::string& text) {
  std::ofstream output(file);
  output << text;
  if (!output.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

std::string ReadFile(const fs::path& file) {
  std::ifstream input(file);
  std::ostringstream text;
  text << input.rdbuf();
  return text.str();
}

std::string FirstLine(const std::string& text) {
  return text.substr(0, text.find('\n'));
}

/// What the module reports; empty when the process ended or 10 seconds passed before that.
std::string ReadReport(int descriptor) {
  constexpr int kLimitMs = 10000;
  pollfd watched{descriptor, POLLIN, 0};
  if (poll(&watched, 1, kLimitMs) <= 0) {
    return {};
  }
  char report[512];
  const ssize_t length = read(descriptor, report, sizeof report);
  return length > 0 ? std::string(report, static_cast<std::size_t>(length)) : std::string();
}

class IpmiService : public Service {
 public:
  explicit IpmiService(const Machine& machine) : machine_(machine), data_(ReadIpmiData(machine)) {}

  unsigned short Start(unsigned short port) override {
    // Between finding a free port and its use another program can take it: then another one is tried.
    constexpr int kTries = 5;
    for (int attempt = 1;; ++attempt) {
      const Place place = FindPlace(port);
      const std::string failure = Run(place);
      if (failure.empty()) {
        return place.port;
      }
      if (port != 0 || attempt == kTries) {
        throw std::runtime_error("ipmi_sim does not start: " + failure);
      }
    }
  }

  int EndDescriptor() const override { return fromModule_.Number(); }

 private:
  /// Starts ipmi_sim and returns why that failed. Its files are needed until it is ready, and no longer.
  std::string Run(const Place& place) {
    const PrivateFolder folder;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
      return std::string("pipe: ") + std::strerror(errno);
    }
    fromModule_ = Descriptor(ends[0]);
    Descriptor toService(ends[1]);
    const std::string library = "loadlib \"" + ModuleFile("kelvar-ipmi-oem.so").string() + "\" \"" +
                                (folder / "replies").string() + ' ' + std::to_string(toService.Number()) + "\"\n";
    WriteFile(folder / "lan.conf", LanConfiguration(machine_, data_, place.port, place.withIpv6, library));
    WriteFile(folder / "machine.emu", data_.emulator);
    WriteFile(folder / "replies", data_.replies);
    fs::create_directory(folder / "state");
    child_.Start(
        {"ipmi_sim", "-c", folder / "lan.conf", "-f", folder / "machine.emu", "-s", folder / "state", "-p", "-n"},
        folder / "output", toService.Number());
    toService.Close();
    const std::string report = ReadReport(fromModule_.Number());
    if (report == "ready") {
      return {};
    }
    child_.Stop();
    return report.empty() ? FirstLine(ReadFile(folder / "output")) : report;
  }

  const Machine& machine_;
  IpmiConfiguration data_;
  Descriptor fromModule_{-1};
  ChildProcess child_;
};

}  // namespace

std::unique_ptr<Service> MakeIpmiService(const Machine& machine) {
  return std::make_unique<IpmiService>(machine);
}

}  // namespace Kelvar::Simulator

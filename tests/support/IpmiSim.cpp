#include "support/IpmiSim.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Kelvar::Test {
namespace {

struct Address {
  sockaddr_storage bytes{};
  socklen_t size = 0;
  sockaddr* Raw() { return reinterpret_cast<sockaddr*>(&bytes); }
};

Address MakeAddress(const std::string& text, u16 port) {
  Address address;
  auto* six = reinterpret_cast<sockaddr_in6*>(&address.bytes);
  auto* four = reinterpret_cast<sockaddr_in*>(&address.bytes);
  if (inet_pton(AF_INET6, text.c_str(), &six->sin6_addr) == 1) {
    six->sin6_family = AF_INET6;
    six->sin6_port = htons(port);
    address.size = sizeof(sockaddr_in6);
  } else if (inet_pton(AF_INET, text.c_str(), &four->sin_addr) == 1) {
    four->sin_family = AF_INET;
    four->sin_port = htons(port);
    address.size = sizeof(sockaddr_in);
  } else {
    throw std::runtime_error("no address: " + text);
  }
  return address;
}

class Socket {
 public:
  explicit Socket(const Address& address) : handle_(socket(address.bytes.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {}
  ~Socket() { close(handle_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;
  int Handle() const { return handle_; }

 private:
  int handle_;
};

void WriteLines(const std::filesystem::path& file, const std::vector<std::string>& lines) {
  std::ofstream out(file);
  for (const std::string& line : lines) {
    out << line << "\n";
  }
}

void WriteConfig(const std::filesystem::path& file, const IpmiSimConfig& config, u16 port) {
  std::ofstream out(file);
  out << "name \"kelvar\"\nset_working_mc 0x20\nstartlan 1\n";
  out << "addr " << config.address << " " << port << "\npriv_limit admin\n";
  for (const char* level : {"callback", "user", "operator", "admin"}) {
    out << "allowed_auths_" << level << " " << config.authTypes << "\n";
  }
  out << "guid a123456789abcdefa123456789abcdef\n";
  for (const std::string& line : config.lanLines) {
    out << line << "\n";
  }
  out << "endlan\n";
  int number = 2;  // 1 is the anonymous user
  for (const IpmiSimUser& user : config.users) {
    out << "user " << number++ << " true \"" << user.name << "\" \"" << user.password << "\" " << user.privilege
        << " 10\n";
  }
  if (!config.module.empty()) {
    const std::filesystem::path lines = file.parent_path() / "module";
    out << "loadlib \"" << config.module << "\" \"" << lines.string() << "\"\n";
    WriteLines(lines, config.moduleLines);
  }
}

void WriteCommands(const std::filesystem::path& file, const IpmiSimConfig& config) {
  std::ofstream out(file);
  if (!config.emulator.empty()) {
    out << config.emulator;
    return;
  }
  out << "mc_setbmc 0x20\nmc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02 persist_sdr\n"
      << "sel_enable 0x20 1000 0x0a\n";
  for (const std::string& line : config.emulatorLines) {
    out << line << "\n";
  }
  out << "mc_enable 0x20\n";
}

}  // namespace

u16 FreeUdpPort(const std::string& address) {
  Address bound = MakeAddress(address, 0);
  const Socket socket(bound);
  if (bind(socket.Handle(), bound.Raw(), bound.size) != 0 ||
      getsockname(socket.Handle(), bound.Raw(), &bound.size) != 0) {
    throw std::runtime_error("no free port at " + address);
  }
  return ntohs(reinterpret_cast<const sockaddr_in*>(&bound.bytes)->sin_port);  // at the same place in both families
}

IpmiSim::IpmiSim(const IpmiSimConfig& config) : address_(config.address) {
  std::filesystem::create_directory(folder_ / "state");
  WriteCommands(folder_ / "machine.emu", config);
  // Another program may take the port between the look and the start: look again.
  for (int attempt = 0; attempt < 3; ++attempt) {
    port_ = FreeUdpPort(address_);
    WriteConfig(folder_ / "lan.conf", config, port_);
    if (Launch()) {
      return;
    }
  }
  throw std::runtime_error("ipmi_sim does not start");
}

IpmiSim::~IpmiSim() {
  Stop();
}

void IpmiSim::Start() {
  if (!Launch()) {
    throw std::runtime_error("ipmi_sim does not start again");
  }
}

bool IpmiSim::Launch() {
  const std::string config = folder_ / "lan.conf";
  const std::string commands = folder_ / "machine.emu";
  const std::string state = folder_ / "state";
  const std::string log = folder_ / "ipmi_sim.log";
  const pid_t parent = getpid();
  child_ = fork();
  if (child_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {
      _exit(1);
    }
    const int nothing = open("/dev/null", O_RDONLY);
    const int output = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(nothing, STDIN_FILENO);
    dup2(output, STDOUT_FILENO);
    dup2(output, STDERR_FILENO);
    execlp("ipmi_sim", "ipmi_sim", "-c", config.c_str(), "-f", commands.c_str(), "-s", state.c_str(), "-n", nullptr);
    _exit(127);
  }
  if (child_ > 0 && WaitReady()) {
    return true;
  }
  Stop();
  return false;
}

bool IpmiSim::WaitReady() const {
  // RMCP header, no session, Get Channel Authentication Capabilities.
  const u8 probe[] = {0x06, 0x00, 0xFF, 0x07, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
                      0x00, 0x09, 0x20, 0x18, 0xC8, 0x81, 0x00, 0x38, 0x0E, 0x04, 0x35};
  Address target = MakeAddress(address_, port_);
  const Socket socket(target);
  if (connect(socket.Handle(), target.Raw(), target.size) != 0) {
    return false;
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < end) {
    if (waitpid(child_, nullptr, WNOHANG) != 0) {
      return false;
    }
    u8 reply[64];
    pollfd entry{socket.Handle(), POLLIN, 0};
    if (send(socket.Handle(), probe, sizeof probe, 0) > 0 && poll(&entry, 1, 50) > 0 &&
        recv(socket.Handle(), reply, sizeof reply, MSG_DONTWAIT) > 0) {
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

void IpmiSim::Stop() {
  if (child_ > 0) {
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
  }
  child_ = -1;
}

}  // namespace Kelvar::Test

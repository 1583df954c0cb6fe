#pragma once

#include <string>
#include <vector>

#include <sys/types.h>

#include <kelvar/Types.h>

#include "support/TemporaryFolder.h"

namespace Kelvar::Test {

struct IpmiSimUser {
  std::string name;
  std::string password;
  std::string privilege = "admin";  ///< most that the user may have: user, operator, admin
};

/// What one instance of ipmi_sim offers.
struct IpmiSimConfig {
  std::vector<IpmiSimUser> users{
      {"admin", "kelvar-demo"}, {"oper", "oper-pass", "operator"}, {"user", "user-pass", "user"}};
  std::string address = "127.0.0.1";
  std::string authTypes = "none md2 md5 straight";  ///< of IPMI 1.5 sessions
  std::vector<std::string> lanLines;                ///< inside the LAN section of its configuration
  std::string module;                               ///< path of a module to load; none when empty
  std::vector<std::string> moduleLines;             ///< of the file that is the module's option
  std::vector<std::string> emulatorLines;           ///< commands after those that set the service processor up
  std::string emulator;                             ///< when not empty: all commands, in place of any others
};

/// A foreign IPMI server (ipmi_sim of the package openipmi) on an ephemeral port, with a folder of its own. Ends with
/// the object, and with the test program.
class IpmiSim {
 public:
  /// Starts the server and waits until it answers. Throws std::runtime_error when it does not.
  explicit IpmiSim(const IpmiSimConfig& config = {});
  ~IpmiSim();
  IpmiSim(const IpmiSim&) = delete;
  IpmiSim& operator=(const IpmiSim&) = delete;

  u16 Port() const { return port_; }
  std::string PortText() const { return std::to_string(port_); }
  /// Kills the server; its port stays reserved for nobody.
  void Stop();
  /// Starts it again on the same port, without the sessions of before.
  void Start();

 private:
  bool Launch();
  bool WaitReady() const;

  const std::string address_;
  const TemporaryFolder folder_;
  u16 port_ = 0;
  pid_t child_ = -1;
};

/// A UDP port of the address that is closed at the moment.
u16 FreeUdpPort(const std::string& address);

}  // namespace Kelvar::Test

#pragma once

#include <memory>
#include <string>

#include "transport/ipmi/LanSession.h"
#include "transport/ipmi/UdpChannel.h"

namespace Kelvar::Ipmi {

/// Account on the target; the password is wiped with the object.
struct Login {
  std::string user;
  std::string password;

  Login(std::string userName, const std::string& secret) : user(std::move(userName)), password(secret) {}
  Login(const Login&) = delete;
  Login& operator=(const Login&) = delete;
  ~Login();
  ByteView Password() const { return {reinterpret_cast<const u8*>(password.data()), password.size()}; }
};

/// How one try to open a session ended.
enum class Opening {
  Opened,
  LoginRefused,
  SuiteRefused,      ///< another cipher suite may do
  SuiteUnanswered,   ///< silence, perhaps because of the cipher suite
  PrivilegeRefused,  ///< a lower privilege may do
  Silence,
  NoServer,
  Failed,  ///< refused for another cause, which is logged
};

}  // namespace Kelvar::Ipmi

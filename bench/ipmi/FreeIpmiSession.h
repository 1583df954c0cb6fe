#pragma once

#include <string>

#include <kelvar/Types.h>

namespace Kelvar::Bench {

/// The least that a FreeIPMI program does for a session with cipher suite 3.
class FreeIpmiSession {
 public:
  FreeIpmiSession();
  ~FreeIpmiSession();
  FreeIpmiSession(const FreeIpmiSession&) = delete;
  FreeIpmiSession& operator=(const FreeIpmiSession&) = delete;

  bool Open(u16 port, const std::string& user, const std::string& password, u32 limitMs, u32 waitMs);
  bool GetDeviceId();
  void Close();

 private:
  struct Context;
  Context* context_;
};

}  // namespace Kelvar::Bench

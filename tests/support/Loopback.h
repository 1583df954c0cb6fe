#pragma once

#include <kelvar/NodeFirmwareInventory.h>

namespace Kelvar::Test {

/// A service at a port of 127.0.0.1, with the account of the simulated machines.
inline KelvarConnection::ConnectionInfo LoopbackInfo(u32 connectionCase, u16 port) {
  KelvarConnection::ConnectionInfo info;
  info.ConnectionCase = connectionCase;
  info.Host = "127.0.0.1";
  info.Port = port;
  info.UserName = "admin";
  info.Password = "kelvar-demo";
  return info;
}

}  // namespace Kelvar::Test

#include "bench/ipmi/FreeIpmiSession.h"

#include <freeipmi/freeipmi.h>

namespace Kelvar::Bench {

struct FreeIpmiSession::Context {
  ipmi_ctx_t handle = ipmi_ctx_create();
};

FreeIpmiSession::FreeIpmiSession() : context_(new Context) {}

FreeIpmiSession::~FreeIpmiSession() {
  Close();
  ipmi_ctx_destroy(context_->handle);
  delete context_;
}

bool FreeIpmiSession::Open(u16 port, const std::string& user, const std::string& password, u32 limitMs, u32 waitMs) {
  constexpr u8 kSuite = 3;
  const std::string host = "127.0.0.1:" + std::to_string(port);
  return ipmi_ctx_open_outofband_2_0(context_->handle, host.c_str(), user.c_str(), password.c_str(), nullptr, 0,
                                     IPMI_PRIVILEGE_LEVEL_ADMIN, kSuite, limitMs, waitMs,
                                     IPMI_WORKAROUND_FLAGS_OUTOFBAND_2_0_OPEN_SESSION_PRIVILEGE,
                                     IPMI_FLAGS_DEFAULT) == 0;
}

bool FreeIpmiSession::GetDeviceId() {
  constexpr u8 kLun = 0;
  constexpr u8 kNetFn = 0x06;
  const u8 request[] = {0x01};
  u8 reply[256];
  return ipmi_cmd_raw(context_->handle, kLun, kNetFn, request, sizeof request, reply, sizeof reply) > 2 &&
         reply[1] == 0;
}

void FreeIpmiSession::Close() {
  ipmi_ctx_close(context_->handle);
}

}  // namespace Kelvar::Bench

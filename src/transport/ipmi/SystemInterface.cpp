#include "transport/ipmi/SystemInterface.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <linux/ipmi.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "common/deadline/OperationDeadline.h"
#include "common/log/LogMacros.h"
#include "common/process/Descriptors.h"
#include "transport/ipmi/IpmiCommands.h"
#include "transport/ipmi/IpmiDiagnostics.h"

namespace Kelvar::Ipmi {
namespace {

class LinuxDeviceCalls : public DeviceCalls {
 public:
  int Open(const char* path) override { return AboveStandardStreams(::open(path, O_RDWR | O_CLOEXEC)); }
  int Close(int device) override { return ::close(device); }
  int Ioctl(int device, unsigned long request, void* argument) override { return ::ioctl(device, request, argument); }
  int Poll(int device, int milliseconds) override {
    pollfd entry{device, POLLIN, 0};
    return ::poll(&entry, 1, milliseconds);
  }
};

/// What the driver accepts.
constexpr std::size_t kMostData = 255;

/// The driver puts what becomes of a message on the bus into the reply.
int BridgedResult(const IPMICOMMAND& command, const std::vector<u8>& response, u8& completionCode) {
  constexpr u8 kLostArbitration = 0x81;
  if (!response.empty()) {
    return 0;
  }
  if (completionCode == kCodeTimeout) {
    completionCode = 0xFF;
    return kSendNoAnswer;
  }
  // Storage has codes of its own from 0x80 on.
  const bool ofTheBus = completionCode >= kLostArbitration && completionCode <= kCodeNoSuchDevice;
  return ofTheBus && (command.netFn != kNetFnStorage || completionCode == kCodeNoSuchDevice) ? kSendNotHandedOn : 0;
}

}  // namespace

std::unique_ptr<DeviceCalls> MakeLinuxDeviceCalls() {
  return std::make_unique<LinuxDeviceCalls>();
}

CONNECTIONSTATE SystemInterface::Open(const IpmiTimings& timings) {
  Close();
  timings_ = timings;
  std::string why;
  const CONNECTIONSTATE state = OpenDevice(why);
  const bool open = state == IPMICONNECTED;
  const std::string text = open ? "local device open" : "the local device cannot be opened: " + why;
  RecordSetUp({open ? FailureCause::None : FailureCause::Unreachable, text, 1, 0});
  return state;
}

CONNECTIONSTATE SystemInterface::OpenDevice(std::string& why) {
  const std::string number = std::to_string(index_);
  for (const char* stem : {"/dev/ipmi", "/dev/ipmi/", "/dev/ipmidev/"}) {
    const std::string path = stem + number;
    device_ = calls_->Open(path.c_str());
    if (device_ >= 0) {
      KELVAR_LOG(3) << "IPMI: " << path << " open";
      return IPMICONNECTED;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
      why = path + ": " + std::strerror(errno);
      KELVAR_LOG(1) << "IPMI: cannot open " << why;
      return IPMICONNECTFAIL;
    }
  }
  why = "no device number " + number + "; is the driver ipmi_devintf loaded?";
  KELVAR_LOG(1) << "IPMI: " << why;
  return IPMICONNECTFAIL;
}

void SystemInterface::Close() noexcept {
  if (device_ >= 0) {
    calls_->Close(device_);
    device_ = -1;
  }
}

int SystemInterface::Send(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                          u8& completionCode) {
  if (device_ < 0) {
    return kSendNotConnected;
  }
  const auto now = Clock::now();
  const auto deadline = std::min(now + Milliseconds(timings_.limitMs), OperationDeadline::End(now));
  if (now >= deadline) {
    OperationDeadline::NoteReached();
    return kSendNoTime;
  }
  if (command.data.size() > kMostData || command.netFn > 0x3F || (command.netFn & 1) != 0 ||
      !SendRequest(to, command)) {
    KELVAR_LOG(1) << "IPMI: the device does not take command " << int{command.command} << " of network function "
                  << int{command.netFn};
    return kSendNotPossible;
  }
  for (auto left = LeftUntil(deadline); left > 0; left = LeftUntil(deadline)) {
    const int ready = calls_->Poll(device_, left);
    if (ready == 0 || (ready < 0 && errno == EINTR)) {
      continue;
    }
    const int received = ready < 0 ? -1 : Receive(command, response, completionCode);
    if (received > 0) {
      return to.IsBridged() ? BridgedResult(command, response, completionCode) : 0;
    }
    if (received < 0) {
      KELVAR_LOG(1) << "IPMI: the device fails: " << std::strerror(errno);
      return kSendNoAnswer;
    }
  }
  KELVAR_LOG(1) << "IPMI: no answer from the device to command " << int{command.command} << " of network function "
                << int{command.netFn};
  return kSendNoAnswer;
}

bool SystemInterface::SendRequest(const ControllerAddress& to, const IPMICOMMAND& command) {
  std::vector<u8> data = command.data;
  ipmi_system_interface_addr own{IPMI_SYSTEM_INTERFACE_ADDR_TYPE, IPMI_BMC_CHANNEL, to.lun};
  ipmi_ipmb_addr satellite{IPMI_IPMB_ADDR_TYPE, to.channel, to.address, to.lun};
  ipmi_req request{};
  request.addr = to.IsBridged() ? reinterpret_cast<unsigned char*>(&satellite) : reinterpret_cast<unsigned char*>(&own);
  request.addr_len = to.IsBridged() ? sizeof satellite : sizeof own;
  request.msgid = ++messageId_;
  request.msg.netfn = command.netFn;
  request.msg.cmd = command.command;
  request.msg.data = data.data();
  request.msg.data_len = static_cast<unsigned short>(data.size());
  return Ioctl(IPMICTL_SEND_COMMAND, &request) == 0;
}

int SystemInterface::Receive(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) {
  std::array<u8, 1024> data{};
  ipmi_addr address{};
  ipmi_recv message{};
  message.addr = reinterpret_cast<unsigned char*>(&address);
  message.addr_len = sizeof address;
  message.msg.data = data.data();
  message.msg.data_len = data.size();
  if (Ioctl(IPMICTL_RECEIVE_MSG_TRUNC, &message) != 0) {
    return errno == EAGAIN || errno == EMSGSIZE ? 0 : -1;
  }
  const std::size_t size = message.msg.data_len;
  if (message.recv_type != IPMI_RESPONSE_RECV_TYPE || message.msgid != messageId_ ||
      message.msg.netfn != (command.netFn | 1) || message.msg.cmd != command.command || size == 0 ||
      size > data.size()) {
    return 0;
  }
  completionCode = data[0];
  response.assign(data.begin() + 1, data.begin() + static_cast<std::ptrdiff_t>(size));
  return 1;
}

int SystemInterface::Ioctl(unsigned long request, void* argument) {
  int result = 0;
  do {
    result = calls_->Ioctl(device_, request, argument);
  } while (result < 0 && errno == EINTR);
  return result;
}

}  // namespace Kelvar::Ipmi

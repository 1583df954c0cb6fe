#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <deque>
#include <optional>

#include <kelvar/Diagnostics.h>
#include <linux/ipmi.h>
#include <sys/ioctl.h>

#include "transport/ipmi/IpmiClient.h"
#include "transport/ipmi/SystemInterface.h"

namespace Kelvar {
namespace {

/// What the driver hands out at one IPMICTL_RECEIVE_MSG_TRUNC.
struct Message {
  std::vector<u8> data;  ///< completion code first
  int type = IPMI_RESPONSE_RECV_TYPE;
  long idOffset = 0;  ///< added to the request's number
  int error = 0;
  int netFn = 0x07;
};

struct Device {
  std::string path = "/dev/ipmi0";
  int openError = ENOENT;  ///< for other paths
  std::deque<Message> messages;
  int sendErrors[2] = {0, 0};  ///< of the first two tries; 0 is success
  int interruptedPolls = 0;
  std::vector<std::string> opened;
  int closed = 0;
  std::size_t sends = 0;
  ipmi_msg request{};
  std::vector<u8> requestData;
  short channel = 0;
  std::optional<ipmi_ipmb_addr> satellite;
  long id = 0;
};

class FakeCalls : public Ipmi::DeviceCalls {
 public:
  explicit FakeCalls(Device& device) : device_(device) {}
  int Open(const char* path) override {
    device_.opened.emplace_back(path);
    return device_.path == path ? 7 : Fail(device_.openError);
  }
  int Close(int /*handle*/) override {
    ++device_.closed;
    return 0;
  }
  int Ioctl(int handle, unsigned long request, void* argument) override {
    EXPECT_EQ(handle, 7);
    return request == IPMICTL_SEND_COMMAND ? Send(*static_cast<ipmi_req*>(argument))
                                           : Receive(*static_cast<ipmi_recv*>(argument));
  }
  int Poll(int /*handle*/, int /*milliseconds*/) override {
    if (device_.interruptedPolls > 0) {
      --device_.interruptedPolls;
      return Fail(EINTR);
    }
    return device_.messages.empty() ? 0 : 1;
  }

 private:
  static int Fail(int error) {
    errno = error;
    return -1;
  }
  int Send(const ipmi_req& request) {
    const std::size_t index = device_.sends++;
    if (index < 2 && device_.sendErrors[index] != 0) {
      return Fail(device_.sendErrors[index]);
    }
    device_.request = request.msg;
    device_.requestData.assign(request.msg.data, request.msg.data + request.msg.data_len);
    device_.id = request.msgid;
    ipmi_system_interface_addr address{};
    std::memcpy(&address, request.addr, sizeof address);
    if (address.addr_type == IPMI_IPMB_ADDR_TYPE && request.addr_len == sizeof(ipmi_ipmb_addr)) {
      std::memcpy(&device_.satellite.emplace(), request.addr, sizeof(ipmi_ipmb_addr));
      return 0;
    }
    EXPECT_EQ(address.addr_type, IPMI_SYSTEM_INTERFACE_ADDR_TYPE);
    device_.channel = address.channel;
    return 0;
  }
  int Receive(ipmi_recv& to) {
    const Message message = device_.messages.front();
    device_.messages.pop_front();
    if (message.error != 0) {
      return Fail(message.error);
    }
    to.recv_type = message.type;
    to.msgid = device_.id + message.idOffset;
    to.msg.netfn = static_cast<unsigned char>(message.netFn);
    to.msg.cmd = device_.request.cmd;
    EXPECT_GE(to.msg.data_len, message.data.size());
    std::copy(message.data.begin(), message.data.end(), to.msg.data);
    to.msg.data_len = static_cast<unsigned short>(message.data.size());
    return 0;
  }

  Device& device_;
};

class SystemInterface : public testing::Test {
 protected:
  Device device_;
  IpmiClient client_{0, std::make_unique<FakeCalls>(device_)};
  std::vector<u8> response_{9};
  u8 completionCode_ = 0;

  void SetUp() override { client_.SetTimings({10, 10, 1, 20, 20}); }
  int Send(IPMICOMMAND command = {0x01, {0xAA, 0xBB}, 0x06}) {
    return client_.send(command, response_, completionCode_);
  }
};

TEST_F(SystemInterface, TriesThePathsInTurn) {
  device_.path = "/dev/ipmidev/0";
  EXPECT_EQ(client_.connect(), IPMICONNECTED);
  EXPECT_EQ(device_.opened, (std::vector<std::string>{"/dev/ipmi0", "/dev/ipmi/0", "/dev/ipmidev/0"}));
  client_.disconnect();
  client_.disconnect();
  EXPECT_EQ(device_.closed, 1);
}

TEST_F(SystemInterface, NoDeviceOrNoPermissionIsAFailedConnect) {
  device_.path = "none";
  EXPECT_EQ(client_.connect(), IPMICONNECTFAIL);
  EXPECT_EQ(device_.opened.size(), 3U);
  device_.openError = EACCES;
  Diagnostics met;
  {
    const DiagnosticsScope scope(met);
    EXPECT_EQ(client_.connect(), IPMICONNECTFAIL);
  }
  EXPECT_EQ(met.Detail(), "the local device cannot be opened: /dev/ipmi0: Permission denied");
  EXPECT_EQ(device_.opened.size(), 4U) << "the device is there: no other path is";
  EXPECT_NE(Send(), 0);
  EXPECT_EQ(completionCode_, 0xFF);
}

TEST_F(SystemInterface, ReplyOfTheRequestIsTakenAndOthersAreNot) {
  ASSERT_EQ(client_.connect(), IPMICONNECTED);
  device_.sendErrors[0] = EINTR;
  device_.interruptedPolls = 1;
  device_.messages = {{{0x00, 1}, IPMI_ASYNC_EVENT_RECV_TYPE},
                      {{0x00, 2}, IPMI_RESPONSE_RECV_TYPE, -1},
                      {{}, IPMI_RESPONSE_RECV_TYPE},
                      {{0x00, 3}, IPMI_RESPONSE_RECV_TYPE, 0, EAGAIN},
                      {{0x00, 4}, IPMI_RESPONSE_RECV_TYPE, 0, EMSGSIZE},
                      {{0x00, 5}, IPMI_RESPONSE_RECV_TYPE, 0, EINTR},
                      {{0x00, 6}, IPMI_RESPONSE_RECV_TYPE, 0, 0, 0x0B},
                      {{0xC9, 7, 8}}};
  EXPECT_EQ(Send(), 0);
  EXPECT_EQ(completionCode_, 0xC9);
  EXPECT_EQ(response_, (std::vector<u8>{7, 8}));
  EXPECT_EQ(device_.request.netfn, 0x06);
  EXPECT_EQ(device_.requestData, (std::vector<u8>{0xAA, 0xBB}));
  EXPECT_EQ(device_.channel, IPMI_BMC_CHANNEL);
}

TEST_F(SystemInterface, TheDriverHandsCommandsOnToSatellites) {
  const struct {
    std::vector<u8> reply;
    IPMICOMMAND command;
    int failure;
    u8 completionCode;
  } rows[] = {
      {{0x00, 5}, {0x01, {}, 0x06}, 0, 0x00},
      {{0x83}, {0x01, {}, 0x06}, Ipmi::kSendNotHandedOn, 0x83},
      {{0x81}, {0x01, {}, 0x06}, Ipmi::kSendNotHandedOn, 0x81},
      {{0x81}, {0x11, {}, 0x0A}, 0, 0x81},  // a busy FRU device
      {{0xC3}, {0x01, {}, 0x06}, Ipmi::kSendNoAnswer, 0xFF},
  };
  ASSERT_EQ(client_.connect(), IPMICONNECTED);
  for (const auto& row : rows) {
    device_.messages = {{row.reply, IPMI_RESPONSE_RECV_TYPE, 0, 0, row.command.netFn | 1}};
    EXPECT_EQ(client_.SendTo({0x2C, 7, 1}, row.command, response_, completionCode_), row.failure);
    EXPECT_EQ(completionCode_, row.completionCode);
  }
  ASSERT_TRUE(device_.satellite);
  EXPECT_EQ(device_.satellite->slave_addr, 0x2C);
  EXPECT_EQ(device_.satellite->channel, 7);
  EXPECT_EQ(device_.satellite->lun, 1);
}

TEST_F(SystemInterface, SilenceAndFailuresOfTheDeviceAreNoExchange) {
  ASSERT_EQ(client_.connect(), IPMICONNECTED);
  EXPECT_NE(Send(), 0) << "silence";
  EXPECT_EQ(completionCode_, 0xFF);
  EXPECT_TRUE(response_.empty());
  device_.messages = {{{}, 0, 0, ENODEV}};
  EXPECT_NE(Send(), 0) << "the driver is gone";
  EXPECT_NE(Send({0x01, std::vector<u8>(256), 0x06}), 0) << "more than the driver takes";
  device_.sendErrors[0] = EINVAL;
  device_.sends = 0;
  EXPECT_NE(Send(), 0) << "the driver refuses";
  EXPECT_EQ(completionCode_, 0xFF);
}

}  // namespace
}  // namespace Kelvar

#pragma once

#include <memory>
#include <string>

#include "transport/ipmi/IpmiTransport.h"

namespace Kelvar::Ipmi {

/// The system calls on an IPMI device, each with the result and the errno of the call it is named after.
class DeviceCalls {
 public:
  virtual ~DeviceCalls() = default;
  virtual int Open(const char* path) = 0;
  virtual int Close(int device) = 0;
  virtual int Ioctl(int device, unsigned long request, void* argument) = 0;
  /// Waits until the device can be read.
  virtual int Poll(int device, int milliseconds) = 0;
};

std::unique_ptr<DeviceCalls> MakeLinuxDeviceCalls();

/// The service processor of the machine this runs on, through the Linux driver ipmi_devintf, which repeats lost
/// requests itself.
class SystemInterface : public IpmiTransport {
 public:
  SystemInterface(std::size_t index, std::unique_ptr<DeviceCalls> calls) : index_(index), calls_(std::move(calls)) {}
  ~SystemInterface() override { Close(); }

  CONNECTIONSTATE Open(const IpmiTimings& timings) override;
  void Close() noexcept override;
  int Send(const ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
           u8& completionCode) override;
  u32 Transmissions() const override { return 1; }

 private:
  /// `why`: what went wrong, for people.
  CONNECTIONSTATE OpenDevice(std::string& why);
  bool SendRequest(const ControllerAddress& to, const IPMICOMMAND& command);
  /// Takes the next message of the driver: 1 when it is the reply, 0 when it is another one, -1 when the device fails.
  int Receive(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode);
  int Ioctl(unsigned long request, void* argument);

  const std::size_t index_;
  const std::unique_ptr<DeviceCalls> calls_;
  IpmiTimings timings_;
  int device_ = -1;
  long messageId_ = 0;
};

}  // namespace Kelvar::Ipmi

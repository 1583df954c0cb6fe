#pragma once

#include <memory>

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

}  // namespace Kelvar::Ipmi

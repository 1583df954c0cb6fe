#pragma once

#include <string>
#include <utility>
#include <vector>

#include <kelvar/Types.h>

namespace Kelvar {

/// One IPMI command: command byte, request data, and the network function as a plain 6-bit value (0x06, 0x0A, 0x3A,
/// 0x3C), not shifted and without LUN.
struct IPMICOMMAND {
  u8 command = 0;
  std::vector<u8> data;
  u8 netFn = 0;
};

/// How an attempt to connect ended.
enum CONNECTIONSTATE : int {
  IPMICONNECTED = 0,
  IPMICONNECTFAIL = 1,  ///< a failure without a named cause: silence, an unknown host, no device
  IPMIAUTHFAIL = 2,     ///< the target refused the user or the password
};

/// Failure that the transport cannot express as a result.
class IpmiException {
 public:
  explicit IpmiException(std::string message) : message_(std::move(message)) {}
  std::string getErrorMsg() const { return message_; }

 private:
  std::string message_;
};

/// What the IPMI backend asks of its transport. One object serves one thread at a time.
class IpmiClientInterface {
 public:
  /// Opens the session or the local device.
  virtual CONNECTIONSTATE connect() = 0;

  /// Closes it; harmless when nothing is open.
  virtual void disconnect() = 0;

  /// Performs one command. 0 when the exchange took place; other than 0 when not connected or not answered in time.
  /// `completionCode` is always set: 0xFF when there was no exchange. `response` receives the reply's data bytes
  /// after the completion code. May throw IpmiException.
  virtual int send(const IPMICOMMAND& command, std::vector<u8>& response, u8& completionCode) = 0;

  virtual ~IpmiClientInterface() = default;

  /// Part of the interface for callers that move blocks; no command of this library depends on it.
  virtual void setBlockLength(const u16& length) = 0;
};

}  // namespace Kelvar

#pragma once

#include <chrono>
#include <string>

#include "module/nfw/inventory/cim/cimfunc.h"

namespace Kelvar {

/// Records one connect or one request over CIM.
class CIMRecord {
 public:
  CIMRecord(const Pegasus::CIMClient& client, std::string request) noexcept
      : client_(client), request_(std::move(request)) {}

  /// One more try of the same.
  void CountTry() noexcept { ++tries_; }
  /// A connection is there: nothing has been answered yet.
  void Connected() const noexcept;
  void Replied(u32 instances) const noexcept;
  /// Inside a catch clause of an exception of the client library. Returns the cause.
  FailureCause Failed(const Pegasus::Exception& exception) const noexcept;
  /// Throws instead of a request that must not be sent: the login was refused before, or the operation's time is over.
  void CheckMaySend(const LoginGuard* guard);

 private:
  FailureCause CauseFor(const Pegasus::Exception& exception) const noexcept;
  void Add(int status, FailureCause cause, const std::string& response) const;

  const Pegasus::CIMClient& client_;
  const std::string request_;
  u32 tries_ = 0;
  FailureCause withheld_ = FailureCause::None;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// Why the client library failed: as the record of the thread's last request says, or, when that had its reply, as far
/// as the exception tells.
FailureCause CauseOf(const Pegasus::Exception& exception) noexcept;

}  // namespace Kelvar

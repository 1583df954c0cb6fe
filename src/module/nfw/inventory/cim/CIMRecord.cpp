#include "module/nfw/inventory/cim/CIMRecord.h"

#include <algorithm>
#include <new>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/http/FailureOf.h"

namespace Kelvar {

using Pegasus::CIMClientHTTPErrorException;
using Pegasus::CIMException;

namespace {

FailureCause CauseOfStatus(Pegasus::CIMStatusCode status) noexcept {
  switch (status) {
    case Pegasus::CIM_ERR_ACCESS_DENIED:
      return FailureCause::LoginRefused;
    case Pegasus::CIM_ERR_INVALID_NAMESPACE:
    case Pegasus::CIM_ERR_INVALID_CLASS:
    case Pegasus::CIM_ERR_NOT_FOUND:
    case Pegasus::CIM_ERR_NOT_SUPPORTED:
      return FailureCause::NotOffered;
    default:
      return FailureCause::BadData;
  }
}

template <typename Exception>
const Exception* As(const Pegasus::Exception& exception) noexcept {
  return dynamic_cast<const Exception*>(&exception);
}

/// What our own client tells beyond its exceptions.
template <typename Client>
FailureCause LastCause(const Client& client) noexcept {
  if constexpr (requires { client.getLastExchange(); }) {
    return client.getLastExchange().cause;
  } else {
    return FailureCause::None;
  }
}

template <typename Client>
u64 LastBytes(const Client& client) noexcept {
  if constexpr (requires { client.getLastExchange(); }) {
    return client.getLastExchange().bytes;
  } else {
    return 0;
  }
}

/// What a failed connect tells beyond its message. Only our own client's does.
template <typename CannotConnect>
std::string ReasonOf(const CannotConnect& exception) {
  if constexpr (requires { exception.getReason(); }) {
    return " (" + ToText(exception.getReason()) + ")";
  } else {
    return "";
  }
}

std::string TextOf(const Pegasus::Exception& exception) {
  const std::string message = ToText(exception.getMessage());
  if (const auto* const cim = As<CIMException>(exception)) {
    return "CIM status " + std::to_string(cim->getCode()) + ": " + message;
  }
  const auto* const cannotConnect = As<Pegasus::CannotConnectException>(exception);
  return cannotConnect == nullptr ? message : message + ReasonOf(*cannotConnect);
}

int StatusOf(const Pegasus::Exception& exception) noexcept {
  if (const auto* const cim = As<CIMException>(exception)) {
    return static_cast<int>(cim->getCode());
  }
  const auto* const http = As<CIMClientHTTPErrorException>(exception);
  return http != nullptr ? static_cast<int>(http->getCode()) : -1;
}

/// As far as the exception tells.
FailureCause CauseByException(const Pegasus::Exception& exception) noexcept {
  if (const auto* const cim = As<CIMException>(exception)) {
    return CauseOfStatus(cim->getCode());
  }
  if (const auto* const http = As<CIMClientHTTPErrorException>(exception)) {
    const FailureCause cause = Http::CauseOfStatus(static_cast<long>(http->getCode()));
    return cause == FailureCause::None ? FailureCause::BadData : cause;  // a redirect, or no content
  }
  if (As<Pegasus::CIMClientMalformedHTTPException>(exception) != nullptr) {
    return FailureCause::NotSuchService;
  }
  if (As<Pegasus::SSLException>(exception) != nullptr) {
    return FailureCause::Tls;
  }
  const bool isUnanswered = As<Pegasus::CannotConnectException>(exception) != nullptr ||
                            As<Pegasus::InvalidLocatorException>(exception) != nullptr ||
                            As<Pegasus::ConnectionTimeoutException>(exception) != nullptr ||
                            As<Pegasus::NotConnectedException>(exception) != nullptr;
  return isUnanswered ? FailureCause::Unreachable : FailureCause::BadData;
}

/// None: the thread's last request had its reply.
thread_local FailureCause lastCause = FailureCause::None;

}  // namespace

FailureCause CauseOf(const Pegasus::Exception& exception) noexcept {
  return lastCause != FailureCause::None ? lastCause : CauseByException(exception);
}

void CIMRecord::Connected() const noexcept {
  try {
    Add(0, FailureCause::None, "connected");
  } catch (const std::bad_alloc&) {  // not recorded
  }
}

void CIMRecord::Replied(u32 instances) const noexcept {
  lastCause = FailureCause::None;
  DiagnosticsRecorder::NoteServiceUnderstood();
  try {
    Add(0, FailureCause::None, std::to_string(instances) + " instances");
  } catch (const std::bad_alloc&) {  // not recorded
  }
}

void CIMRecord::CheckMaySend(const LoginGuard* guard) {
  if (guard != nullptr && guard->IsRefused()) {
    withheld_ = FailureCause::LoginRefused;
    throw CIMClientHTTPErrorException("401 Unauthorized", Pegasus::String::EMPTY, Pegasus::String::EMPTY);
  }
  if (OperationDeadline::IsOver()) {
    withheld_ = FailureCause::Deadline;
    throw Pegasus::ConnectionTimeoutException();
  }
}

FailureCause CIMRecord::CauseFor(const Pegasus::Exception& exception) const noexcept {
  if (withheld_ != FailureCause::None) {
    return withheld_;
  }
  if (As<Pegasus::ConnectionTimeoutException>(exception) != nullptr && OperationDeadline::IsOver()) {
    return FailureCause::Deadline;
  }
  const FailureCause told = LastCause(client_);
  return told != FailureCause::None ? told : CauseByException(exception);
}

FailureCause CIMRecord::Failed(const Pegasus::Exception& exception) const noexcept {
  if (As<CIMException>(exception) != nullptr) {
    DiagnosticsRecorder::NoteServiceUnderstood();
  }
  const FailureCause cause = CauseFor(exception);
  lastCause = cause;
  try {
    Add(StatusOf(exception), cause, TextOf(exception) + (withheld_ == FailureCause::None ? "" : " (not sent)"));
  } catch (const std::bad_alloc&) {  // not recorded
  }
  return cause;
}

void CIMRecord::Add(int status, FailureCause cause, const std::string& response) const {
  if (!DiagnosticsRecorder::Wanted()) {
    return;
  }
  const std::chrono::duration<double> sinceStart = std::chrono::steady_clock::now() - start_;
  DiagnosticsRecorder::Add({.protocol = "cim",
                            .request = request_,
                            .response = response,
                            .status = status,
                            .bytes = withheld_ == FailureCause::None ? LastBytes(client_) : 0,
                            .seconds = sinceStart.count(),
                            .transmissions = withheld_ == FailureCause::None ? std::max(tries_, 1U) : 0,
                            .cause = cause});
}

}  // namespace Kelvar

#include "transport/ipmi/IpmiDiagnostics.h"

#include <new>
#include <sstream>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "transport/ipmi/IpmiTransport.h"

namespace Kelvar::Ipmi {
namespace {

DiagnosticExchange ExchangeFor(const ControllerAddress& to, const IPMICOMMAND& command, const CommandOutcome& outcome) {
  std::ostringstream request;
  request << std::hex << std::showbase << "netfn " << int{command.netFn} << " command " << int{command.command};
  if (to.IsBridged()) {
    request << " controller " << int{to.address} << " channel " << int{to.channel};
  }
  if (to.lun != 0) {
    request << " lun " << int{to.lun};
  }
  DiagnosticExchange exchange;
  exchange.protocol = "ipmi";
  exchange.request = request.str();
  exchange.bytes = outcome.bytes;
  exchange.seconds = outcome.seconds;
  exchange.transmissions = outcome.transmissions;
  if (outcome.failure == 0) {
    std::ostringstream response;
    response << std::hex << std::showbase << "completion code " << int{outcome.completionCode};
    exchange.response = response.str();
    exchange.status = outcome.completionCode;
    exchange.cause = CauseOfCompletion(outcome.completionCode);
  } else if (outcome.failure == kSendNotHandedOn) {
    std::ostringstream response;
    response << std::hex << std::showbase << "not handed on: completion code " << int{outcome.completionCode};
    exchange.response = response.str();
    exchange.status = outcome.completionCode;
    exchange.cause = FailureCause::NotOffered;
  } else if (outcome.failure == kSendNoAnswer) {
    exchange.response = "no answer";
    exchange.cause = to.IsPlain() ? FailureCause::Unreachable : FailureCause::NotOffered;
  } else {
    exchange.response = "not sent";
  }
  return exchange;
}

}  // namespace

FailureCause CauseOfCompletion(u8 completionCode) noexcept {
  switch (completionCode) {
    case 0xC1:  // invalid command
    case 0xC2:  // invalid for this LUN
    case 0xCB:  // not present
    case 0xD4:  // privilege
    case 0xD6:  // disabled
      return FailureCause::NotOffered;
    default:
      return FailureCause::None;
  }
}

void RecordSetUp(const SetUpOutcome& outcome) noexcept {
  if (!DiagnosticsRecorder::Wanted()) {
    return;
  }
  try {
    DiagnosticExchange exchange;
    exchange.protocol = "ipmi";
    exchange.request = "open session";
    exchange.response = outcome.text;
    exchange.status = outcome.cause == FailureCause::None ? 0 : -1;
    exchange.seconds = outcome.seconds;
    exchange.transmissions = outcome.transmissions;
    exchange.cause = outcome.cause;
    DiagnosticsRecorder::Add(exchange);
  } catch (const std::bad_alloc&) {  // then this one is missing
  }
  if (outcome.cause == FailureCause::None || outcome.cause == FailureCause::NotOffered) {
    DiagnosticsRecorder::NoteServiceUnderstood();
  }
}

void RecordCommand(const ControllerAddress& to, const IPMICOMMAND& command, const CommandOutcome& outcome) noexcept {
  if (!DiagnosticsRecorder::Wanted() || outcome.failure == kSendNotConnected || outcome.failure == kSendNoTime) {
    return;
  }
  try {
    DiagnosticsRecorder::Add(ExchangeFor(to, command, outcome));
  } catch (const std::bad_alloc&) {  // then this one is missing
  }
}

}  // namespace Kelvar::Ipmi

#include "module/nfw/inventory/ipmi/IpmiExchange.h"

#include <sstream>
#include <utility>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "transport/ipmi/IpmiDiagnostics.h"

namespace Kelvar {

IpmiReply SendCommand(IpmiClientInterface& client, u8 netFn, u8 command, std::vector<u8> data) {
  const IPMICOMMAND request{command, std::move(data), netFn};
  IpmiReply reply;
  reply.sent = client.send(request, reply.data, reply.completionCode);
  return reply;
}

NodeFirmwareInventory::INVENTORYRETURNCODE CodeOfCompletion(u8 completionCode) noexcept {
  switch (completionCode) {
    case 0xC9:
      return NodeFirmwareInventory::INVENTORY_IPMI_PARAMETER_OUT_OF_RANGE;
    case 0xCB:
      return NodeFirmwareInventory::INVENTORY_IPMI_NOT_PRESENT;
    case 0xD5:
      return NodeFirmwareInventory::INVENTORY_IPMI_NOT_SUPPORTED_NOW;
    default:
      return NodeFirmwareInventory::INVENTORY_FAILED;
  }
}

void LogFailedCommand(const IpmiReply& reply) {
  KELVAR_LOG(1) << "IPMI command failed wtih completionCode : 0x" << std::hex << int{reply.completionCode};
}

void RecordMissing(std::string_view what, const IpmiReply& reply, GapKind kind) {
  if (!DiagnosticsRecorder::Wanted()) {
    return;
  }
  std::ostringstream detail;
  if (reply.sent == 0) {
    detail << "completion code " << std::hex << std::showbase << int{reply.completionCode};
  } else {
    detail << "no response";
  }
  const FailureCause cause = reply.sent == 0 ? Ipmi::CauseOfCompletion(reply.completionCode) : FailureCause::None;
  DiagnosticsRecorder::AddGap(kind, cause, what, detail.str());
}

void RecordUnusable(std::string_view what, std::string_view why) {
  DiagnosticsRecorder::AddGap(GapKind::Unusable, FailureCause::BadData, what, why);
}

void LogShortReply(std::size_t expected, std::size_t actual) {
  KELVAR_LOG(1) << "the size response data is invalid expect " << expected << " or larger actually " << actual;
}

}  // namespace Kelvar

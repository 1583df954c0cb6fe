#include "tools/kelvar/ExitCode.h"

#include <algorithm>

namespace Kelvar::Tool {

namespace {

bool Delivers(ExitCode code) {
  return code == ExitCode::Complete || code == ExitCode::Partial;
}

}  // namespace

ExitCode ExitCodeOf(NodeFirmwareInventory::INVENTORYRETURNCODE result) {
  using Inventory = NodeFirmwareInventory;
  switch (result) {
    case Inventory::INVENTORY_SUCCESS:
      return ExitCode::Complete;
    case Inventory::INVENTORY_UNAUTHORIZED:
      return ExitCode::LoginRefused;
    case Inventory::INVENTORY_CONNECT_FAILED:
    case Inventory::INVENTORY_IPMI_EXCEPTION:
    case Inventory::INVENTORY_REST_TRANSPORT_FAILED:
      return ExitCode::Unreachable;
    case Inventory::INVENTORY_IPMI_NOT_PRESENT:
    case Inventory::INVENTORY_IPMI_NOT_SUPPORTED_NOW:
    case Inventory::INVENTORY_NO_INSTANCE:
    case Inventory::INVENTORY_NOT_IMPLEMENTED:
      return ExitCode::Unsupported;
    default:
      return ExitCode::BadData;
  }
}

ExitCode ExitCodeOf(FailureCause cause) {
  switch (cause) {
    case FailureCause::None:
    case FailureCause::BadData:
    case FailureCause::TooLarge:
      return ExitCode::BadData;
    case FailureCause::Unreachable:
    case FailureCause::Refused:
    case FailureCause::Deadline:
      return ExitCode::Unreachable;
    case FailureCause::LoginRefused:
      return ExitCode::LoginRefused;
    case FailureCause::Tls:
      return ExitCode::Tls;
    case FailureCause::NotSuchService:
    case FailureCause::NotOffered:
      return ExitCode::Unsupported;
  }
  return ExitCode::BadData;
}

const char* NameOf(ExitCode code) {
  switch (code) {
    case ExitCode::Complete:
      return "complete";
    case ExitCode::Internal:
      return "internal";
    case ExitCode::Usage:
      return "usage";
    case ExitCode::Unreachable:
      return "unreachable";
    case ExitCode::LoginRefused:
      return "login_refused";
    case ExitCode::Tls:
      return "tls";
    case ExitCode::BadData:
      return "bad_data";
    case ExitCode::Unsupported:
      return "unsupported";
    case ExitCode::Partial:
      return "partial";
    case ExitCode::SomeFailed:
      return "some_failed";
    case ExitCode::Different:
      return "different";
  }
  return "unknown";
}

const char* DescriptionOf(ExitCode code) {
  switch (code) {
    case ExitCode::Complete:
      return "complete";
    case ExitCode::Usage:
      return "wrong usage";
    case ExitCode::Unreachable:
      return "the target cannot be reached";
    case ExitCode::LoginRefused:
      return "the login was refused";
    case ExitCode::Tls:
      return "TLS failed";
    case ExitCode::Unsupported:
      return "not found on the target";
    case ExitCode::Partial:
      return "not all of it could be read";
    case ExitCode::SomeFailed:
      return "some targets are not complete";
    case ExitCode::Different:
      return "differences were found";
    case ExitCode::BadData:
      return "the target sent an invalid response";
    case ExitCode::Internal:
      return "internal failure";
  }
  return "unknown";
}

ExitCode Combine(ExitCode first, ExitCode second) {
  if (first == second) {
    return first;
  }
  if (Delivers(first) || Delivers(second)) {
    return ExitCode::Partial;
  }
  return std::min(first, second);
}

}  // namespace Kelvar::Tool

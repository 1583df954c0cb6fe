#pragma once

#include <string>
#include <vector>

#include <kelvar/InventoryRecords.h>

#include "module/nfw/inventory/redfish/RedfishService.h"

namespace Kelvar {

/// Which log of a service to read.
struct RedfishLogChoice {
  const char* name;                ///< what the path of the log service has to contain
  bool argumentsRequired = false;  ///< whether an entry without "MessageArgs" ends the walk with a failure
  bool managersServe = false;      ///< whether the managers are asked for the log when no system has it
};

/// Walks from the systems to the entries of one log and appends a record for each entry, in the service's order. The
/// result is 0, the code of a failed response, or INVENTORY_REST_FAILED for what cannot be read and for a log that is
/// not there. Three requests and one for each system, and the same again for managers.
RedfishService::Code ReadRedfishLog(const RedfishService& service, const RedfishLogChoice& choice,
                                    std::vector<KelvarNfw::ZMCMESSAGELOGDATAREST>& list);
RedfishService::Code ReadRedfishLog(const RedfishService& service, const RedfishLogChoice& choice,
                                    std::vector<MAINTLOGREDFISHDATA>& list);

/// Bounds the memory that a body of tiny entries can claim for records.
constexpr std::size_t kMaxLogEntries = 500'000;

/// Appends the entries of a log's body. Throws ptree_error for a text that cannot be read, before any entry is
/// appended, and for an entry that lacks what is required or is one too many, after the entries before it. A large
/// body costs little more than its records: it is read in place and not as one tree.
template <typename Record>
void AppendLogEntries(const std::string& body, bool argumentsRequired, std::vector<Record>& list,
                      std::size_t maxEntries = kMaxLogEntries);

}  // namespace Kelvar

#pragma once

#include <span>
#include <string>

#include <kelvar/InventoryRecords.h>

#include <Pegasus/Common/CIMInstance.h>

namespace Kelvar {

using MessageLogText = std::string KelvarNfw::ZMCMESSAGELOGDATA::*;

/// The texts that ReadMessageLogEntry fills.
std::span<const MessageLogText> MessageLogTexts() noexcept;

/// Fills the fields whose properties the instance has; with `selector` 3 the event ID is the common event ID. Throws
/// what the client library throws for a property of another type, and boost::bad_lexical_cast for a severity that is
/// no number.
void ReadMessageLogEntry(const Pegasus::CIMInstance& instance, int selector, KelvarNfw::ZMCMESSAGELOGDATA& entry);

}  // namespace Kelvar

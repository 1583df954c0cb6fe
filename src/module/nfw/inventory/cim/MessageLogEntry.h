#pragma once

#include <kelvar/InventoryRecords.h>

#include <Pegasus/Common/CIMInstance.h>

#include "module/nfw/inventory/cim/RecordAppender.h"

namespace Kelvar {

/// The texts that ReadMessageLogEntry fills.
inline constexpr std::string KelvarNfw::ZMCMESSAGELOGDATA::*kMessageLogTexts[] = {
    &KelvarNfw::ZMCMESSAGELOGDATA::EventSequenceNumber,
    &KelvarNfw::ZMCMESSAGELOGDATA::CreationTimeStamp,
    &KelvarNfw::ZMCMESSAGELOGDATA::ElementName,
    &KelvarNfw::ZMCMESSAGELOGDATA::EventID,
    &KelvarNfw::ZMCMESSAGELOGDATA::LogInstanceID,
    &KelvarNfw::ZMCMESSAGELOGDATA::LogName,
    &KelvarNfw::ZMCMESSAGELOGDATA::Message,
    &KelvarNfw::ZMCMESSAGELOGDATA::MessageID,
    &KelvarNfw::ZMCMESSAGELOGDATA::MessageArguments,
    &KelvarNfw::ZMCMESSAGELOGDATA::PerceivedSeverity,
    &KelvarNfw::ZMCMESSAGELOGDATA::AuxiliaryData,
};

/// Fills the fields whose properties the instance has; with `selector` 3 the event ID is the common event ID. Throws
/// what the client library throws for a property of another type, and boost::bad_lexical_cast for a severity that is
/// no number.
void ReadMessageLogEntry(const Pegasus::CIMInstance& instance, int selector, KelvarNfw::ZMCMESSAGELOGDATA& entry);

}  // namespace Kelvar

#pragma once

#include <string>
#include <vector>

#include "tools/kelvar/Records.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// Class of the style sheet for a health or severity in any protocol's words: "ok", "warn", "bad", or "" for none.
const char* MoodOf(const std::string& words);

/// The sensors as a table, with a bar for each that has thresholds in the unit of its reading.
std::string SensorTable(const std::vector<Record>& records, Protocol protocol);

/// A field's text, empty when the record has no such field.
std::string FieldText(const Record& record, const char* name);

}  // namespace Kelvar::Tool

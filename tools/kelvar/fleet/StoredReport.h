#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/kelvar/fleet/TargetList.h"

namespace Kelvar::Tool {

/// What a report's JSON line tells of what seldom changes: firmware, identity and components.
struct StoredReport {
  using Record = std::vector<std::pair<std::string, std::string>>;  ///< fields and their values as texts

  struct Part {
    std::string status;
    std::vector<Record> records;  ///< none of sensors, logs and settings
    bool allFields = true;        ///< the reading also asked for what tells managers' host names, firmware's components
  };

  std::string target;
  std::string status;
  std::map<std::string, Part> parts;  ///< by word
};

/// The value of a field, empty when there is none.
std::string ValueOf(const StoredReport::Record& record, const std::string& field);

/// Leaves out the families whose records are not compared.
void KeepWhatLasts(StoredReport& report);

/// Nothing when the line is not a report.
std::optional<StoredReport> ParseStoredReport(const std::string& line);

/// The reports of a former run, JSON lines, by target: of several lines of one target the last that has a part counts.
/// Lines that were cut when their run was ended are left out. Throws ToolError (usage) when the file cannot be read or
/// any other line is not a report.
std::map<std::string, StoredReport> ReadStoredReports(const std::string& file);

/// The same of a file of JSON over several lines too, as --format json prints.
std::map<std::string, StoredReport> ReadAnyReports(const std::string& file);

/// Whether a former run read all that is asked of a target now.
bool IsComplete(const std::map<std::string, StoredReport>& stored, const ListedTarget& listed);

/// Whether a file's last line is cut.
bool LacksLineEnd(const std::string& file);

}  // namespace Kelvar::Tool

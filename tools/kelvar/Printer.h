#pragma once

#include <string>
#include <vector>

#include "tools/kelvar/Commands.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Tool {

/// All that was read from one target.
struct Report {
  struct Entry {
    const Command* command;
    Outcome outcome;
    ExitCode exitCode;
  };

  std::string target;
  std::vector<Entry> entries;
};

/// For people. What came from the target is escaped.
std::string TableText(const Report& report);

/// For programs: one JSON object in ASCII, with "format_version". Bytes that are no UTF-8 stand as \xNN in the texts.
std::string JsonText(const Report& report);

}  // namespace Kelvar::Tool

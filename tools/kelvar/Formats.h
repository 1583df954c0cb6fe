#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/kelvar/Printer.h"
#include "tools/kelvar/Report.h"

namespace Kelvar::Tool {

/// How reports become one document: a head, a piece for each report, and a foot.
struct Formatter {
  std::string head = {};
  std::string separator = {};  ///< between two pieces
  std::string foot = {};
  std::function<std::string(const Report& report)> textOf;  ///< any thread; an empty text stands for none
  std::function<std::string()> summary = {};                ///< in place of the foot, where it depends on the pieces
  std::string eraser = {};                                  ///< before each piece, where a progress line is shown
};

/// The document of a single report.
std::string DocumentOf(const Formatter& formatter, const Report& report);

/// One value of --format.
struct Format {
  const char* name;
  Formatter (*one)(Colour colour);   ///< of a single target
  Formatter (*many)(Colour colour);  ///< of a list of targets
  bool differences;                  ///< also for --diff and --baseline
};

/// All of them, the default first.
std::span<const Format> Formats();

/// Throws ToolError (usage) for an unknown name.
const Format& FormatNamed(std::string_view name);

std::vector<std::string> FormatNames();

}  // namespace Kelvar::Tool

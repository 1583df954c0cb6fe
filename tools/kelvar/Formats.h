#pragma once

#include <functional>
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

/// What a document is made for.
struct DocumentStyle {
  bool operations = false;  ///< results of fixed operations, not inventories
  Colour colour = Colour::Never;
  std::size_t width = 0;              ///< of tables; 0: no bound
  std::vector<std::string> columns;   ///< keys that tables and CSV show; empty: the usual ones
  std::vector<std::string> families;  ///< words that were asked for; empty: all
};

/// One value of --format.
struct Format {
  const char* name;
  Formatter (*one)(const DocumentStyle& style);   ///< of a single target
  Formatter (*many)(const DocumentStyle& style);  ///< of a list of targets
  bool operations;                                ///< also for results of fixed operations
  bool differences;                               ///< also for --diff and --baseline
};

/// Throws ToolError (usage) for an unknown name.
const Format& FormatNamed(std::string_view name);

/// Of all formats, or of those for fixed operations; the default first.
std::vector<std::string> FormatNames(bool operations);

/// A report as the JSON line that runs are saved as.
std::string JsonLineOf(const Report& report);

}  // namespace Kelvar::Tool

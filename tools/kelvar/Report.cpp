#include "tools/kelvar/Report.h"

#include <fmt/format.h>

#include <kelvar/Names.h>

namespace Kelvar::Tool {

std::string NoteOf(const Report::Entry& entry) {
  if (entry.code == ExitCode::Complete) {
    return "";
  }
  const char* const word = entry.code == ExitCode::Partial ? "incomplete" : "failed";
  if (entry.outcome.result == NodeFirmwareInventory::INVENTORY_SUCCESS) {
    return fmt::format("{} ({})", word, DescriptionOf(entry.code));
  }
  // The log can tell more than the result does.
  const bool toldByLog = entry.code != ExitCode::Partial && entry.code != ExitCodeOf(entry.outcome.result);
  return fmt::format("{} ({}, {})", word,
                     toldByLog ? DescriptionOf(entry.code) : Kelvar::DescriptionOf(entry.outcome.result),
                     Kelvar::NameOf(entry.outcome.result));
}

}  // namespace Kelvar::Tool

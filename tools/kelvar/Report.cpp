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
  const bool refused = entry.code == ExitCode::LoginRefused;  // which the result does not tell of every protocol
  return fmt::format("{} ({}, {})", word,
                     refused ? DescriptionOf(entry.code) : Kelvar::DescriptionOf(entry.outcome.result),
                     Kelvar::NameOf(entry.outcome.result));
}

}  // namespace Kelvar::Tool

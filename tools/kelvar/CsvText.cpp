#include "tools/kelvar/CsvText.h"

#include <string_view>

#include "common/text/Escape.h"

namespace Kelvar::Tool {

namespace {

bool IsFormula(std::string_view text) {
  if (text.empty() || std::string_view("=+-@").find(text.front()) == std::string_view::npos) {
    return false;
  }
  const bool number =
      text.front() == '-' && text.size() > 1 && text.find_first_not_of("0123456789.e+-", 1) == std::string_view::npos;
  return !number;
}

}  // namespace

std::string CsvCell(const std::string& text) {
  std::string cell = Text::EscapeControl(text);
  if (IsFormula(cell)) {
    cell.insert(0, 1, '\'');
  }
  if (cell.find_first_of(",\"") == std::string::npos) {
    return cell;
  }
  std::string quoted = "\"";
  for (const char character : cell) {
    quoted.append(character == '"' ? 2 : 1, character);
  }
  return quoted + '"';
}

}  // namespace Kelvar::Tool

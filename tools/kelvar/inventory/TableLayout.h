#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <kelvar/Inventory.h>

#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

struct TableColumn {
  std::string title;
  int importance = 0;  ///< where room is short, the least important column goes first
  bool wraps = false;  ///< a long text goes on in the next line before any column is left out
  bool right = false;  ///< numbers
};

struct TableRow {
  std::vector<std::string> cells;  ///< one for each column, escaped
  Model::Health severity = Model::Health::Unknown;
};

/// Rows under their titles, indented by two blanks, no line longer than `width` characters (0: no bound). Columns
/// without any text are left out. Rows that are not ok are coloured.
std::string LayoutTable(const std::vector<TableColumn>& columns, const std::vector<TableRow>& rows, std::size_t width,
                        Colour colour);

/// Characters that a text takes on a terminal.
std::size_t WidthOf(const std::string& text);

/// The text within the escape sequences of a severity, where colour is on.
std::string Coloured(const std::string& text, Model::Health severity, Colour colour);
std::string Bold(const std::string& text, Colour colour);
std::string Dim(const std::string& text, Colour colour);

/// A text broken at blanks, or where it has none, into lines of at most `width` characters.
std::vector<std::string> Wrapped(const std::string& text, std::size_t width);

}  // namespace Kelvar::Tool

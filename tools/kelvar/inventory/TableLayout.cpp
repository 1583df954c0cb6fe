#include "tools/kelvar/inventory/TableLayout.h"

#include <algorithm>
#include <functional>
#include <numeric>

#include <fmt/format.h>

namespace Kelvar::Tool {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kGap = 2;

bool ContinuesCharacter(char byte) {
  return (static_cast<u8>(byte) & 0xC0) == 0x80;
}

std::string Painted(const char* attribute, const std::string& text, Colour colour) {
  return colour == Colour::Always && !text.empty() ? fmt::format("\x1b[{}m{}\x1b[0m", attribute, text) : text;
}

/// Bytes of the first `count` characters.
std::size_t BytesOf(const std::string& text, std::size_t count) {
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    if (!ContinuesCharacter(text[at]) && count-- == 0) {
      break;
    }
  }
  return at;
}

struct ShownColumn {
  std::size_t index;
  std::size_t width;
};

using ShownColumns = std::vector<ShownColumn>;

ShownColumns WithText(const std::vector<TableColumn>& columns, const std::vector<TableRow>& rows) {
  ShownColumns shown;
  for (std::size_t index = 0; index < columns.size(); ++index) {
    std::size_t widest = 0;
    for (const TableRow& row : rows) {
      widest = std::max(widest, WidthOf(row.cells[index]));
    }
    if (widest > 0) {
      shown.push_back({index, std::max(widest, WidthOf(columns[index].title))});
    }
  }
  return shown;
}

std::size_t TotalOf(const ShownColumns& shown) {
  return std::accumulate(shown.begin(), shown.end(), kIndent,
                         [](std::size_t sum, const ShownColumn& column) { return sum + column.width + kGap; }) -
         kGap;
}

/// How narrow a text that wraps may get. With many columns it is better to leave one out than to break every text.
std::size_t LeastWidth(std::size_t columns) {
  constexpr std::size_t kComfortable = 24;
  constexpr std::size_t kLeast = 12;
  constexpr std::size_t kFew = 2;
  return columns > kFew ? kComfortable : kLeast;
}

/// Takes the excess from the columns that wrap. False when they cannot give so much.
bool Narrow(const std::vector<TableColumn>& columns, ShownColumns& shown, std::size_t width) {
  const std::size_t least = LeastWidth(shown.size());
  while (TotalOf(shown) > width) {
    ShownColumn* widest = nullptr;
    for (ShownColumn& column : shown) {
      const bool able = (columns[column.index].wraps || shown.size() == 1) && column.width > least;
      if (able && (widest == nullptr || column.width > widest->width)) {
        widest = &column;
      }
    }
    if (widest == nullptr) {
      return false;
    }
    widest->width = std::max(least, widest->width - std::min(TotalOf(shown) - width, widest->width));
  }
  return true;
}

void DropLeast(const std::vector<TableColumn>& columns, ShownColumns& shown) {
  const auto least = std::min_element(shown.begin(), shown.end(), [&](const auto& left, const auto& right) {
    return columns[left.index].importance < columns[right.index].importance;
  });
  shown.erase(least);
}

ShownColumns Fitted(const std::vector<TableColumn>& columns, const std::vector<TableRow>& rows, std::size_t width) {
  ShownColumns natural = WithText(columns, rows);
  while (width != 0 && !natural.empty()) {
    ShownColumns shown = natural;
    if (Narrow(columns, shown, width) || natural.size() == 1) {
      return shown;
    }
    DropLeast(columns, natural);
  }
  return natural;
}

std::string Padded(const std::string& text, std::size_t width, bool right) {
  const std::string blanks(width - std::min(width, WidthOf(text)), ' ');
  return right ? blanks + text : text + blanks;
}

std::string LineOf(const std::vector<std::string>& cells) {
  std::string line(kIndent, ' ');
  for (const std::string& cell : cells) {
    line += cell + std::string(kGap, ' ');
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

/// The lines of one row: a cell may take several.
std::vector<std::string> LinesOf(const std::vector<TableColumn>& columns, const ShownColumns& shown,
                                 const std::vector<std::string>& cells) {
  std::vector<std::vector<std::string>> pieces;
  std::size_t height = 1;
  for (const ShownColumn& column : shown) {
    pieces.push_back(Wrapped(cells[column.index], column.width));
    height = std::max(height, pieces.back().size());
  }
  std::vector<std::string> lines;
  for (std::size_t number = 0; number < height; ++number) {
    std::vector<std::string> line;
    for (std::size_t at = 0; at < shown.size(); ++at) {
      const std::string piece = number < pieces[at].size() ? pieces[at][number] : std::string();
      line.push_back(Padded(piece, shown[at].width, columns[shown[at].index].right));
    }
    lines.push_back(LineOf(line));
  }
  return lines;
}

}  // namespace

std::size_t WidthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), std::not_fn(ContinuesCharacter)));
}

std::string Coloured(const std::string& text, Model::Health severity, Colour colour) {
  switch (severity) {
    case Model::Health::Critical:
      return Painted("31", text, colour);
    case Model::Health::Warning:
      return Painted("33", text, colour);
    default:
      return text;
  }
}

std::string Bold(const std::string& text, Colour colour) {
  return Painted("1", text, colour);
}

std::string Dim(const std::string& text, Colour colour) {
  return Painted("2", text, colour);
}

std::vector<std::string> Wrapped(const std::string& text, std::size_t width) {
  std::vector<std::string> lines;
  std::string rest = text;
  while (WidthOf(rest) > width) {
    const std::size_t most = BytesOf(rest, width);
    const std::size_t blank = rest.rfind(' ', most);
    const std::size_t cut = blank == std::string::npos || blank == 0 ? most : blank;
    lines.push_back(rest.substr(0, cut));
    rest.erase(0, cut);
    rest.erase(0, rest.find_first_not_of(' '));
  }
  lines.push_back(rest);
  return lines;
}

std::string LayoutTable(const std::vector<TableColumn>& columns, const std::vector<TableRow>& rows, std::size_t width,
                        Colour colour) {
  const ShownColumns shown = Fitted(columns, rows, width);
  if (shown.empty()) {
    return "";
  }
  std::vector<std::string> titles(columns.size());
  std::transform(columns.begin(), columns.end(), titles.begin(), [](const auto& column) { return column.title; });
  std::string text;
  for (const std::string& line : LinesOf(columns, shown, titles)) {
    text += Dim(line, colour) + '\n';
  }
  for (const TableRow& row : rows) {
    for (const std::string& line : LinesOf(columns, shown, row.cells)) {
      text += Coloured(line, row.severity, colour) + '\n';
    }
  }
  return text;
}

}  // namespace Kelvar::Tool

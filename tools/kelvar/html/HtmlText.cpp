#include "tools/kelvar/html/HtmlText.h"

#include "common/text/Escape.h"

namespace Kelvar::Tool {

namespace {

const char* EntityOf(char character) {
  switch (character) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

}  // namespace

std::string Escaped(std::string_view text) {
  std::string page;
  for (const char character : Text::EscapeControl(text)) {
    if (const char* const entity = EntityOf(character); entity != nullptr) {
      page += entity;
    } else {
      page += character;
    }
  }
  return page;
}

}  // namespace Kelvar::Tool

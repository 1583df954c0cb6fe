#include "simulator/cim/XmlText.h"

#include <algorithm>

namespace Kelvar::Simulator::Cim {

namespace {

std::string_view ReferenceFor(char c) noexcept {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    case '\t':
      return "&#9;";
    default:
      return {};
  }
}

void AppendKey(std::string& xml, const KeyBinding& key) {
  xml += "<KEYBINDING NAME=\"";
  AppendEscaped(xml, key.name);
  if (key.isReference) {
    xml.append("\"><VALUE.REFERENCE>").append(key.value).append("</VALUE.REFERENCE></KEYBINDING>\n");
    return;
  }
  xml.append("\"><KEYVALUE VALUETYPE=\"").append(key.kind).append("\">");
  AppendEscaped(xml, key.value);
  xml += "</KEYVALUE></KEYBINDING>\n";
}

}  // namespace

void AppendEscaped(std::string& xml, std::string_view text) {
  constexpr std::string_view kSpecial = "&<>\"\n\r\t";
  std::size_t copied = 0;
  for (std::size_t at = text.find_first_of(kSpecial); at != text.npos; at = text.find_first_of(kSpecial, copied)) {
    xml.append(text.substr(copied, at - copied)).append(ReferenceFor(text[at]));
    copied = at + 1;
  }
  xml.append(text.substr(copied));
}

void AppendInstanceName(std::string& xml, const InstanceName& name) {
  xml += "<INSTANCENAME CLASSNAME=\"";
  AppendEscaped(xml, name.className);
  xml += "\">\n";
  for (const KeyBinding& key : name.keys) {
    AppendKey(xml, key);
  }
  xml += "</INSTANCENAME>\n";
}

bool IsXmlText(std::string_view text) noexcept {
  return std::all_of(text.begin(), text.end(), [](char c) {
    return static_cast<unsigned char>(c) >= 0x20 || c == '\t' || c == '\n' || c == '\r';
  });
}

}  // namespace Kelvar::Simulator::Cim

#pragma once

#include <string>

#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "common/text/Escape.h"

namespace Kelvar::Tool {

// In ASCII, nothing that a terminal obeys gets through unescaped.
using JsonBuffer = rapidjson::StringBuffer;
using CompactJson = rapidjson::Writer<JsonBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;
using IndentedJson = rapidjson::PrettyWriter<JsonBuffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;

/// All control characters of ASCII, which JSON has escapes for.
inline const std::string& AsciiControls() {
  static const std::string kControls = [] {
    std::string all(1, '\x7F');
    for (char control = 0; control < ' '; ++control) {
      all += control;
    }
    return all;
  }();
  return kControls;
}

/// A text in any bytes: those that are not UTF-8 become \xNN.
template <typename Writer>
void WriteText(Writer& writer, const std::string& text) {
  const std::string valid = Text::EscapeControl(text, AsciiControls());
  writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

template <typename Writer>
void WriteMember(Writer& writer, const char* key, const std::string& text) {
  writer.Key(key);
  WriteText(writer, text);
}

}  // namespace Kelvar::Tool

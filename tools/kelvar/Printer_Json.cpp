#include <cmath>

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <kelvar/Names.h>

#include "common/text/Escape.h"
#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

namespace {

constexpr unsigned formatVersion = 1;

// In ASCII, nothing that a terminal obeys gets through unescaped.
using Buffer = rapidjson::StringBuffer;
using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::ASCII<>>;

/// All control characters of ASCII, which JSON has escapes for.
std::string AsciiControls() {
  std::string controls(1, '\x7F');
  for (char control = 0; control < ' '; ++control) {
    controls += control;
  }
  return controls;
}

void WriteText(Writer& writer, const std::string& text) {
  static const std::string controls = AsciiControls();
  const std::string valid = Text::EscapeControl(text, controls);
  writer.String(valid.data(), static_cast<rapidjson::SizeType>(valid.size()));
}

struct ValueWriter {
  Writer& writer;

  void operator()(const std::string& text) const { WriteText(writer, text); }
  void operator()(u64 number) const { writer.Uint64(number); }
  void operator()(bool flag) const { writer.Bool(flag); }
  void operator()(float number) const {
    if (std::isfinite(number)) {
      const std::string digits = fmt::format("{}", number);
      writer.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
    } else {
      writer.Null();
    }
  }
  void operator()(const std::vector<std::string>& texts) const {
    writer.StartArray();
    for (const std::string& text : texts) {
      WriteText(writer, text);
    }
    writer.EndArray();
  }
};

void WriteEntry(Writer& writer, const Report::Entry& entry) {
  writer.StartObject();
  writer.Key("what");
  writer.String(entry.command->name);
  writer.Key("result");
  writer.Int(entry.outcome.result);
  writer.Key("result_name");
  writer.String(Kelvar::NameOf(entry.outcome.result));
  writer.Key("complete");
  writer.Bool(entry.exitCode == ExitCode::Complete);
  writer.Key("records");
  writer.StartArray();
  for (const Record& record : entry.outcome.records) {
    writer.StartObject();
    for (const auto& [name, value] : record) {
      writer.Key(name);
      std::visit(ValueWriter{writer}, value);
    }
    writer.EndObject();
  }
  writer.EndArray();
  writer.EndObject();
}

}  // namespace

std::string JsonText(const Report& report) {
  Buffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  writer.Key("format_version");
  writer.Uint(formatVersion);
  writer.Key("target");
  WriteText(writer, report.target);
  writer.Key("results");
  writer.StartArray();
  for (const Report::Entry& entry : report.entries) {
    WriteEntry(writer, entry);
  }
  writer.EndArray();
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace Kelvar::Tool

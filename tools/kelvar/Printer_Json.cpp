#include <chrono>
#include <cmath>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <kelvar/Names.h>

#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/Printer.h"

namespace Kelvar::Tool {

namespace {

constexpr unsigned kFormatVersion = 1;

template <typename Writer>
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

template <typename Writer>
void WriteRecords(Writer& writer, const std::vector<Record>& records) {
  writer.Key("records");
  writer.StartArray();
  for (const Record& record : records) {
    writer.StartObject();
    for (const auto& [name, value] : record) {
      writer.Key(name);
      std::visit(ValueWriter<Writer>{writer}, value);
    }
    writer.EndObject();
  }
  writer.EndArray();
}

template <typename Writer>
void WriteCode(Writer& writer, ExitCode code) {
  writer.Key("code");
  writer.Int(static_cast<int>(code));
  writer.Key("status");
  writer.String(NameOf(code));
}

template <typename Writer>
void WriteResult(Writer& writer, const OperationResult& result) {
  writer.StartObject();
  writer.Key("what");
  writer.String(result.operation->name);
  WriteCode(writer, result.code);
  writer.Key("result");
  writer.Int(result.returned);
  writer.Key("result_name");
  writer.String(Kelvar::NameOf(result.returned));
  if (result.code != ExitCode::Complete) {
    WriteMember(writer, "note", result.note);
    WriteMember(writer, "why", result.why);
  }
  WriteRecords(writer, result.records);
  writer.EndObject();
}

template <typename Writer>
void WriteReport(Writer& writer, const Report& report) {
  writer.StartObject();
  writer.Key("format_version");
  writer.Uint(kFormatVersion);
  WriteMember(writer, "target", report.target);
  if (report.code != ExitCode::Usage) {  // the address was understood
    WriteMember(writer, "protocol", NameOf(report.protocol));
  }
  WriteMember(writer, "start",
              fmt::format("{:%FT%TZ}", fmt::gmtime(std::chrono::floor<std::chrono::seconds>(report.start))));
  writer.Key("seconds");
  const std::string seconds = fmt::format("{:.3f}", report.seconds);
  writer.RawValue(seconds.data(), seconds.size(), rapidjson::kNumberType);
  WriteCode(writer, report.code);
  if (!report.error.empty()) {
    WriteMember(writer, "error", report.error);
  }
  writer.Key("results");
  writer.StartArray();
  for (const OperationResult& result : report.results) {
    WriteResult(writer, result);
  }
  writer.EndArray();
  writer.EndObject();
}

template <typename Writer>
std::string TextOf(JsonBuffer& buffer, Writer& writer, const Report& report) {
  WriteReport(writer, report);
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace

std::string JsonText(const Report& report) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  return TextOf(buffer, writer, report);
}

std::string IndentedJsonText(const Report& report) {
  JsonBuffer buffer;
  IndentedJson writer(buffer);
  writer.SetIndent(' ', 2);
  return TextOf(buffer, writer, report);
}

}  // namespace Kelvar::Tool

#include <chrono>
#include <cmath>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include "tools/kelvar/JsonWriter.h"
#include "tools/kelvar/inventory/Fields.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"

namespace Kelvar::Tool {

namespace {

constexpr unsigned kFormatVersion = 2;

/// Writes a member for a value that is there, and nothing for one that is absent.
template <typename Writer>
class MemberWriter {
 public:
  explicit MemberWriter(Writer& writer) : writer_(writer) {}

  void operator()(const char* key, const std::string& text) const {
    if (!text.empty()) {
      WriteMember(writer_, key, text);
    }
  }
  void operator()(const char* key, const std::optional<double>& number) const {
    if (number && std::isfinite(*number)) {
      writer_.Key(key);
      const std::string digits = fmt::format("{}", *number);
      writer_.RawValue(digits.data(), digits.size(), rapidjson::kNumberType);
    }
  }
  void operator()(const char* key, const std::optional<u64>& number) const {
    if (number) {
      writer_.Key(key);
      writer_.Uint64(*number);
    }
  }
  void operator()(const char* key, const std::optional<u32>& number) const {
    (*this)(key, number ? std::optional<u64>(*number) : std::nullopt);
  }
  void operator()(const char* key, const std::optional<bool>& flag) const {
    if (flag) {
      writer_.Key(key);
      writer_.Bool(*flag);
    }
  }
  void operator()(const char* key, const std::vector<std::string>& texts) const {
    if (!texts.empty()) {
      writer_.Key(key);
      writer_.StartArray();
      for (const std::string& text : texts) {
        WriteText(writer_, text);
      }
      writer_.EndArray();
    }
  }
  void operator()(const char* key, const std::vector<Model::NetworkAddress>& addresses) const {
    if (!addresses.empty()) {
      writer_.Key(key);
      WriteRecords(addresses);
    }
  }

  template <typename Record>
  void WriteRecords(const std::vector<Record>& records) const {
    writer_.StartArray();
    for (const Record& record : records) {
      writer_.StartObject();
      VisitFields(record, *this);
      writer_.EndObject();
    }
    writer_.EndArray();
  }

 private:
  Writer& writer_;
};

template <typename Writer>
void WriteVerdict(Writer& writer, const Model::Verdict& verdict) {
  const MemberWriter<Writer> write(writer);
  write("health", std::string(Model::NameOf(verdict.health)));
  writer.Key("reasons");
  writer.StartArray();
  for (const Model::VerdictReason& reason : verdict.reasons) {
    writer.StartObject();
    write("health", std::string(Model::NameOf(reason.health)));
    write("family", reason.family);
    write("id", reason.id);
    write("text", reason.text);
    writer.EndObject();
  }
  writer.EndArray();
}

template <typename Writer>
void WriteFamilies(Writer& writer, const InventoryReport& report) {
  const MemberWriter<Writer> write(writer);
  writer.Key("families");
  writer.StartObject();
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    writer.Key(Model::NameOf(family));
    writer.StartObject();
    write("status", std::string(Model::NameOf(result.status)));
    write("cause", std::string(result.cause == FailureCause::None ? "" : Kelvar::NameOf(result.cause)));
    write("reason", result.reason);
    writer.EndObject();
  }
  writer.EndObject();
}

template <typename Writer>
void WriteGaps(Writer& writer, const Diagnostics& diagnostics) {
  const MemberWriter<Writer> write(writer);
  if (diagnostics.Gaps().empty()) {
    return;
  }
  writer.Key("gaps");
  writer.StartArray();
  for (const DiagnosticGap& gap : diagnostics.Gaps()) {
    writer.StartObject();
    write("kind", std::string(Kelvar::NameOf(gap.kind)));
    write("cause", std::string(gap.cause == FailureCause::None ? "" : Kelvar::NameOf(gap.cause)));
    write("what", gap.what);
    write("detail", gap.detail);
    writer.EndObject();
  }
  writer.EndArray();
}

template <typename Writer>
void WriteTls(Writer& writer, const DiagnosticTls& tls) {
  if (*tls.version != '\0') {
    writer.Key("tls");
    writer.StartObject();
    WriteMember(writer, "version", std::string(tls.version));
    WriteMember(writer, "verified_by", std::string(Kelvar::NameOf(tls.verification)));
    writer.EndObject();
  }
}

template <typename Writer>
void WriteRecords(Writer& writer, const InventoryReport& report) {
  const MemberWriter<Writer> write(writer);
  for (const Model::Family family : report.families) {
    writer.Key(Model::NameOf(family));
    if (family == Model::Family::Network) {
      writer.StartObject();
      writer.Key("interfaces");
      write.WriteRecords(report.inventory.network_interfaces);
      writer.Key("services");
      write.WriteRecords(report.inventory.network_services);
      writer.EndObject();
    } else {
      VisitRecords(report.inventory, family, [&](const auto& records) { write.WriteRecords(records); });
    }
  }
}

template <typename Writer>
void WriteReport(Writer& writer, const InventoryReport& report, JsonContent content) {
  const MemberWriter<Writer> write(writer);
  writer.StartObject();
  write("format_version", std::optional<u32>(kFormatVersion));
  write("target", report.target);
  write("protocol", report.protocol);
  write("start", fmt::format("{:%FT%TZ}", fmt::gmtime(std::chrono::floor<std::chrono::seconds>(report.start))));
  writer.Key("seconds");
  const std::string seconds = fmt::format("{:.3f}", report.seconds);
  writer.RawValue(seconds.data(), seconds.size(), rapidjson::kNumberType);
  writer.Key("code");
  writer.Int(static_cast<int>(report.code));
  write("status", std::string(NameOf(report.code)));
  write("cause", std::string(report.cause == FailureCause::None ? "" : Kelvar::NameOf(report.cause)));
  write("error", report.error);
  WriteVerdict(writer, report.verdict);
  write("requests", std::optional<u64>(report.diagnostics.ExchangeCount()));
  write("bytes", std::optional<u64>(report.diagnostics.BytesReceived()));
  WriteTls(writer, report.tls);
  WriteFamilies(writer, report);
  WriteGaps(writer, report.diagnostics);
  if (content == JsonContent::All) {
    WriteRecords(writer, report);
  }
  writer.EndObject();
}

template <typename Writer>
std::string Finished(JsonBuffer& buffer, Writer& writer, const InventoryReport& report, JsonContent content) {
  WriteReport(writer, report, content);
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

}  // namespace

std::string JsonText(const InventoryReport& report, JsonContent content) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  return Finished(buffer, writer, report, content);
}

std::string JsonText(const Model::LogEntry& entry) {
  JsonBuffer buffer;
  CompactJson writer(buffer);
  const MemberWriter<CompactJson> write(writer);
  writer.StartObject();
  VisitFields(entry, write);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

std::string IndentedJsonText(const InventoryReport& report, JsonContent content) {
  JsonBuffer buffer;
  IndentedJson writer(buffer);
  writer.SetIndent(' ', 2);
  return Finished(buffer, writer, report, content);
}

}  // namespace Kelvar::Tool

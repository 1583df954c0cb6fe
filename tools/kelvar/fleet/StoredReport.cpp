#include "tools/kelvar/fleet/StoredReport.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string_view>
#include <utility>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Operations.h"

namespace Kelvar::Tool {

namespace {

std::string TextOf(const rapidjson::Value& value) {
  if (value.IsString()) {
    return {value.GetString(), value.GetStringLength()};
  }
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  value.Accept(writer);
  return {buffer.GetString(), buffer.GetSize()};
}

std::string Member(const rapidjson::Value& object, const char* key) {
  const auto found = object.FindMember(key);
  return found != object.MemberEnd() && found->value.IsString() ? TextOf(found->value) : std::string();
}

const rapidjson::Value* List(const rapidjson::Value& object, const char* key) {
  const auto found = object.FindMember(key);
  return found != object.MemberEnd() && found->value.IsArray() ? &found->value : nullptr;
}

bool IsOneOf(std::string_view text, std::initializer_list<std::string_view> words) {
  return std::find(words.begin(), words.end(), text) != words.end();
}

/// Fields that differ from one reading to the next though nothing was changed.
bool Varies(std::string_view field) {
  return IsOneOf(field, {"uptime_seconds", "last_reset_time", "predicted_life_left_percent"});
}

void AddRecords(const rapidjson::Value& records, StoredReport::Part& part) {
  for (const rapidjson::Value& record : records.GetArray()) {
    StoredReport::Record& fields = part.records.emplace_back();
    if (!record.IsObject()) {
      continue;
    }
    for (const auto& [name, value] : record.GetObject()) {
      const std::string field = TextOf(name);
      if (!Varies(field)) {
        fields.emplace_back(field, TextOf(value));
      }
    }
  }
}

bool IsRead(const StoredReport& report, const std::string& word) {
  const auto part = report.parts.find(word);
  return part != report.parts.end() && part->second.status == NameOf(ExitCode::Complete);
}

/// The families of an inventory. One that the target does not have is a complete one without records. Over Redfish a
/// manager's host name is in its interfaces.
void ReadFamilies(const rapidjson::Value& document, const rapidjson::Value& families, StoredReport& report) {
  for (const auto& [name, result] : families.GetObject()) {
    if (!result.IsObject()) {
      continue;
    }
    const std::string family = TextOf(name);
    StoredReport::Part& part = report.parts[family];
    part.status = Member(result, "status");
    part.status = part.status == "absent" ? "complete" : part.status;
    const rapidjson::Value* const records = List(document, family.c_str());
    if (records != nullptr && IsOneOf(family, {"system", "firmware", "components"})) {
      AddRecords(*records, part);
    }
  }
  for (const auto& [what, teller] : {std::pair("system", "network"), std::pair("firmware", "components")}) {
    if (const auto part = report.parts.find(what); part != report.parts.end()) {
      part->second.allFields = IsRead(report, teller);
    }
  }
}

void ReadPart(const rapidjson::Value& result, StoredReport& report) {
  if (!result.IsObject()) {
    return;
  }
  const std::string what = Member(result, "what");
  StoredReport::Part& part = report.parts[what];
  part = {Member(result, "status"), {}};
  const rapidjson::Value* const records = List(result, "records");
  const Operation* const operation = FindOperation(what);
  if (records == nullptr || operation == nullptr || !operation->lasting) {
    return;
  }
  for (const rapidjson::Value& record : records->GetArray()) {
    StoredReport::Record& fields = part.records.emplace_back();
    if (record.IsObject()) {
      for (const auto& [name, value] : record.GetObject()) {
        fields.emplace_back(TextOf(name), TextOf(value));
      }
    }
  }
}

/// The beginning of a report's line, whose run was ended while it was written.
bool IsCutReport(const std::string& line) {
  constexpr std::string_view kBeginning = "{\"format_version\":";
  const std::size_t length = std::min(line.size(), kBeginning.size());
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  return document.HasParseError() && line.compare(0, length, kBeginning.substr(0, length)) == 0;
}

std::optional<StoredReport> StoredReportOf(const rapidjson::Value& document) {
  if (!document.IsObject()) {
    return std::nullopt;
  }
  StoredReport report;
  report.target = Member(document, "target");
  report.status = Member(document, "status");
  if (report.target.empty() || report.status.empty()) {
    return std::nullopt;
  }
  const auto families = document.FindMember("families");
  if (families != document.MemberEnd() && families->value.IsObject()) {
    ReadFamilies(document, families->value, report);
    return report;
  }
  const rapidjson::Value* const results = List(document, "results");
  if (results == nullptr) {
    return std::nullopt;
  }
  for (const rapidjson::Value& result : results->GetArray()) {
    ReadPart(result, report);
  }
  return report;
}

/// Of several reports of one target the last that has a part counts.
void Add(StoredReport report, std::map<std::string, StoredReport>& stored) {
  StoredReport& all = stored[report.target];
  report.parts.merge(all.parts);  // which leaves what both have
  all = std::move(report);
}

/// The reports of a document over several lines, which is one or an array of them.
std::map<std::string, StoredReport> ReportsOf(const rapidjson::Document& document, const std::string& file) {
  std::map<std::string, StoredReport> stored;
  const auto take = [&](const rapidjson::Value& value) {
    auto report = StoredReportOf(value);
    if (!report) {
      throw ToolError(ExitCode::Usage, file + " is JSON, but holds no saved reports");
    }
    Add(std::move(*report), stored);
  };
  if (!document.IsArray()) {
    take(document);
    return stored;
  }
  for (const rapidjson::Value& value : document.GetArray()) {
    take(value);
  }
  return stored;
}

}  // namespace

std::string ValueOf(const StoredReport::Record& record, const std::string& field) {
  const auto found = std::find_if(record.begin(), record.end(), [&](const auto& pair) { return pair.first == field; });
  return found == record.end() ? std::string() : found->second;
}

void KeepWhatLasts(StoredReport& report) {
  for (const char* const family : {"sensors", "leds", "logs", "network"}) {
    report.parts.erase(family);
  }
}

std::optional<StoredReport> ParseStoredReport(const std::string& line) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  return document.HasParseError() ? std::nullopt : StoredReportOf(document);
}

std::map<std::string, StoredReport> ReadStoredReports(const std::string& file) {
  std::ifstream lines(file);
  std::map<std::string, StoredReport> stored;
  std::size_t number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    if (auto report = ParseStoredReport(line)) {
      Add(std::move(*report), stored);
    } else if (!IsCutReport(line)) {
      throw ToolError(ExitCode::Usage,
                      file + " is not a run saved as jsonl: line " + std::to_string(number) + " is not a report");
    }
  }
  if (!lines.is_open() || lines.bad()) {
    throw ToolError(ExitCode::Usage, "cannot read " + file + ": " + std::strerror(errno));
  }
  return stored;
}

std::map<std::string, StoredReport> ReadAnyReports(const std::string& file) {
  std::ifstream content(file);
  const std::string text((std::istreambuf_iterator<char>(content)), std::istreambuf_iterator<char>());
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
  return document.HasParseError() ? ReadStoredReports(file) : ReportsOf(document, file);
}

bool IsComplete(const std::map<std::string, StoredReport>& stored, const ListedTarget& listed) {
  const std::string complete = NameOf(ExitCode::Complete);
  const auto found = stored.find(listed.name);
  if (found == stored.end() || !listed.error.empty()) {
    return false;
  }
  if (listed.what.empty()) {
    return found->second.status == complete;
  }
  return std::all_of(listed.what.begin(), listed.what.end(), [&](const std::string& word) {
    const auto part = found->second.parts.find(word);
    return part != found->second.parts.end() && part->second.status == complete;
  });
}

bool LacksLineEnd(const std::string& file) {
  std::ifstream content(file, std::ios::binary);
  char last = '\n';
  return content.seekg(-1, std::ios::end) && content.get(last) && last != '\n';
}

}  // namespace Kelvar::Tool

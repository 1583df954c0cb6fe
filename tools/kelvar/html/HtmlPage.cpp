#include "tools/kelvar/html/HtmlPage.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <openssl/evp.h>

#include "PageAssets.h"
#include "tools/kelvar/html/HtmlPage_Parts.h"
#include "tools/kelvar/html/HtmlText.h"

namespace Kelvar::Tool {

namespace {

/// Source expression of a content security policy that allows one inline text alone.
std::string HashSource(std::string_view text) {
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned size = 0;
  EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr);
  std::array<unsigned char, 2 * EVP_MAX_MD_SIZE> base64{};
  const int length = EVP_EncodeBlock(base64.data(), digest.data(), static_cast<int>(size));
  return "'sha256-" + std::string(base64.begin(), base64.begin() + length) + "'";
}

bool IsLog(const Record& record) {
  return FieldOf(record, "PerceivedSeverity") != nullptr;
}

/// Columns of a table: the fields that hold something in any record.
std::vector<std::size_t> ColumnsOf(const std::vector<Record>& records) {
  std::vector<std::size_t> columns;
  for (std::size_t field = 0; field < records.front().size(); ++field) {
    if (std::any_of(records.begin(), records.end(),
                    [&](const Record& record) { return !IsEmpty(record[field].second); })) {
      columns.push_back(field);
    }
  }
  return columns;
}

const char* ClassOf(const char* name, const std::string& text) {
  if (std::strcmp(name, "Message") == 0) {
    return "message";
  }
  if (std::strcmp(name, "CreationTimeStamp") == 0) {
    return "time";
  }
  const bool judged = std::strcmp(name, "PerceivedSeverity") == 0 || std::strcmp(name, "HealthState") == 0;
  return judged ? MoodOf(text) : "";
}

std::string CellOf(const char* name, const Value& value) {
  const std::string text = TextOf(value);
  return fmt::format("<td class=\"{}\">{}</td>", ClassOf(name, text), Escaped(text));
}

std::string RowOf(const Record& record, const std::vector<std::size_t>& columns) {
  std::string row = IsLog(record)
                        ? fmt::format("<tr data-severity=\"{}\">", Escaped(FieldText(record, "PerceivedSeverity")))
                        : "<tr>";
  for (const std::size_t column : columns) {
    row += CellOf(record[column].first, record[column].second);
  }
  return row + "</tr>\n";
}

std::string TableOf(const std::vector<Record>& records) {
  const std::vector<std::size_t> columns = ColumnsOf(records);
  std::string table = "<div class=\"scroll\" tabindex=\"0\"><table class=\"wide\"><thead><tr>";
  for (const std::size_t column : columns) {
    table += fmt::format("<th scope=\"col\">{}</th>", records.front()[column].first);
  }
  table += "</tr></thead><tbody>\n";
  for (const Record& record : records) {
    table += RowOf(record, columns);
  }
  return table + "</tbody></table></div>\n";
}

std::string SheetOf(const Record& record) {
  if (!HoldsFact(record)) {
    return "";
  }
  std::string sheet = "<div class=\"scroll\" tabindex=\"0\"><table class=\"sheet\"><tbody>\n";
  for (const auto& [name, value] : record) {
    if (!IsEmpty(value)) {
      sheet += fmt::format("<tr><th scope=\"row\">{}</th><td>{}</td></tr>\n", name, Escaped(TextOf(value)));
    }
  }
  return sheet + "</tbody></table></div>\n";
}

std::string NotesOf(const OperationResult& result) {
  if (result.code == ExitCode::Complete) {
    return result.records.empty() ? "<p class=\"soft\">nothing found</p>\n" : "";
  }
  std::string notes = fmt::format("<p class=\"note {}\">{}</p>\n", result.code == ExitCode::Partial ? "warn" : "bad",
                                  Escaped(result.note));
  return result.why.empty() ? notes : notes + "<p class=\"why\">" + Escaped(result.why) + "</p>\n";
}

std::string BodyOf(const OperationResult& result, Protocol protocol) {
  const std::vector<Record>& records = result.records;
  if (records.empty()) {
    return "";
  }
  if (result.operation->metrics == Operation::Metrics::Sensors) {
    return SensorTable(records, protocol);
  }
  if (result.operation->layout == Operation::Layout::Columns) {
    return TableOf(records);
  }
  std::string sheets;
  for (const Record& record : records) {
    sheets += SheetOf(record);
  }
  return sheets;
}

std::string PartOf(const OperationResult& result, Protocol protocol) {
  const std::vector<Record>& records = result.records;
  std::string title = result.operation->help;
  title.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(title.front())));
  if (records.empty() || result.operation->kind != Operation::Kind::Log) {
    const bool narrow = result.operation->layout == Operation::Layout::Sheet;
    return fmt::format("<div class=\"part{}\"><h3>{}</h3>\n", narrow ? " narrow" : "", title) + NotesOf(result) +
           BodyOf(result, protocol) + "</div>\n";
  }
  constexpr std::size_t most = 20;  // more than these are folded away at first
  return fmt::format("<details class=\"part log\"{}><summary>{} ({})</summary>\n", records.size() > most ? "" : " open",
                     title, records.size()) +
         NotesOf(result) + BodyOf(result, protocol) + "</details>\n";
}

const char* MoodOf(ExitCode code) {
  return code == ExitCode::Complete ? "ok" : (code == ExitCode::Partial ? "warn" : "bad");
}

/// What a person knows the machine by.
std::string NameOfMachine(const Report& report) {
  std::string name;
  for (const OperationResult& result : report.results) {
    if (result.operation->metrics == Operation::Metrics::Identity && !result.records.empty()) {
      const Record& identity = result.records.front();
      for (const char* const field : {"Manufacturer", "ProductName", "SerialNumber"}) {
        const std::string text = FieldText(identity, field);
        name += (name.empty() || text.empty() ? "" : ", ") + text;
      }
    }
  }
  return name.empty() ? name : "<p>" + Escaped(name) + "</p>\n";
}

}  // namespace

const char* MoodOf(const std::string& words) {
  constexpr std::pair<const char*, const char*> moods[] = {
      {"Critical", "bad"},  {"Fatal", "bad"},     {"Major", "bad"},  {"Failure", "bad"}, {"Warning", "warn"},
      {"Abnormal", "warn"}, {"Degraded", "warn"}, {"Minor", "warn"}, {"OK", "ok"},       {"Healthy", "ok"}};
  for (const auto& [word, mood] : moods) {
    if (words.find(word) != std::string::npos) {
      return mood;
    }
  }
  return "";
}

std::string FieldText(const Record& record, const char* name) {
  const Value* const value = FieldOf(record, name);
  return value == nullptr ? std::string() : TextOf(*value);
}

std::string HtmlPage::Head() {
  return fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src {}; script-src {}; "
      "base-uri 'none'; form-action 'none'\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<meta name=\"referrer\" "
      "content=\"no-referrer\">\n<title>Inventory</title>\n<style>{}</style></head>\n<body><main>\n",
      HashSource(pageStyle), HashSource(pageScript), pageStyle);
}

std::string HtmlPage::SectionOf(const Report& report) {
  Digest digest{report.target, report.code, {}};
  for (const OperationResult& result : report.results) {
    if (result.operation->metrics == Operation::Metrics::Firmware && !result.records.empty()) {
      digest.firmware = result.records.front();
    }
  }
  std::size_t number = 0;
  {
    const std::lock_guard lock(mutex_);
    number = ++sections_;
    digests_.emplace(number, std::move(digest));
  }
  std::string section = fmt::format(
      "<section class=\"target\" id=\"target-{}\"><h2>{} <span class=\"badge {}\">{}</span></h2>\n{}"
      "<p class=\"soft\">{:%Y-%m-%d %H:%M:%S} UTC, {:.1f} s</p>\n",
      number, Escaped(report.target), MoodOf(report.code), DescriptionOf(report.code), NameOfMachine(report),
      fmt::gmtime(std::chrono::floor<std::chrono::seconds>(report.start)), report.seconds);
  if (!report.error.empty()) {
    section += "<p class=\"why\">" + Escaped(report.error) + "</p>\n";
  }
  section += "<div class=\"parts\">\n";
  for (const OperationResult& result : report.results) {
    section += PartOf(result, report.protocol);
  }
  return section + "</div></section>\n";
}

std::string HtmlPage::Foot() {
  const std::lock_guard lock(mutex_);
  return Overview() + FirmwareMatrix() + "</main>\n<script>" + pageScript + "</script></body></html>\n";
}

std::string HtmlText(const Report& report) {
  HtmlPage page;
  const std::string section = page.SectionOf(report);
  return HtmlPage::Head() + section + page.Foot();
}

}  // namespace Kelvar::Tool

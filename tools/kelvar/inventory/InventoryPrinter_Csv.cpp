#include <algorithm>

#include "tools/kelvar/CsvText.h"
#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/inventory/Flatten.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"

namespace Kelvar::Tool {

namespace {

std::string Line(const FlatRecord& fields, const std::vector<std::string>& columns) {
  std::string line;
  for (const std::string& column : columns) {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const auto& field) { return column == field.first; });
    line += (line.empty() && &column == &columns.front() ? "" : ",");
    line += found == fields.end() ? std::string() : CsvCell(found->second);
  }
  return line + "\r\n";
}

/// A line without a record; none where no column has anything to say of it.
std::string StatusLine(const FlatRecord& fields, const std::vector<std::string>& columns) {
  std::string line = Line(fields, columns);
  return line.find_first_not_of(",\r\n") == std::string::npos ? std::string() : line;
}

void AddNew(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) {
    names.push_back(name);
  }
}

}  // namespace

std::vector<std::string> CsvColumns(const std::vector<Model::Family>& families,
                                    const std::vector<std::string>& columns) {
  std::vector<std::string> all = {"target", "family", "status", "reason"};
  // Records without values give the names.
  Model::Inventory names;
  names.systems.resize(1);
  names.firmware.resize(1);
  names.components.resize(1);
  names.sensors.resize(1);
  names.leds.resize(1);
  names.log_entries.resize(1);
  names.network_interfaces.resize(1);
  names.network_services.resize(1);
  for (const Model::Family family : families) {
    VisitRecords(names, family, [&](const auto& records) {
      VisitFields(records.front(), [&](const char* name, const auto&) { AddNew(all, name); });
    });
  }
  if (columns.empty()) {
    return all;
  }
  for (const std::string& column : columns) {
    if (std::find(all.begin(), all.end(), column) == all.end()) {
      throw ToolError(ExitCode::Usage, "--columns: unknown column \"" + column + "\"");
    }
  }
  return columns;
}

std::string CsvHead(const std::vector<std::string>& columns) {
  std::string head;
  for (const std::string& column : columns) {
    head += (head.empty() ? "" : ",") + column;
  }
  return head + "\r\n";
}

std::string CsvText(const InventoryReport& report, const std::vector<std::string>& columns) {
  std::string text;
  if (!report.error.empty()) {
    text += StatusLine({{"target", report.target}, {"status", NameOf(report.code)}, {"reason", report.error}}, columns);
  }
  for (const Model::Family family : report.families) {
    const Model::FamilyResult& result = report.inventory.ResultOf(family);
    const FlatRecord place = {
        {"target", report.target}, {"family", Model::NameOf(family)}, {"status", Model::NameOf(result.status)}};
    if (result.status != Model::FamilyStatus::Complete) {
      FlatRecord status = place;
      status.emplace_back("reason", result.reason);
      text += StatusLine(status, columns);
    }
    VisitRecords(report.inventory, family, [&](const auto& records) {
      for (const auto& record : records) {
        FlatRecord fields = place;
        const FlatRecord flat = Flatten(record);
        // A record's own "family" (of an address) does not occur: addresses are flat.
        fields.insert(fields.end(), flat.begin(), flat.end());
        text += Line(fields, columns);
      }
    });
  }
  return text;
}

}  // namespace Kelvar::Tool

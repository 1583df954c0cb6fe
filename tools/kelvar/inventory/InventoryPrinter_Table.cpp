#include <algorithm>
#include <functional>

#include <fmt/format.h>

#include "common/text/Escape.h"
#include "tools/kelvar/inventory/DisplayText.h"
#include "tools/kelvar/inventory/Flatten.h"
#include "tools/kelvar/inventory/InventoryPrinter.h"
#include "tools/kelvar/inventory/TableLayout.h"

namespace Kelvar::Tool {

namespace {

using Text::EscapeControl;

/// One column of a family's table. `key` is that of the record's field, for --columns.
template <typename Record>
struct ColumnRow {
  const char* title;
  int importance;
  bool wraps;
  bool right;
  std::string (*text)(const Record& record);
};

#define KELVAR_CELL(Record, field) [](const Record& record) { return EscapeControl(FlatText(record.field)); }

constexpr ColumnRow<Model::Firmware> kFirmware[] = {
    {"Name", 9, true, false, KELVAR_CELL(Model::Firmware, name)},
    {"Kind", 5, false, false, KELVAR_CELL(Model::Firmware, kind)},
    {"Version", 8, true, false, KELVAR_CELL(Model::Firmware, version)},
    {"Date", 4, false, false, [](const Model::Firmware& record) { return DateText(record.date); }},
    {"Bank", 3, false, false, KELVAR_CELL(Model::Firmware, bank)},
    {"State", 2, false, false, KELVAR_CELL(Model::Firmware, state)}};

constexpr ColumnRow<Model::Component> kComponents[] = {
    {"Kind", 7, false, false, KELVAR_CELL(Model::Component, kind)},
    {"Name", 9, true, false, KELVAR_CELL(Model::Component, name)},
    {"Manufacturer", 3, true, false, KELVAR_CELL(Model::Component, manufacturer)},
    {"Model", 6, true, false, KELVAR_CELL(Model::Component, model)},
    {"Capacity", 5, false, true, CapacityText},
    {"Part number", 3, true, false, KELVAR_CELL(Model::Component, part_number)},
    {"Serial number", 5, false, false, KELVAR_CELL(Model::Component, serial_number)},
    {"Firmware", 4, true, false, KELVAR_CELL(Model::Component, firmware_version)},
    {"Location", 2, true, false, KELVAR_CELL(Model::Component, location)},
    {"State", 7, false, false, KELVAR_CELL(Model::Component, state)},
    {"Health", 8, false, false, KELVAR_CELL(Model::Component, health)}};

std::string SensorNumber(const Model::Sensor& record) {
  return record.reading ? NumberText(record.reading) : ReadingText(record);
}

std::string SensorUnit(const Model::Sensor& record) {
  return record.reading ? UnitText(record.unit) : "";
}

constexpr ColumnRow<Model::Sensor> kSensors[] = {{"Name", 9, true, false, KELVAR_CELL(Model::Sensor, name)},
                                                 {"Reading", 8, true, true, SensorNumber},
                                                 {"Unit", 7, false, false, SensorUnit},
                                                 {"State", 3, false, false, KELVAR_CELL(Model::Sensor, state)},
                                                 {"Health", 6, false, false, KELVAR_CELL(Model::Sensor, health)},
                                                 {"Limits", 4, false, false, LimitsText},
                                                 {"Context", 2, false, false, KELVAR_CELL(Model::Sensor, context)}};

constexpr ColumnRow<Model::Led> kLeds[] = {{"Name", 9, true, false, KELVAR_CELL(Model::Led, name)},
                                           {"Purpose", 5, false, false, KELVAR_CELL(Model::Led, purpose)},
                                           {"State", 8, false, false, KELVAR_CELL(Model::Led, state)}};

constexpr ColumnRow<Model::LogEntry> kLogs[] = {
    {"Time (UTC)", 7, false, false, [](const Model::LogEntry& record) { return TimeText(record.created); }},
    {"Severity", 6, false, false, KELVAR_CELL(Model::LogEntry, severity)},
    {"Message", 9, true, false,
     [](const Model::LogEntry& record) {
       return EscapeControl(record.message.empty() ? record.message_id : record.message);
     }},
    {"Source", 3, true, false, KELVAR_CELL(Model::LogEntry, source)},
    {"Log", 2, false, false, KELVAR_CELL(Model::LogEntry, log)}};

std::string AddressesText(const Model::NetworkInterface& record) {
  std::string text;
  for (const Model::NetworkAddress& address : record.addresses) {
    text += (text.empty() ? "" : ", ") + AddressText(address);
  }
  return text;
}

std::string ListText(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : ", ") + EscapeControl(text);
  }
  return all;
}

std::string NameServersText(const Model::NetworkInterface& record) {
  return ListText(record.name_servers);
}

constexpr ColumnRow<Model::NetworkInterface> kInterfaces[] = {
    {"Interface", 9, true, false,
     [](const Model::NetworkInterface& record) {
       return EscapeControl(record.name.empty() ? record.id : record.name);
     }},
    {"Owner", 5, false, false, KELVAR_CELL(Model::NetworkInterface, owner)},
    {"MAC address", 6, false, false, KELVAR_CELL(Model::NetworkInterface, mac_address)},
    {"Link", 4, false, false, KELVAR_CELL(Model::NetworkInterface, link)},
    {"Addresses", 8, true, false, AddressesText},
    {"Host name", 5, true, false, KELVAR_CELL(Model::NetworkInterface, host_name)},
    {"Name servers", 3, true, false, NameServersText}};

std::string EnabledText(const Model::NetworkService& record) {
  return record.enabled ? (*record.enabled ? "enabled" : "disabled") : "";
}

constexpr ColumnRow<Model::NetworkService> kServices[] = {
    {"Service", 9, false, false, KELVAR_CELL(Model::NetworkService, name)},
    {"State", 8, false, false, EnabledText},
    {"Port", 5, false, true, KELVAR_CELL(Model::NetworkService, port)},
    {"Cipher suites", 4, true, false,
     [](const Model::NetworkService& record) { return ListText(record.cipher_suites); }}};

Model::Health SeverityClass(const Model::Sensor& record) {
  return HealthOf(record);
}
Model::Health SeverityClass(const Model::Component& record) {
  return record.state == "absent" ? Model::Health::Unknown : HealthOf(record.health);
}
Model::Health SeverityClass(const Model::LogEntry& record) {
  return HealthOf(record.severity);
}
template <typename Record>
Model::Health SeverityClass(const Record& /*record*/) {
  return Model::Health::Unknown;
}

/// Logs have an order of their own; elsewhere what is not ok comes first.
template <typename Record>
constexpr bool kWorstFirst = !std::is_same_v<Record, Model::LogEntry>;

template <typename Record>
std::string TableOfRows(const std::vector<TableColumn>& columns, const std::vector<Record>& records,
                        const TableStyle& style, const std::function<std::vector<std::string>(const Record&)>& cells) {
  std::vector<TableRow> rows(records.size());
  std::transform(records.begin(), records.end(), rows.begin(), [&](const Record& record) {
    return TableRow{cells(record), SeverityClass(record)};
  });
  if (kWorstFirst<Record>) {
    std::stable_sort(rows.begin(), rows.end(), [](const TableRow& left, const TableRow& right) {
      return std::max(left.severity, Model::Health::Ok) > std::max(right.severity, Model::Health::Ok);
    });
  }
  return LayoutTable(columns, rows, style.width, style.colour);
}

template <typename Record, std::size_t N>
std::string TableOf(const ColumnRow<Record> (&table)[N], const std::vector<Record>& records, const TableStyle& style) {
  std::vector<TableColumn> columns;
  for (const ColumnRow<Record>& column : table) {
    columns.push_back({column.title, column.importance, column.wraps, column.right});
  }
  return TableOfRows<Record>(columns, records, style, [&](const Record& record) {
    std::vector<std::string> cells;
    for (const ColumnRow<Record>& column : table) {
      cells.push_back(column.text(record));
    }
    return cells;
  });
}

/// The columns that the user names, under their keys.
template <typename Record>
std::string ChosenTable(const std::vector<Record>& records, const TableStyle& style) {
  std::vector<TableColumn> columns;
  int importance = static_cast<int>(style.columns.size());
  for (const std::string& key : style.columns) {
    columns.push_back({key, importance--, true, false});
  }
  return TableOfRows<Record>(columns, records, style, [&](const Record& record) {
    const FlatRecord flat = Flatten(record);
    std::vector<std::string> cells;
    for (const std::string& key : style.columns) {
      const auto found = std::find_if(flat.begin(), flat.end(), [&](const auto& field) { return key == field.first; });
      cells.push_back(found == flat.end() ? std::string() : EscapeControl(found->second));
    }
    return cells;
  });
}

std::string UpperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](char letter) { return static_cast<char>(std::toupper(static_cast<unsigned char>(letter))); });
  return text;
}

/// Keys of a record as people read them: "Serial number", "BIOS version".
std::string TitleOf(const std::string& key) {
  const std::string first = key.substr(0, key.find('_'));
  const bool initials = first == "id" || first == "sku" || first == "uuid" || first == "bios";
  std::string title =
      (initials ? UpperCase(first) : UpperCase(key.substr(0, 1)) + first.substr(1)) + key.substr(first.size());
  std::replace(title.begin(), title.end(), '_', ' ');
  return title;
}

std::string SheetOf(const Model::System& record, const TableStyle& style) {
  constexpr std::size_t kTitleWidth = 18;
  const std::string name = record.name.empty() ? record.id : record.name;
  std::string text = "  " + Bold(EscapeControl(record.kind + " " + name), style.colour) + '\n';
  VisitFields(record, [&](const char* key, const auto& value) {
    const std::string shown = EscapeControl(FlatText(value));
    const bool heading = std::string_view(key) == "name" || std::string_view(key) == "kind";
    if (shown.empty() || heading) {
      return;
    }
    std::string title = TitleOf(key);
    title.resize(std::max(title.size(), kTitleWidth), ' ');
    const std::string severity =
        std::string_view(key) == "health" ? Coloured(shown, HealthOf(shown), style.colour) : shown;
    text += "  " + Dim(title, style.colour) + "  " + severity + '\n';
  });
  return text;
}

std::string SystemsText(const std::vector<Model::System>& systems, const TableStyle& style) {
  if (!style.columns.empty()) {
    return ChosenTable(systems, style);
  }
  std::string text;
  for (const Model::System& system : systems) {
    text += SheetOf(system, style);
  }
  return text;
}

template <typename Record, std::size_t N>
std::string RecordsText(const ColumnRow<Record> (&table)[N], const std::vector<Record>& records,
                        const TableStyle& style) {
  if (records.empty()) {
    return "";
  }
  return style.columns.empty() ? TableOf(table, records, style) : ChosenTable(records, style);
}

std::string FamilyText(const Model::Inventory& inventory, Model::Family family, const TableStyle& style) {
  switch (family) {
    case Model::Family::System:
      return SystemsText(inventory.systems, style);
    case Model::Family::Firmware:
      return RecordsText(kFirmware, inventory.firmware, style);
    case Model::Family::Components:
      return RecordsText(kComponents, inventory.components, style);
    case Model::Family::Sensors:
      return RecordsText(kSensors, inventory.sensors, style);
    case Model::Family::Leds:
      return RecordsText(kLeds, inventory.leds, style);
    case Model::Family::Logs:
      return RecordsText(kLogs, inventory.log_entries, style);
    case Model::Family::Network:
      return RecordsText(kInterfaces, inventory.network_interfaces, style) +
             RecordsText(kServices, inventory.network_services, style);
  }
  return "";
}

/// Heading of a family, with a note when it is not complete.
std::string HeadOf(const InventoryReport& report, Model::Family family, const TableStyle& style) {
  const Model::FamilyResult& result = report.inventory.ResultOf(family);
  const std::string name = Bold(Model::NameOf(family), style.colour);
  if (result.status == Model::FamilyStatus::Complete) {
    return name + '\n';
  }
  const bool absent = result.status == Model::FamilyStatus::Absent;
  const std::string note =
      (absent ? "" : std::string(Model::NameOf(result.status)) + ": ") + EscapeControl(ReasonOf(result));
  const Model::Health severity =
      result.status == Model::FamilyStatus::Failed ? Model::Health::Critical : Model::Health::Warning;
  return name + ": " + Coloured(note, severity, style.colour) + '\n';
}

}  // namespace

std::string ReasonLines(const Model::Verdict& verdict, Colour colour, std::size_t width) {
  constexpr std::size_t kIndent = 4;  // of what continues a reason
  std::string text;
  for (const Model::VerdictReason& reason : verdict.reasons) {
    const std::string line = fmt::format("{}: {}", Model::NameOf(reason.health), EscapeControl(reason.text));
    std::size_t indent = kIndent / 2;
    for (const std::string& piece : Wrapped(line, width > kIndent ? width - kIndent : std::string::npos)) {
      text += std::string(indent, ' ') + Coloured(piece, reason.health, colour) + '\n';
      indent = kIndent;
    }
  }
  return text;
}

std::string LogLine(const Model::LogEntry& entry, Colour colour) {
  const std::string severity = fmt::format("{:<8}", EscapeControl(entry.severity));
  return fmt::format("{:<19}  {}  {}  {}\n", TimeText(entry.created),
                     Coloured(severity, HealthOf(entry.severity), colour),
                     EscapeControl(entry.message.empty() ? entry.message_id : entry.message),
                     Dim("(" + EscapeControl(entry.log) + ")", colour));
}

std::string VerdictText(const Model::Verdict& verdict, Colour colour, std::size_t width) {
  return Bold("health", colour) + ": " + Coloured(Model::NameOf(verdict.health), verdict.health, colour) + '\n' +
         ReasonLines(verdict, colour, width);
}

std::string TableText(const InventoryReport& report, const TableStyle& style) {
  if (report.all_families && !report.error.empty()) {  // of the target as a whole, so that one line says it
    return Bold("health", style.colour) + ": " +
           Coloured(Model::NameOf(report.verdict.health), report.verdict.health, style.colour) + " (" +
           EscapeControl(report.error) + ")\n";
  }
  std::string text = report.all_families ? VerdictText(report.verdict, style.colour, style.width) : "";
  for (const Model::Family family : report.families) {
    if (report.all_families && report.inventory.ResultOf(family).status == Model::FamilyStatus::Absent) {
      continue;
    }
    text += (text.empty() ? "" : "\n") + HeadOf(report, family, style) + FamilyText(report.inventory, family, style);
  }
  return text;
}

}  // namespace Kelvar::Tool

#include <iterator>
#include <ostream>

#include <kelvar/NodeFirmwareInventory.h>

#include "common/log/LogMacros.h"
#include "common/text/FixedText.h"

namespace Kelvar {

using KelvarNfw::NODEFIRMWAREBUILDID;

namespace {

/// One line of the report: what comes before a field, and the field.
struct ReportPiece {
  const char* label;
  std::string_view (*value)(const NODEFIRMWAREBUILDID& record);
  bool endsLine = false;
};

template <auto Field>
std::string_view ValueOf(const NODEFIRMWAREBUILDID& record) {
  return Text::FixedView(record.*Field);
}

constexpr ReportPiece kReport[] = {
    {"{BMCBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::BMCBuildID>},
    {"; BMCBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::BMCBuildDate>},
    {"; BMCBackUpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::BMCBackUpBuildID>},
    {"; BMCBackUpBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::BMCBackUpBuildDate>, true},
    {"; uEFIBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::uEFIBuildID>},
    {"; uEFIBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::uEFIBuildDate>},
    {"; uEFIBackUpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::uEFIBackUpBuildID>},
    {"; uEFIBackUpBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::uEFIBackUpBuildDate>, true},
    {"; QDGpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::QDGpBuildID>},
    {"; QDGpBuildIDDate = ", ValueOf<&NODEFIRMWAREBUILDID::QDGpBuildIDDate>, true},
    {"; BMCPVQBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::BMCPVQBuildID>},
    {"; BMCPVQBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::BMCPVQBuildDate>},
    {"; BMCPVQBackUpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::BMCPVQBackUpBuildID>},
    {"; BMCPVQBackUpBuildDate = ", ValueOf<&NODEFIRMWAREBUILDID::BMCPVQBackUpBuildDate>, true},
    {"; WRBpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::WRBpBuildID>},
    {"; WRBpBuildIDDate = ", ValueOf<&NODEFIRMWAREBUILDID::WRBpBuildIDDate>},
    {"; DRVLNpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::DRVLNpBuildID>},
    {"; DRVLNpBuildIDDate = ", ValueOf<&NODEFIRMWAREBUILDID::DRVLNpBuildIDDate>},
    {"; DRVWNpBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::DRVWNpBuildID>},
    {"; DRVWNpBuildIDDate = ", ValueOf<&NODEFIRMWAREBUILDID::DRVWNpBuildIDDate>},
    {"; SorelBuildID = ", ValueOf<&NODEFIRMWAREBUILDID::SorelBuildID>},
    {"; SorelBuildIDDate = ", ValueOf<&NODEFIRMWAREBUILDID::SorelBuildIDDate>},
};
static_assert(std::size(kReport) == 22, "every array of the record is in the report");

struct Report {
  const NODEFIRMWAREBUILDID& record;
};

std::ostream& operator<<(std::ostream& stream, const Report& report) {
  for (const ReportPiece& piece : kReport) {
    stream << piece.label << piece.value(report.record) << (piece.endsLine ? "\n" : "");
  }
  return stream << '}';
}

}  // namespace

void NodeFirmwareInventory::LogFirmwareBuildID(std::vector<NODEFIRMWAREBUILDID>& list) {
  if (Log::GetMinLogLevel() < 4) {
    return;
  }
  try {
    for (const NODEFIRMWAREBUILDID& record : list) {
      KELVAR_LOG(4) << Report{record};
    }
  } catch (...) {  // the list stays, whatever becomes of its report
  }
}

}  // namespace Kelvar

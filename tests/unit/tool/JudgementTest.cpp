// What an operation comes to, by what it met on its way.

#include <gtest/gtest.h>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "tools/kelvar/Judgement.h"
#include "tools/kelvar/Suggestion.h"

namespace Kelvar::Tool {
namespace {

using Inventory = NodeFirmwareInventory;

constexpr auto kSuccess = Inventory::INVENTORY_SUCCESS;
constexpr auto kRestFailed = Inventory::INVENTORY_REST_FAILED;

struct Case {
  const char* name;
  const char* operation;
  Inventory::INVENTORYRETURNCODE returned;
  bool records;
  FailureCause exchange;  ///< of the only exchange
  std::optional<GapKind> gap;
  bool understood;
  ExitCode code;
};

constexpr auto kNone = FailureCause::None;

const Case kCases[] = {
    {"all is there", "sensors", kSuccess, true, kNone, {}, true, ExitCode::Complete},
    {"a row is missing", "sensors", kSuccess, true, kNone, GapKind::Unusable, true, ExitCode::Partial},
    {"failed at last", "sensors", kRestFailed, true, kNone, {}, true, ExitCode::Partial},
    {"a record is whole with a gap", "identity", kSuccess, true, kNone, GapKind::Failure, true, ExitCode::Complete},
    {"an empty list", "sensors", kSuccess, false, kNone, {}, true, ExitCode::Complete},
    {"an empty record", "firmware", kSuccess, false, kNone, {}, true, ExitCode::Unsupported},
    {"a list of links", "sensors", kSuccess, false, kNone, GapKind::LinksOnly, true, ExitCode::Unsupported},
    {"no such log", "log", kRestFailed, false, kNone, {}, true, ExitCode::Unsupported},
    {"404", "log", kRestFailed, false, FailureCause::NotOffered, {}, true, ExitCode::Unsupported},
    {"login", "log", kRestFailed, false, FailureCause::LoginRefused, {}, false, ExitCode::LoginRefused},
    {"silence", "log", kRestFailed, false, FailureCause::Unreachable, {}, true, ExitCode::Unreachable},
    {"time", "log", kRestFailed, false, FailureCause::Deadline, {}, true, ExitCode::Unreachable},
    {"TLS", "log", kRestFailed, false, FailureCause::Tls, {}, false, ExitCode::Tls},
    {"too large", "log", kRestFailed, false, FailureCause::TooLarge, {}, true, ExitCode::BadData},
    {"another service", "log", kRestFailed, false, FailureCause::NotSuchService, {}, false, ExitCode::Unsupported},
    {"a page amid a service", "log", kRestFailed, false, FailureCause::NotSuchService, {}, true, ExitCode::BadData},
    {"a gap alone", "log", kRestFailed, false, kNone, GapKind::Unusable, true, ExitCode::BadData},
};

TEST(Judgement, GoesByRecordsAndByWhatWasMet) {
  for (const Case& c : kCases) {
    Diagnostics met;
    {
      const DiagnosticsScope scope(met);
      DiagnosticsRecorder::Add({"redfish", "GET /x", "HTTP 0", 0, 0, 0, 1, c.exchange});
      if (c.gap) {
        DiagnosticsRecorder::AddGap(*c.gap, FailureCause::None, "/x", "why");
      }
    }
    Outcome outcome{c.returned, {}};
    if (c.records) {
      outcome.records.push_back({{"Name", std::string("a")}});
    }
    const Judgement judgement = Judge(OperationNamed(c.operation), outcome, met, c.understood);
    EXPECT_EQ(judgement.code, c.code) << c.name;
    EXPECT_EQ(judgement.note.empty(), c.code == ExitCode::Complete) << c.name;
  }
}

TEST(Records, HoldAFactOrNone) {
  KelvarNfw::ZMCMESSAGELOGDATAREST entry;
  entry.Message = entry.PerceivedSeverity = entry.ElementName = "Unknown";
  entry.Hidden = true;
  entry.RecordIndex = 7;
  EXPECT_FALSE(HoldsFact(RecordOf(entry)));
  entry.ElementName = "Entry 7";
  EXPECT_TRUE(HoldsFact(RecordOf(entry)));
}

TEST(Suggestion, NamesANearMissAlone) {
  const std::vector<std::string> known{"sensors", "system", "ip", "log"};
  EXPECT_EQ(Suggestion("sensor", known), "; did you mean sensors?");
  EXPECT_EQ(Suggestion("lgo", known), "");
  EXPECT_EQ(Suggestion("loq", known), "; did you mean log?");
  EXPECT_EQ(Suggestion("fan-speed", known), "");
  EXPECT_EQ(Suggestion(std::string(100'000, 's'), known), "");
}

}  // namespace
}  // namespace Kelvar::Tool

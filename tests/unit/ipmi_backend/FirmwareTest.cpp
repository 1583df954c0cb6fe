#include <gmock/gmock.h>

#include "common/text/FixedText.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using Records = std::vector<KelvarNfw::NODEFIRMWAREBUILDID>;

constexpr u8 kOem = 0x3A;
constexpr u8 kVPD = 0x0B;
constexpr u8 kPath = 0xC4;

const Bytes kUEFI = {0x06, 0x04, 0x10, 0x24};
const Bytes kUEFIBackUp = {0x4E, 0x04, 0x10, 0x24};

struct Path {
  Bytes head;
  const char* text;
  Bytes Request() const { return head + BytesOf(text); }
};
const Path kBackUpID{{0x00, 0x00, 0x22, 0xA0}, "/qelc/dm/fw/zmc2/backup_build_id"};
const Path kBackUpDate{{0x00, 0x00, 0x24, 0xA2}, "/qelc/dm/fw/zmc2/backup_build_date"};
const Path kBackUpVersion{{0x00, 0x00, 0x27, 0xA5}, "/qelc/dm/fw/zmc2/backup_build_version"};
const Path kQDGID{{0x00, 0x00, 0x14, 0x90}, "/v2/qdg/build_id"};
const Path kQDGVersion{{0x00, 0x00, 0x16, 0x95}, "/v2/qdg/build_version"};
const Path kQDGDate{{0x00, 0x00, 0x16, 0x92}, "/v2/qdg/build_date"};

Bytes PathReply(std::string_view text) {
  return Bytes{1, 2, 3, 4} + BytesOf(text);
}

/// Version, build ID filled up with blanks to 22, date.
Bytes UEFIReply(std::string version, std::string buildID) {
  buildID.resize(22, ' ');
  return BytesOf(version + buildID + "2026-02-20");
}

/// A second-generation target that answers everything.
void ScriptTarget(ScriptedIpmi& bmc) {
  bmc.On(kOem, 0x50, {Reply(BytesOf("TBC128K??2026-03-14"))});
  bmc.On(0x06, 0x01, {Reply({0x20, 0x81, 0x82, 0x45})});
  bmc.On(kOem, 0xC1, {Reply({0x00, 0x01})});
  bmc.On(kOem, kPath, kBackUpID.Request(), {Reply(PathReply("TBC119H"))});
  bmc.On(kOem, kPath, kBackUpDate.Request(), {Reply(PathReply("2025-11-02 and more"))});
  bmc.On(kOem, kPath, kBackUpVersion.Request(), {Reply(PathReply("2.31"))});
  bmc.On(kOem, kVPD, kUEFI, {Reply(UEFIReply("3.10", "TBE207M"))});
  bmc.On(kOem, kVPD, kUEFIBackUp, {Reply(UEFIReply("3.02", "TBE198L"))});
  bmc.On(kOem, kPath, kQDGID.Request(), {Reply(PathReply("QDG112C"))});
  bmc.On(kOem, kPath, kQDGVersion.Request(), {Reply(PathReply("4 07"))});
  bmc.On(kOem, kPath, kQDGDate.Request(), {Reply(PathReply("2026-01-30"))});
}

template <std::size_t N>
std::string Shown(const char (&field)[N]) {
  EXPECT_EQ(field[N - 1], '\0');
  return std::string(Text::FixedView(field)) + "|";
}

std::string Shown(const Records& records) {
  std::string text;
  for (const auto& r : records) {
    text += Shown(r.BMCBuildID) + Shown(r.BMCBuildDate) + Shown(r.BMCBackUpBuildID) + Shown(r.BMCBackUpBuildDate) +
            Shown(r.uEFIBuildID) + Shown(r.uEFIBuildDate) + Shown(r.uEFIBackUpBuildID) + Shown(r.uEFIBackUpBuildDate) +
            Shown(r.QDGpBuildID) + Shown(r.QDGpBuildIDDate);
  }
  return text;
}

const std::string kBMC = "TBC128K-2.45|2026-03-14|";
const std::string kBackUp = "TBC119H-2.31|2025-11-02|";
const std::string kUEFIs = "TBE207M-3.10|2026-02-20|TBE198L-3.02|2026-02-20|";
const std::string kQDG = "QDG112C-4 07|2026-01-30|";

struct Case {
  const char* name;
  std::function<void(ScriptedIpmi& bmc)> change;
  int code;
  std::string record;
};

void PrintTo(const Case& c, std::ostream* stream) {
  *stream << c.name;
}

auto Ask(const Path& path, IpmiAnswer answer) {
  return [=](ScriptedIpmi& bmc) { bmc.On(kOem, kPath, path.Request(), {answer}); };
}

auto Command(u8 netFn, u8 command, IpmiAnswer answer) {
  return [=](ScriptedIpmi& bmc) { bmc.On(netFn, command, {answer}); };
}

auto UEFI(IpmiAnswer answer) {
  return [=](ScriptedIpmi& bmc) { bmc.On(kOem, kVPD, kUEFI, {answer}); };
}

std::string WithUEFI(const std::string& buildID, const std::string& date = "2026-02-20") {
  return kBMC + kBackUp + buildID + "|" + date + "|TBE198L-3.02|2026-02-20|" + kQDG;
}

const std::vector<Case> kCases = {
    {"Everything", [](ScriptedIpmi&) {}, 0, kBMC + kBackUp + kUEFIs + kQDG},

    {"BuildInfoRefused", Command(kOem, 0x50, Refuse(0xD5)), 0, "2.45||" + kBackUp + kUEFIs + kQDG},
    {"BuildInfoShort", Command(kOem, 0x50, Reply(Bytes(18, 'x'))), 0, "2.45||" + kBackUp + kUEFIs + kQDG},
    {"DeviceIDOutOfRange", Command(0x06, 0x01, Refuse(0xC9)), 2, "TBC128K-|2026-03-14|||||||||"},
    {"DeviceIDNotPresent", Command(0x06, 0x01, Refuse(0xCB)), 3, "TBC128K-|2026-03-14|||||||||"},
    {"DeviceIDNotSupportedNow", Command(0x06, 0x01, Refuse(0xD5)), 15, "TBC128K-|2026-03-14|||||||||"},
    {"DeviceIDNoExchange", Command(0x06, 0x01, NoExchange(0)), 15, "TBC128K-|2026-03-14|||||||||"},
    {"DeviceIDShort", Command(0x06, 0x01, Reply({1, 2, 3})), 15, "TBC128K-|2026-03-14|||||||||"},
    {"RevisionOutsideTheAlphabet", Command(0x06, 0x01, Reply({0, 0, 0xFF, 0xAF})), 0,
     "TBC128K-127. _|2026-03-14|" + kBackUp + kUEFIs + kQDG},
    {"RevisionOfPunctuation", Command(0x06, 0x01, Reply({0, 0, 0x0B, 0xDC})), 0,
     "TBC128K--.:.|2026-03-14|" + kBackUp + kUEFIs + kQDG},

    {"FirstGeneration", Command(kOem, 0xC1, Reply({0xFF, 0xFE})), 0, kBMC + "||" + kUEFIs + kQDG},
    {"GenerationRefused", Command(kOem, 0xC1, Refuse(0xD5)), 4, kBMC + "||||||||"},
    {"GenerationRaises", Command(kOem, 0xC1, Throw("gone")), 5, kBMC + "||||||||"},

    {"BackUpIDShort", Ask(kBackUpID, Reply(PathReply("TBC119"))), 0, kBMC + "NULL----2.31|2025-11-02|" + kUEFIs + kQDG},
    {"BackUpIDRefused", Ask(kBackUpID, Refuse(0xC9)), 0, kBMC + "|2025-11-02|" + kUEFIs + kQDG},
    {"BackUpDateShort", Ask(kBackUpDate, Reply(PathReply("2025-11-0"))), 0,
     kBMC + "TBC119H-2.31|NULL---|" + kUEFIs + kQDG},
    {"BackUpDateRefused", Ask(kBackUpDate, Refuse(0xC9)), 0, kBMC + "TBC119H-2.31||" + kUEFIs + kQDG},
    {"BackUpVersionShort", Ask(kBackUpVersion, Reply({1, 2})), 0, kBMC + "TBC119H-NULL|2025-11-02|" + kUEFIs + kQDG},
    {"BackUpVersionRefused", Ask(kBackUpVersion, Refuse(0xD5)), 4, kBMC + "TBC119H-|2025-11-02|||||||"},

    {"UEFIRefused", UEFI(Refuse(0xCB)), 3, kBMC + kBackUp + "||||||"},
    {"UEFIShort", UEFI(Reply(Bytes(35, 'x'))), 15, kBMC + kBackUp + "||||||"},
    {"UEFINoBuildID", UEFI(Reply(UEFIReply("3.10", ""))), 0, WithUEFI("-3.10")},
    {"UEFI18Characters", UEFI(Reply(UEFIReply("3.10", std::string(18, 'x')))), 0,
     WithUEFI(std::string(18, 'x') + "-3.10")},
    {"UEFI19Characters", UEFI(Reply(UEFIReply("3.10", std::string(19, 'x')))), 0, WithUEFI(std::string(19, 'x'))},
    {"UEFIRunsIntoItsDate", UEFI(Reply(UEFIReply("3.10", std::string(22, 'x')))), 0,
     WithUEFI(std::string(22, 'x') + "2")},
    {"UEFIBackUpRefused", [](ScriptedIpmi& bmc) { bmc.On(kOem, kVPD, kUEFIBackUp, {Refuse(0xC9)}); }, 2,
     kBMC + kBackUp + "TBE207M-3.10|2026-02-20|||||"},

    {"QDGIDShort", Ask(kQDGID, Reply({})), 0, kBMC + kBackUp + kUEFIs + "NULL----4 07|2026-01-30|"},
    {"QDGIDRefused", Ask(kQDGID, Refuse(0xD5)), 0, kBMC + kBackUp + kUEFIs + "|2026-01-30|"},
    {"QDGVersionShort", Ask(kQDGVersion, Reply(PathReply("4.0"))), 0,
     kBMC + kBackUp + kUEFIs + "QDG112C-NULL|2026-01-30|"},
    {"QDGVersionRefused", Ask(kQDGVersion, Refuse(0xC9)), 0, kBMC + kBackUp + kUEFIs + "QDG112C-|2026-01-30|"},
    {"QDGDateShort", Ask(kQDGDate, Reply(PathReply("2026-01-3"))), 0,
     kBMC + kBackUp + kUEFIs + "QDG112C-4 07|NULL------|"},
    {"QDGDateRefused", Ask(kQDGDate, Refuse(0xD5)), 4, kBMC + kBackUp + kUEFIs + "QDG112C-4 07||"},

    {"RaisesInTheFirstStep", Command(kOem, 0x50, Throw("gone")), 5, ""},
    {"RaisesInALaterStep", UEFI(Throw("gone")), 5, ""},
    {"OtherExceptionInTheFirstStep", Command(kOem, 0x50, ThrowOther()), 15, ""},
    {"OtherExceptionInALaterStep", UEFI(ThrowOther()), 0, ""},
};

class Firmware : public testing::TestWithParam<Case> {};

TEST_P(Firmware, FillsTheRecord) {
  const LogCapture log;
  ScriptedIpmi bmc;
  ScriptTarget(bmc);
  GetParam().change(bmc);
  NodeFirmwareInventoryImpIPMI backend({}, bmc.Transport());
  Records records;
  testing::internal::CaptureStdout();
  EXPECT_EQ(backend.GetNodeFirmwareBuildID(records), GetParam().code);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(Shown(records), GetParam().record);
}

INSTANTIATE_TEST_SUITE_P(Cases, Firmware, testing::ValuesIn(kCases),
                         [](const auto& param) { return std::string(param.param.name); });

struct Outcome {
  Records records;
  std::string standardOutput;
};

Outcome Query(const std::function<void(ScriptedIpmi& bmc)>& change) {
  ScriptedIpmi bmc;
  ScriptTarget(bmc);
  change(bmc);
  NodeFirmwareInventoryImpIPMI backend({}, bmc.Transport());
  Outcome outcome;
  testing::internal::CaptureStdout();
  backend.GetNodeFirmwareBuildID(outcome.records);
  outcome.standardOutput = testing::internal::GetCapturedStdout();
  return outcome;
}

TEST(FirmwareQueries, FirstGenerationIsNotAskedForItsBackUpImage) {
  ScriptedIpmi bmc;
  ScriptTarget(bmc);
  bmc.On(kOem, 0xC1, {Reply({0, 0})});
  NodeFirmwareInventoryImpIPMI backend({}, bmc.Transport());
  Records records;
  const LogCapture log;
  EXPECT_EQ(backend.GetNodeFirmwareBuildID(records), 0);
  EXPECT_EQ(bmc.Sent(kOem, kPath), (std::vector<Bytes>{kQDGID.Request(), kQDGVersion.Request(), kQDGDate.Request()}));
  EXPECT_TRUE(log.Has(4, "Exit buildZMCBackUpInfo, due to target is a ZMC1 system which does not have backup version"));
}

TEST(FirmwareQueries, OnlyTheTwoQDGStepsWriteToStandardOutput) {
  const LogCapture log;
  EXPECT_EQ(Query([](ScriptedIpmi&) {}).standardOutput, "");
  EXPECT_EQ(Query(Ask(kQDGID, Refuse(0xC9))).standardOutput, "");
  EXPECT_EQ(Query(Ask(kQDGVersion, Refuse(0xC9))).standardOutput,
            "QDG complete code not zero= 2 0 0 16 95 2f 76 32 2f 71 64 67 2f 62 75 69 6c 64 5f 76 65 72 73 69 6f 6e ");
  EXPECT_EQ(Query(Ask(kQDGDate, NoExchange())).standardOutput,
            "QDG complete code not zero= 15 0 0 16 92 2f 76 32 2f 71 64 67 2f 62 75 69 6c 64 5f 64 61 74 65 ");
}

TEST(FirmwareQueries, FailuresAreLogged) {
  const std::string size = "the size response data is invalid expect ";
  const struct {
    std::function<void(ScriptedIpmi& bmc)> change;
    std::vector<std::string> lines;
  } cases[] = {
      {Command(kOem, 0x50, Refuse(0xD5)), {"IPMI command failed wtih completionCode : 0xd5"}},
      {Command(kOem, 0x50, Reply(Bytes(18))),
       {"IPMI command failed wtih completionCode : 0x0", size + "19 or larger actually 18"}},
      {Command(0x06, 0x01, Refuse(0xC1)), {}},
      {Command(0x06, 0x01, Reply(Bytes(3))), {size + "4 or larger actually 3"}},
      {Ask(kBackUpDate, Refuse(0x0C)), {"IPMI command failed wtih completionCode : 0xc"}},
      {Ask(kBackUpDate, Reply({})), {}},
      {UEFI(Reply({})), {"IPMI command failed wtih completionCode : 0x0", size + "36 or larger actually 0"}},
      {Ask(kQDGID, NoExchange()), {"IPMI command failed wtih completionCode : 0xff"}},
      {Command(kOem, 0x50, Throw("session lost")),
       {"In NodeFirmwareInventoryImpIPMI::GetNodeFirmwareBuildID(), catch exception : session lost"}},
      {UEFI(ThrowOther()), {"In NodeFirmwareInventoryImpIPMI::GetNodeFirmwareBuildID(), catch other exception"}},
  };
  for (const auto& c : cases) {
    const LogCapture log;
    Query(c.change);
    EXPECT_EQ(log.Texts(1), c.lines);
  }
}

TEST(FirmwareQueries, StepsAreTraced) {
  const LogCapture log;
  Query([](ScriptedIpmi&) {});
  for (const char* line : {"Entering NodeFirmwareInventoryImpIPMI::GetNodeFirmwareBuildID()",
                           "Entering NodeFirmwareInventoryImpIPMI::buildZMCInfo()",
                           "Exiting NodeFirmwareInventoryImpIPMI::buildZMCInfo(), ret = 0 string =TBC128K-2.45",
                           "Exiting NodeFirmwareInventoryImpIPMI::builduEFIBackUpInfo(), ret = 0 string =TBE198L-3.02",
                           "Exiting NodeFirmwareInventoryImpIPMI::buildQDGDateInfo(), ret = 0 string =2026-01-30",
                           "Exiting NodeFirmwareInventoryImpIPMI::GetNodeFirmwareBuildID(), ret = 0"}) {
    EXPECT_TRUE(log.Has(4, line)) << line;
  }
}

}  // namespace
}  // namespace Kelvar::Test

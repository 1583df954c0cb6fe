// The tool against the simulator's IPMI side: what people and programs get to see, and the exit codes.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include "flow/tool/ToolRun.h"
#include "support/BmcSim.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

struct Case {
  const char* machine;
  const char* fault;  ///< "" for none
  const char* query;  ///< of the target's address
  Words what;
  int exitCode;
  Words output;  ///< parts of standard output
  Words absent;  ///< texts that must not be in it
};

CommandResult Read(const Case& parameters, const Words& more = {}) {
  Words arguments{"--serve", "ipmi"};
  if (*parameters.fault != '\0') {
    arguments.insert(arguments.end(), {"--fault", std::string("ipmi:") + parameters.fault});
  }
  const BmcSim sim(parameters.machine, arguments);
  Words words{"ipmi://admin@127.0.0.1:" + std::to_string(sim.Port("ipmi")) + parameters.query};
  words.insert(words.end(), parameters.what.begin(), parameters.what.end());
  words.insert(words.end(), more.begin(), more.end());
  return RunOperation(words);
}

class OverIpmi : public testing::TestWithParam<Case> {};

TEST_P(OverIpmi, PrintsWhatTheMachineHas) {
  const CommandResult result = Read(GetParam());
  EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.output << result.errors;
  for (const std::string& text : GetParam().output) {
    EXPECT_THAT(result.output, HasSubstr(text));
  }
  for (const std::string& text : GetParam().absent) {
    EXPECT_THAT(result.output, Not(HasSubstr(text)));
  }
}

const char kAllFirmware[] =
    "firmware\n"
    "  BMCBuildID           TBC128K-2.45\n"
    "  BMCBuildDate         2026-03-14\n"
    "  BMCBackUpBuildID     TBC119H-2.31\n"
    "  BMCBackUpBuildDate   2025-11-02\n"
    "  uEFIBuildID          TBE207M-3.10\n"
    "  uEFIBuildDate        2026-02-20\n"
    "  uEFIBackUpBuildID    TBE198L-3.02\n"
    "  uEFIBackUpBuildDate  2025-10-09\n"
    "  QDGpBuildID          QDG112C-4.07\n"
    "  QDGpBuildIDDate      2026-01-30\n";

const char kAllComponents[] =
    "components\n"
    "  Name            Manufacturer  PartNumber  FruPartNumber  SerialNumber\n"
    "  System Board    Tavrik        KP57-02551  01KV700        KVB93A01A\n"
    "  Power Supply 1  Ohmsten       KP57-02023  01KV800        OHM70AA1\n"
    "  Power Supply 2  Ohmsten       KP57-02023  01KV800        OHM70AA2\n"
    "  Backplane 1     Tavrik        KP57-12040  01KV710        KVB93B114\n"
    "  CPU Board       Tavrik        KP57-44002  01KV202        KVB93ECB0001\n"
    "  CPU Heatsink\n"
    "  Memory Card 1   Tavrik        KP57-44004  01KV204        KVB93EMC0012\n"
    "  PCI Riser 1     Tavrik        KP57-31101  01KV730        KVB93D007\n"
    "  Mezzanine Card\n"
    "  QVL8 Adapter    Tavrik        KP57-44006  01KV206        KVB93EQV0001\n";

const Case kCases[] = {
    {"full", "", "", {"firmware", "generation"}, 0, {kAllFirmware, "\ngeneration\n  Generation  2\n"}, {}},
    {"full", "", "?suite=17", {"identity"}, 0, {"SystemGUID    6f1c4c5e-52a7-4d0b-9a3e-0c8f5b7d2e41"}, {}},
    {"full", "", "", {"system"}, 0, {"MachineType   7K40\n", "SerialNumber  KV4A017\n"}, {}},
    {"full", "", "", {"components"}, 0, {kAllComponents}, {}},

    // what goes wrong on the way and is survived
    {"full", "silent-once", "", {"generation"}, 0, {"Generation  2"}, {}},
    {"full", "slow", "", {"generation"}, 0, {"Generation  2"}, {}},
    {"full", "", "?session=1.5-md5", {"generation"}, 0, {"Generation  2"}, {}},
    {"full", "suite-3-only", "?suite=0", {"generation"}, 0, {"Generation  2"}, {}},
    {"full", "suite-17-only", "?suite=0", {"generation"}, 0, {"Generation  2"}, {}},
    {"full", "lost-reservation", "", {"components"}, 0, {kAllComponents}, {}},
    {"full", "no-vpd", "", {"system"}, 0, {"MachineType   7K40\n", "SerialNumber  KV4A017\n"}, {}},
    {"full",
     "first-generation",
     "",
     {"firmware", "system"},
     0,
     {"QDGpBuildID          QDG112C-4.07", "7K40"},
     {"BMCBackUp"}},

    // what is read before a failure comes out, with a note
    {"full", "endless-repository", "", {"components"}, 20, {"components: incomplete", "QVL8 Adapter"}, {}},
    {"full", "lost-reservation-twice", "", {"components"}, 20, {"components: incomplete", "Power Supply 1"}, {"QVL8"}},
    {"full", "no-reservation", "", {"components"}, 20, {"components: incomplete", "System Board"}, {"Power Supply"}},
    {"full",
     "not-now",
     "",
     {"firmware"},
     20,
     {"firmware: incomplete (UEFI build ID and date: completion code 0xd5", "TBC119H-2.31"},
     {"uEFI"}},
    {"full", "short-uefi", "", {"firmware"}, 20, {"firmware: incomplete", "TBC119H-2.31"}, {}},
    {"full",
     "short-paths",
     "",
     {"firmware"},
     20,
     {"firmware: incomplete", "BMCBackUpBuildID     NULL----NULL\n", "QDGpBuildIDDate      NULL------\n"},
     {}},
    {"full", "", "", {"generation", "software"}, 20, {"Generation  2", "software: failed"}, {}},
    {"full", "no-oem", "", {"identity", "generation"}, 14, {"identity: failed", "generation: failed"}, {}},
    {"full", "one-byte-generation", "", {"generation"}, 13, {"generation: failed"}, {}},
    {"full", "not-now", "", {"software"}, 14, {"software: failed"}, {}},
    {"full", "suite-3-only", "?suite=17", {"generation"}, 14, {}, {"generation"}},

    {"amd",
     "",
     "",
     {"software", "system"},
     0,
     {"BMC Firmware   AMB114E-3.1a   BMC", "UEFI Firmware  AME206C-2.07   UEFI", "KV6A003"},
     {}},
    {"amd", "short-bmc", "", {"software"}, 20, {"AME206C-2.07"}, {"BMC Firmware"}},
    {"amd", "no-uefi", "", {"software"}, 20, {"software: incomplete", "AMB114E-3.1a"}, {"UEFI Firmware"}},

    // text from the target does not steer the terminal, and the library's own text stays out of the output
    {"awkward",
     "",
     "",
     {"firmware"},
     20,
     {"firmware: incomplete (build ID and date of the service processor: completion code 0xd5", "\\x1b[31mTBE001-0.9",
      "NULL----2.31"},
     {"\x1b", "QDG complete code"}},
    {"awkward", "cpu-without-number", "", {"components"}, 13, {"components: failed"}, {"System Board"}},
};

INSTANTIATE_TEST_SUITE_P(All, OverIpmi, testing::ValuesIn(kCases));

TEST(Everything, LeavesOutWhatOnlyOtherMachinesHave) {
  const CommandResult result = Read({"full", "", "", {}, 0, {}, {}});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_THAT(result.output, Not(HasSubstr("software")));
  EXPECT_EQ(result.errors, "") << "nobody asked for the firmware of AMD platforms";
}

TEST(Json, IsOneObjectWithAFormatVersion) {
  const CommandResult result = Read({"full", "", "", {"system", "software"}, 0, {}, {}}, {"--format", "json", "-q"});
  EXPECT_EQ(result.exitCode, 20);
  EXPECT_EQ(result.errors, "");
  rapidjson::Document document;
  ASSERT_FALSE(document.Parse(result.output.c_str()).HasParseError()) << result.output;
  EXPECT_EQ(document["format_version"].GetInt(), 1);
  const auto& system = document["results"][0];
  EXPECT_STREQ(system["what"].GetString(), "system");
  EXPECT_STREQ(system["status"].GetString(), "complete");
  EXPECT_STREQ(system["records"][0]["SerialNumber"].GetString(), "KV4A017");
  const auto& software = document["results"][1];
  EXPECT_STREQ(software["status"].GetString(), "unsupported");
  EXPECT_STREQ(software["note"].GetString(), "failed: the target does not offer it");
  EXPECT_EQ(software["result"].GetInt(), 15);
  EXPECT_STREQ(software["result_name"].GetString(), "INVENTORY_FAILED");
  EXPECT_TRUE(software["records"].Empty());
}

TEST(Json, HoldsHostileTextAsEscapes) {
  const CommandResult result = Read({"awkward", "", "", {"firmware"}, 0, {}, {}}, {"--format", "json"});
  rapidjson::Document document;
  ASSERT_FALSE(document.Parse(result.output.c_str()).HasParseError()) << result.output;
  EXPECT_STREQ(document["results"][0]["records"][0]["uEFIBackUpBuildID"].GetString(), "\x1b[31mTBE001-0.9 ");
  EXPECT_THAT(result.output, Not(HasSubstr("\x1b")));
}

TEST(Output, ThatCannotBeWrittenIsNoSuccess) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const std::string target = "ipmi://admin@127.0.0.1:" + std::to_string(sim.Port("ipmi"));
  for (const char* arguments : {"operation \"$1\" generation", "\"$1\" system", "--help"}) {
    const std::string line = std::string("exec \"$0\" ") + arguments + " >/dev/full";
    const CommandResult result = RunCommand({"sh", "-c", line, kToolProgram, target}, {"KELVAR_PASSWORD=kelvar-demo"});
    EXPECT_EQ(result.exitCode, 1) << arguments;
    EXPECT_THAT(result.errors, HasSubstr("kelvar: cannot write to standard output")) << arguments;
  }
}

}  // namespace
}  // namespace Kelvar::Test

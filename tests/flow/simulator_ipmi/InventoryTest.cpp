// The simulator's FRU devices and records, and its faults, as ipmitool and ipmi-fru see them.

#include <algorithm>

#include <gtest/gtest.h>

#include "support/ForeignIpmi.h"

namespace Kelvar::Test {
namespace {

using Words = std::vector<std::string>;

/// Both streams of ipmitool, runs of blanks as one.
std::string IpmiTool(const BmcSim& sim, const Words& request) {
  const CommandResult result = RunIpmiTool(sim, request);
  std::string text = result.output + result.errors;
  text.erase(std::unique(text.begin(), text.end(), [](char a, char b) { return a == ' ' && b == ' '; }), text.end());
  return text;
}

TEST(Inventory, IsWhatForeignClientsReadToo) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const std::string systemBoard = IpmiTool(sim, {"fru", "print", "0"});
  for (const char* line : {"Chassis Serial : KV4A017", "Board Product : System Board", "Board Serial : KVB93A01A",
                           "Product Manufacturer : TAVRIK", "Product Part Number : 7K40", "Product Version : 0245",
                           "Product Serial : KV4A017", "Product Asset Tag : 0a1b2c"}) {
    EXPECT_NE(systemBoard.find(line), std::string::npos) << line << '\n' << systemBoard;
  }
  EXPECT_NE(IpmiTool(sim, {"fru", "print", "9"}).find("Board Product : PCI Riser 1"), std::string::npos);

  const std::string records = IpmiTool(sim, {"sdr", "elist", "all"});
  EXPECT_EQ(std::count(records.begin(), records.end(), '\n'), 18) << records;  // two of the twenty have no name
  for (const char* line :
       {"Ambient Temp | 01h | ok | 55.1 | 24 degrees C", "Power Supply 2 | 00h | ns | 10.2 | Logical FRU @02h",
        "Memory Card 12 A | 00h | ns | 8.12 | Logical FRU @08h"}) {
    EXPECT_NE(records.find(line), std::string::npos) << line << '\n' << records;
  }
}

TEST(Inventory, PassesTheChecksOfFreeIpmi) {
  const BmcSim sim("full", {"--serve", "ipmi"});
  const CommandResult result = RunFreeIpmi("ipmi-fru", sim, {"--device-id=0", "--ignore-sdr-cache"}, {.suite = "17"});
  EXPECT_EQ(result.errors, "");
  for (const char* line : {"FRU FRU File ID: 01KV700", "FRU Product Serial Number: KV4A017"}) {
    EXPECT_NE(result.output.find(line), std::string::npos) << line << '\n' << result.output;
  }
}

struct Fault {
  const char* machine;
  const char* fault;  ///< "" for none
  Words request;      ///< raw
  Words answers;      ///< to the same request made again and again
};

class Faults : public testing::TestWithParam<Fault> {};

TEST_P(Faults, AreSeenByForeignClients) {
  const Fault& fault = GetParam();
  Words arguments{"--serve", "ipmi"};
  if (*fault.fault != '\0') {
    arguments.insert(arguments.end(), {"--fault", std::string("ipmi:") + fault.fault});
  }
  const BmcSim sim(fault.machine, arguments);
  Words request{"raw"};
  request.insert(request.end(), fault.request.begin(), fault.request.end());
  for (const std::string& answer : fault.answers) {
    const std::string text = IpmiTool(sim, request);
    EXPECT_NE(text.find(answer), std::string::npos) << text;
  }
}

const Fault kFaults[] = {
    // a record's text ends with the record
    {"full", "", {"0x0a", "0x23", "0", "0", "8", "0", "0", "0x0f"}, {"09 00 08 00 51 11"}},
    // the small device gives its last bytes and refuses what is after them
    {"full", "", {"0x0a", "0x11", "9", "0xf8", "0", "0x10"}, {"08 00 00 00 00 00 00 00 00\n"}},
    {"full", "", {"0x0a", "0x11", "9", "0", "1", "0x10"}, {"Parameter out of range"}},
    {"full", "endless-repository", {"0x0a", "0x23", "0", "0", "0x14", "0", "0", "0x05"}, {"02 00 14 00 51"}},
    {"full", "fru-header-version-2", {"0x0a", "0x11", "0", "0", "0", "2"}, {"02 02 00"}},
    {"full", "short-device-id", {"0x06", "0x01"}, {"20 01\n"}},
    {"full", "not-now", {"0x3a", "0x0b", "0x0e", "0", "0x10", "7"}, {"not supported in present state"}},
    {"full", "no-reservation", {"0x0a", "0x22"}, {"Insufficient privilege level"}},
    {"amd", "", {"0x3c", "0x40", "1", "0"}, {"41 4d 42 31 31 34 45\n"}},
    {"amd", "short-uefi", {"0x3c", "0x40", "6", "0"}, {"41 4d 45 32 30 36 43 32 30\n"}},
    {"awkward", "", {"0x3a", "0x50"}, {"not supported in present state"}},
    {"awkward", "cpu-without-number", {"0x0a", "0x23", "0", "0", "2", "0", "15", "0xff"}, {"03 00 c3 43 50 55\n"}},
};

INSTANTIATE_TEST_SUITE_P(All, Faults, testing::ValuesIn(kFaults));

TEST(Faults, AReservationIsLostOnceInAWalk) {
  const BmcSim sim("full", {"--serve", "ipmi", "--fault", "ipmi:lost-reservation"});
  const Words first{"raw", "0x0a", "0x23", "0", "0", "0", "0", "0", "5"};
  for (int i = 1; i <= 7; ++i) {
    const bool lost = IpmiTool(sim, first).find("Reservation cancelled") != std::string::npos;
    EXPECT_EQ(lost, i == 6) << i;
  }
}

TEST(Faults, ASuiteCanBeWithheld) {
  const BmcSim sim("full", {"--serve", "ipmi", "--fault", "ipmi:suite-17-only"});
  EXPECT_NE(IpmiTool(sim, {"raw", "0x3a", "0xc1"}).find("Unable to establish"), std::string::npos);
}

}  // namespace
}  // namespace Kelvar::Test

// One fault at each command of a whole reading.

#include <sstream>

#include "flow/reader/RecordLines.h"
#include "unit/reader_ipmi/ScriptedReading.h"

namespace Kelvar::Reader::Ipmi {
namespace {

const std::vector<Family> kEvery(Model::kAllFamilies.begin(), Model::kAllFamilies.end());

/// The records of each family as text.
std::map<Family, std::string> LinesOf(const Model::Inventory& inventory) {
  static const std::map<std::string, Family> kWords = {
      {"system", Family::System},     {"firmware", Family::Firmware}, {"component", Family::Components},
      {"sensor", Family::Sensors},    {"led", Family::Leds},          {"log_entry", Family::Logs},
      {"interface", Family::Network}, {"service", Family::Network}};
  std::istringstream all(Kelvar::Test::RecordLines(inventory));
  std::map<Family, std::string> lines;
  for (std::string line; std::getline(all, line);) {
    if (const auto word = kWords.find(line.substr(0, line.find(' '))); word != kWords.end()) {
      lines[word->second] += line + "\n";
    }
  }
  return lines;
}

class OneFaultTest : public ReadingTest {
 protected:
  OneFaultTest() {
    bmc_.On(0x00, 0x01, {Reply({0x21, 0x10, 0x60})});
    bmc_.On(0x06, 0x04, {Reply({0x55, 0})});
    bmc_.On(0x06, 0x08, {Reply(Bytes(16, 0x31))});
    bmc_.On(0x06, 0x37, {Reply(Bytes(16, 0x32))});
    bmc_.On(0x06, 0x42, [](const Bytes& request) { return request.at(0) > 2 ? Refuse(0xCC) : Reply({request[0], 4}); });
    bmc_.On(0x06, 0x54, [](const Bytes& request) {
      return Reply((request.at(2) & 0x3F) == 0
                       ? Bytes{1, 0xC0, 3, 1, 0x41, 0x81, 0xC0, 8, 2, 0x42, 0x81, 0xC0, 9, 2, 0x42, 0x82, 0xC0}
                       : Bytes{1, 17, 3, 0x44, 0x81});
    });
    bmc_.On(0x06, 0x59, [](const Bytes& request) {
      const Bytes first = Bytes{0x11, 0, 0, 20} + BytesOf("A text of 20 b");
      return request.at(1) > 5 ? Refuse(0x80) : Reply(request.at(2) == 0 ? first : Bytes{0x11, 1} + BytesOf("locks."));
    });
    bmc_.On(0x0C, 0x02, [](const Bytes& request) { return Parameter(request.at(0), request.at(1)); });
    bmc_.On(0x2C, 0x01, {Reply({0xDC, 1, 5, 2})});
    bmc_.On(0x2C, 0x02, {Reply(Bytes{0xDC, 0x41, 1} + Bytes(14, 0) + Bytes{0x40})});
    bmc_.On(0x2C, 0x06, {Reply(Bytes{0xDC, 5} + BytesOf("Asset"))});
    bmc_.On(0x2C, 0x09, {Reply(Bytes{0xDC, 4} + BytesOf("Name"))});
    bmc_.AddFRU(0, FruBytes("System"));
    bmc_.AddFRU(1, FruBytes("Part"));
    bmc_.AddSDR(FixedSensorBytes(4, "Fixed"));
    bmc_.AddSDR(SensorBytes(5, "Odd", 0x20, 0x70));
    bmc_.AddSDR(ScriptedIpmi::Locator(1, "Part"));
    bmc_.On(0x04, 0x23, {Reply({0, 3, 0, 0, 0, 0, 0})});
    bmc_.On(0x04, 0x27, {Reply({0x18, 0, 0, 0, 61, 71, 0})});
    bmc_.On(0x04, 0x2D, {Reply({42, 0xC0, 0xC0})});
    bmc_.On(0x0A, 0x20, {Reply({0x51, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
    bmc_.On(0x0A, 0x5C, {Reply({60, 0})});
    ScriptedLog(4, [](u16 id) {
      IpmiAnswer entry = Entry(id, id == 4 ? 0xFFFF : id + 1U);
      entry.data.at(8) = 0x65;  // a time that has a date
      return id > 4 ? Refuse(0xCB) : entry;
    });
  }

  static IpmiAnswer Parameter(u8 channel, u8 parameter) {
    const std::map<u8, Bytes> values = {{3, {192, 0, 2, channel}},
                                        {4, {2}},
                                        {5, {2, 0, 0, 0, 0, channel}},
                                        {6, {255, 255, 255, 0}},
                                        {8, {0x6F, 2}},
                                        {12, {192, 0, 2, 9}},
                                        {20, {7, 0x80}},
                                        {51, {2}},
                                        {55, {1, 0, 0}},
                                        {56, Bytes{0, 0x80, 0x20, 1} + Bytes(14, 1) + Bytes{64, 0}},
                                        {64, {1}},
                                        {65, Bytes{0x20, 1} + Bytes(14, 2)}};
    const auto value = values.find(parameter);
    return value != values.end() ? Reply(Bytes{0x11} + value->second) : Refuse(0x80);
  }

  /// What a reading sends.
  std::vector<IPMICOMMAND> Commands() {
    std::vector<IPMICOMMAND> sent;
    bmc_.spoil = [&sent](const IPMICOMMAND& command, IpmiAnswer&) { sent.push_back(command); };
    whole_ = Read(kEvery);
    bmc_.spoil = nullptr;
    return sent;
  }

  static std::string NameOf(const IPMICOMMAND& command) {
    std::ostringstream text;
    text << std::hex << int{command.netFn} << '/' << int{command.command};
    for (const u8 byte : command.data) {
      text << ' ' << int{byte};
    }
    return text.str();
  }

  Model::Inventory whole_;
};

void Cut(IpmiAnswer& answer) {
  answer.data.clear();
}

template <u8 code>
void RefuseWith(IpmiAnswer& answer) {
  answer = Refuse(code);
}

/// An empty reply to it says that there is no DCMI.
bool IsDcmiProbe(const IPMICOMMAND& command) {
  return command.netFn == 0x2C && command.command == 0x01;
}

TEST_F(OneFaultTest, WhatPassesCostsNothing) {
  const std::vector<IPMICOMMAND> commands = Commands();
  const std::string whole = Kelvar::Test::RecordLines(whole_);
  for (const Family family : kEvery) {
    EXPECT_EQ(whole_.ResultOf(family).status, FamilyStatus::Complete) << Model::NameOf(family);
  }
  for (const auto& fault : std::initializer_list<void (*)(IpmiAnswer&)>{Cut, RefuseWith<0xC3>, RefuseWith<0xFF>}) {
    for (std::size_t at = 0; at < commands.size(); ++at) {
      std::size_t number = 0;
      bmc_.spoil = [&](const IPMICOMMAND& command, IpmiAnswer& answer) {
        if (number++ == at && !(fault == Cut && IsDcmiProbe(command))) {
          fault(answer);
        }
      };
      EXPECT_EQ(Kelvar::Test::RecordLines(Read(kEvery)), whole) << NameOf(commands[at]);
    }
  }
}

TEST_F(OneFaultTest, WhatIsLostMakesItsFamilyPartial) {
  const std::vector<IPMICOMMAND> commands = Commands();
  auto whole = LinesOf(whole_);
  for (const IPMICOMMAND& struck : commands) {
    for (const auto& fault : std::initializer_list<void (*)(IpmiAnswer&)>{Cut, RefuseWith<0xC3>}) {
      bmc_.spoil = [&](const IPMICOMMAND& command, IpmiAnswer& answer) {
        if (command.netFn == struck.netFn && command.command == struck.command && command.data == struck.data &&
            !(fault == Cut && IsDcmiProbe(command))) {
          fault(answer);
        }
      };
      const auto inventory = Read(kEvery);
      auto lines = LinesOf(inventory);
      for (const Family family : kEvery) {
        const Model::FamilyResult& result = inventory.ResultOf(family);
        const bool same = lines[family] == whole[family];
        const bool complete = result.status == FamilyStatus::Complete || result.status == FamilyStatus::Absent;
        EXPECT_TRUE(same || !complete) << Model::NameOf(family) << " without " << NameOf(struck);
        EXPECT_TRUE(!same || result.status != FamilyStatus::Failed) << Model::NameOf(family) << ": " << result.reason;
        EXPECT_TRUE(complete || result.cause == FailureCause::BadData) << NameOf(struck);
      }
    }
  }
}

}  // namespace
}  // namespace Kelvar::Reader::Ipmi

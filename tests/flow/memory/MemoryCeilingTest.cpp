// No answer makes the process grow beyond its ceiling: operations read the worst ones in a process of their own, which
// tells how much it has grown.

#include <kelvar/InventoryReader.h>
#include <kelvar/NodeFirmwareInventory.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/HostileService.h"
#include "support/ScriptedCimServer.h"

namespace Kelvar::Test {
namespace {

using KelvarConnection::ConnectionInfo;
using Inventory = NodeFirmwareInventory;

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kCeiling = 512 * kMiB;
/// What an answer that was read takes at the least.
constexpr std::size_t kRead = 40 * kMiB;

std::size_t StatusBytes(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind(name + ':', 0) == 0) {
      return std::stoul(line.substr(name.size() + 1)) * 1024;
    }
  }
  return 0;
}

/// What an operation made a process grow by at its peak, and what it gave.
struct Growth {
  std::size_t bytes = 0;
  int result = -1;
  std::size_t records = 0;
};

/// An operation that fills a list.
template <auto operation, class Record>
Growth Read(Inventory& inventory) {
  std::vector<Record> list;
  const int result = (inventory.*operation)(list);
  return {0, result, list.size()};
}

Growth ReadCimLog(Inventory& inventory) {
  std::vector<KelvarNfw::ZMCMESSAGELOGDATA> list;
  const int result = inventory.GetZMCMessageLogDataCIM(list, 3);
  return {0, result, list.size()};
}

constexpr auto* kReadSensors = &Read<&Inventory::GetZMCNumericSensors, KelvarNfw::NUMERICSENSORS>;
constexpr auto* kReadLog = &Read<&Inventory::GetZMCMessageLogDataRedfish, KelvarNfw::ZMCMESSAGELOGDATAREST>;
using Operation = Growth (*)(Inventory& inventory);

/// A whole reading into the model.
Growth ReadModel(const ConnectionInfo& target) {
  InventoryReaderOptions options;
  options.deadline_seconds = 30;
  const Model::Inventory read = InventoryReader(target, options).Read();
  const std::size_t records = read.systems.size() + read.firmware.size() + read.components.size() +
                              read.sensors.size() + read.log_entries.size() + read.network_interfaces.size();
  return {0, 0, records};
}

Growth ReadInChild(const std::function<Growth()>& work) {
  int ends[2] = {-1, -1};
  if (pipe(ends) != 0) {
    return {};
  }
  const pid_t child = fork();
  if (child == 0) {
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak starts anew
    const std::size_t before = StatusBytes("VmRSS");
    Growth growth = work();
    growth.bytes = StatusBytes("VmHWM") - before;
    _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
  }
  close(ends[1]);
  Growth growth;
  const bool whole = read(ends[0], &growth, sizeof growth) == sizeof growth;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  return whole ? growth : Growth{};
}

void ExpectCeiling(const char* what, const std::function<Growth()>& work) {
  const Growth growth = ReadInChild(work);
  testing::Test::RecordProperty("grown", std::to_string(growth.bytes / kMiB));
  std::printf("%-28s %4zu MiB, result %d, %zu records\n", what, growth.bytes / kMiB, growth.result, growth.records);
  EXPECT_LE(growth.bytes, kCeiling) << what;
  EXPECT_GE(growth.bytes, kRead) << what << " has not been read";
}

void ExpectCeiling(const char* what, const ConnectionInfo& target, Operation operation) {
  ExpectCeiling(what, [&] {
    Inventory inventory(target);
    return operation(inventory);
  });
}

/// `start`, then `piece` as often as fits and `most` allows, then `end`.
std::string Fill(const std::string& start, const std::string& piece, const std::string& end, std::size_t most,
                 std::size_t bytes) {
  std::string text = start;
  text.reserve(bytes);
  const std::size_t fitting = (bytes - start.size() - end.size()) / piece.size();
  for (std::size_t left = std::min(most, fitting); left > 0; --left) {
    text += piece;
  }
  return text += end;
}

/// The largest body that is read.
std::string Body(const std::string& start, const std::string& piece, const std::string& end,
                 std::size_t most = std::size_t{64} << 20) {
  return Fill(start, piece, end, most, 64 * kMiB);
}

TEST(MemoryCeiling, HoldsForJson) {
  constexpr std::size_t kMostValues = 499'900;
  constexpr std::size_t kMostLogValues = 3'999'900;
  const std::string members = R"({"Members":[)";
  const std::string tree = R"({"\u0041":0,)";  // an escape in a name: the parser that builds a tree has to read it
  const std::string text(60, 'x');
  const std::string fields = R"({"MessageArgs":[],"Name":"0123456789abcdef","Created":"0123456789abcdef",)"
                             R"("Message":"0123456789abcdef","Severity":"0123456789abcdef"},)";
  std::string deep = "0";
  for (int level = 0; level < 90; ++level) {
    deep = R"({"n":)" + deep + '}';
  }
  struct Case {
    const char* what;
    Operation operation;
    std::string body;
  };
  const Case cases[] = {
      {"sensors, small", kReadSensors, Body(members, R"({"Thresholds":0},)", "0]}", kMostValues / 2)},
      {"sensors, a long text", kReadSensors, Body(members + R"({"Thresholds":0,"Name":")", R"(\u00e9\n)", R"("}]})")},
      {"log, many entries", kReadLog, Body(members, fields, R"({"MessageArgs":[]}]})", 499'000)},
      {"log, long arguments", kReadLog, Body(members + R"({"MessageArgs":[")", text, R"("]}]})")},
      {"log, a wide entry", kReadLog, Body(members + '{', R"("a":0,)", R"("MessageArgs":[]}]})", kMostLogValues)},
      {"tree, texts", kReadLog, Body(tree + R"("Members":[)", '"' + text + text + "\",", "0]}", kMostValues)},
      {"tree, wide", kReadLog, Body(tree, '"' + text + R"(":")" + text + "\",", R"("Members":[]})", kMostValues)},
      {"tree, deep", kReadLog, Body(tree + R"("Members":[)", deep + ',', "0]}", kMostValues / 91)},
      {"tree, a long number", kReadLog, Body(tree + R"("Members":[)", "0123456789", "]}")},
  };
  ScriptedHttpServer server({.tls = true});
  server.On("/redfish/v1/Systems", HttpReply(R"({"Members":[{"@odata.id":"/redfish/v1/Systems/1"}]})"));
  server.On("/redfish/v1/Systems/1", HttpReply(R"({"LogServices":{"@odata.id":"/redfish/v1/Systems/1/LogServices"}})"));
  server.On("/redfish/v1/Systems/1/LogServices", HttpReply(R"({"Members":[{"@odata.id":"/StandardLog"}]})"));
  ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH;
  info.Host = "127.0.0.1";
  info.Port = server.Port();
  for (const Case& c : cases) {
    server.OnAnythingElse([&c](const HttpRequest&) { return HttpReply(c.body); });
    ExpectCeiling(c.what, info, c.operation);
  }
}

std::string Instance(const std::string& properties) {
  return R"(<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME="a"/><INSTANCE CLASSNAME="a">)" + properties +
         "</INSTANCE></VALUE.NAMEDINSTANCE>";
}

std::string Property(const std::string& name, const std::string& content) {
  return R"(<PROPERTY NAME=")" + name + R"(" TYPE="string">)" + content + "</PROPERTY>";
}

std::string Value(std::size_t size) {
  return "<VALUE>" + std::string(size, 'x') + "</VALUE>";
}

/// The largest reply that is read.
std::string Reply(const std::string& start, const std::string& piece, const std::string& end, std::size_t most) {
  const std::string marker = "%INSTANCES%";
  const std::string frame = CimReplyXml("<IRETURNVALUE>" + marker + "</IRETURNVALUE>");
  const std::size_t at = frame.find(marker);
  return Fill(frame.substr(0, at) + start, piece, end + frame.substr(at + marker.size()), most, 256 * kMiB);
}

TEST(MemoryCeiling, HoldsForCim) {
  constexpr std::size_t kMostInstances = 500'000;
  std::string names;
  for (int number = 0; number < 60'000; ++number) {
    names += Property(std::string(1000, 'x') + std::to_string(number), "");
  }
  std::string qualified;
  for (int number = 0; number < 3; ++number) {
    const std::string qualifier = R"(<QUALIFIER NAME="q" TYPE="string">)" + Value(1000) + "</QUALIFIER>";
    qualified += Property("p" + std::to_string(number), Fill("", qualifier, "", 15'000, 16 * kMiB));
  }
  const std::string array = Instance(R"(<PROPERTY.ARRAY NAME="MessageArguments" TYPE="string"><VALUE.ARRAY>)");
  const std::string arguments = array.substr(0, array.find("</INSTANCE>"));
  const std::string argumentsEnd = "</VALUE.ARRAY></PROPERTY.ARRAY></INSTANCE></VALUE.NAMEDINSTANCE>";
  struct Case {
    const char* what;
    std::string reply;
  };
  const Case cases[] = {
      {"tiny instances", Reply("", Instance(""), "", kMostInstances)},
      {"short messages", Reply("", Instance(Property("Message", Value(220))), "", kMostInstances)},
      {"long messages", Reply("", Instance(Property("Message", Value(15 * kMiB))), "", 8)},
      {"long names", Reply("", Instance(names), "", 1)},
      {"qualifiers", Reply("", Instance(qualified), "", 1)},
      {"a message that is repeated", Reply(Instance(Property("Message", Value(kMiB))), Instance(""), "", 10'000)},
      {"many arguments", Reply(arguments, Value(2), argumentsEnd, 2'300'000)},
  };
  ScriptedCimServer server;
  ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_CIM_BMC;
  info.Host = "127.0.0.1";
  info.Port = server.Port();
  for (const Case& c : cases) {
    server.OnAnyClassReply(CimHttpReply(c.reply));
    ExpectCeiling(c.what, info, ReadCimLog);
  }
}

TEST(MemoryCeiling, HoldsForReadingsOfWholeServices) {
  const std::string name(20 * kMiB, 'x');
  const std::string start = R"({"Id":"x","Name":"x",)";
  const auto filled = [&](const std::string& list, const std::string& piece, std::size_t pieces) {
    return Fill(start + '"' + list + "\":[", piece + ',', "0]}", pieces, 31 * kMiB);
  };
  struct Case {
    const char* what;
    const char* collection;  ///< whose members are all this
    std::string member;
  };
  const Case cases[] = {
      {"firmware, long versions", "UpdateService/FirmwareInventory", start + R"("Version":")" + name + "\"}"},
      {"chassis, long names", "Chassis", R"({"Id":"x","Model":")" + name + "\"}"},
      {"chassis, many links", "Chassis",
       start + R"("Links":{"Contains":[)" + Fill("", Link("/redfish/v1/Chassis/1") + ',', "0", 160'000, 31 * kMiB) +
           "]}}"},
      {"thermal, many rows", "Chassis/1/Thermal", filled("Temperatures", R"({"ReadingCelsius":1})", 200'000)},
      {"log, many arguments", "Systems/1/LogServices/1/Entries", filled("MessageArgs", R"("")", 490'000)},
      {"interfaces, many addresses", "Managers/1/EthernetInterfaces",
       filled("IPv6Addresses", R"({"Address":"fe80::1"})", 240'000)},
      {"interfaces, many servers", "Managers/1/EthernetInterfaces", filled("NameServers", R"("192.0.2.1")", 490'000)},
  };
  ScriptedHttpServer server({.tls = true});
  ConnectionInfo info;
  info.ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH;
  info.Host = "127.0.0.1";
  info.Port = server.Port();
  for (const Case& c : cases) {
    ServeCollection(server, c.collection, c.member);
    const Growth growth = ReadInChild([&] { return ReadModel(info); });
    std::printf("%-28s %4zu MiB, %zu records\n", c.what, growth.bytes / kMiB, growth.records);
    EXPECT_LE(growth.bytes, kCeiling) << c.what;
    EXPECT_GT(growth.records, 0U) << c.what << " has not been read";
  }
}

}  // namespace
}  // namespace Kelvar::Test

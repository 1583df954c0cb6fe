#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarNfw::ZMCMESSAGELOGDATA;

constexpr const char* kClass = "QEL_StandardMessageLogEntry";

std::string Entry(const std::vector<CimProperty>& properties, const std::string& className = kClass) {
  return CimInstanceXml(className, properties);
}

std::string Shown(const ZMCMESSAGELOGDATA& e) {
  return e.EventSequenceNumber + "|" + e.CreationTimeStamp + "|" + e.ElementName + "|" + e.EventID + "|" +
         e.LogInstanceID + "|" + e.LogName + "|" + e.Message + "|" + e.MessageID + "|" + e.MessageArguments + "|" +
         e.PerceivedSeverity + "|" + e.AuxiliaryData + "|" + (e.Hidden ? "hidden" : "shown");
}

class MessageLog : public CimFixture {
 protected:
  int Read(const std::string& instances, int selector = 0) {
    server.OnClass(kClass, instances);
    list.assign(1, {});
    return Facade()->GetZMCMessageLogDataCIM(list, selector);
  }

  std::vector<ZMCMESSAGELOGDATA> list;
};

const std::vector<CimProperty> kFull = {
    {"EventSequenceNumber", "uint64", "12"},
    {"CreationTimeStamp", "datetime", "20260314120000.000000+000"},
    {"ElementName", "string", "log"},
    {"EventID", "string", "E1"},
    {"CommonEventID", "string", "C1"},
    {"Hidden", "boolean", "TRUE"},
    {"LogInstanceID", "string", "id"},
    {"LogName", "string", "name"},
    {"Message", "string", "fan & failed"},
    {"MessageID", "string", "M1"},
    {"MessageArguments", "string[]", "[one||three]"},
    {"PerceivedSeverity", "uint16", "6"},
    {"AuxiliaryData", "string", "aux"},
};

TEST_F(MessageLog, FieldsOfAnEntryRepeatWhatTheNextOneLacks) {
  LogCapture log;
  ASSERT_EQ(Read(Entry(kFull) + Entry({{"Message", "string", "second"}})), 0);
  ASSERT_EQ(list.size(), 2U);
  const std::string head = "12|20260314120000.000000+000|log|E1|id|name|";
  EXPECT_EQ(Shown(list[0]), head + "fan & failed|M1|one^three|Critical|aux|hidden");
  EXPECT_EQ(Shown(list[1]), head + "second|M1|one^three|Critical|aux|hidden");
  EXPECT_EQ(list[1].ZMCIndex, 2U);
  for (const char* line : {"No \"Hidden\" property. ", "No auxiliary_data property", "No EventID property",
                           "No MessageArguments property"}) {
    EXPECT_TRUE(log.Has(4, line)) << line;
  }
}

TEST_F(MessageLog, SelectorThreeReadsTheCommonEventID) {
  for (const auto& [selector, eventID] : {std::pair(3, "C1"), std::pair(0, "E1"), std::pair(-3, "E1")}) {
    ASSERT_EQ(Read(Entry(kFull), selector), 0);
    EXPECT_EQ(list[0].EventID, eventID) << selector;
  }
  LogCapture log;
  ASSERT_EQ(Read(Entry({{"EventID", "string", "E1"}}), 3), 0);
  EXPECT_EQ(list[0].EventID, "");
  EXPECT_TRUE(log.Has(4, "No CommonEventID property"));
}

TEST_F(MessageLog, ArgumentsAndSeverities) {
  const struct {
    CimProperty property;
    std::string arguments;
    std::string severity;
  } cases[] = {
      {{"MessageArguments", "string[]", "[||]"}, "", ""},
      {{"MessageArguments", "string[]", "[alone]"}, "alone", ""},
      {{"MessageArguments", "string[]", std::nullopt}, "", ""},
      {{"MessageArguments", "string", "no array"}, "", ""},
      {{"PerceivedSeverity", "uint16", "7"}, "", "Fatal/NonRecoverable"},
      {{"PerceivedSeverity", "uint16", "8"}, "", "DMTF Reserved"},
      {{"PerceivedSeverity", "sint32", "-1"}, "", "DMTF Reserved"},
      {{"PerceivedSeverity", "string", "+3"}, "", "Degraded/Warning"},
      {{"PerceivedSeverity", "uint16", std::nullopt}, "", "Unknown"},
      {{"PerceivedSeverity", "uint16", ""}, "", "Unknown"},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(Read(Entry({c.property})), 0);
    EXPECT_EQ(list[0].MessageArguments, c.arguments);
    EXPECT_EQ(list[0].PerceivedSeverity, c.severity);
  }
}

TEST_F(MessageLog, FailuresKeepWhatWasReadBefore) {
  const std::string good = Entry(kFull);
  const struct {
    std::string instances;
    int code;
    std::size_t count;
  } cases[] = {
      {"", 7, 0},
      {good + Entry({{"Hidden", "string", "TRUE"}}) + good, 9, 1},
      {good + Entry({{"PerceivedSeverity", "string", "high"}}) + good, 15, 1},
      {good + Entry({{"PerceivedSeverity", "string", "99999999999"}}) + good, 15, 1},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Read(c.instances), c.code);
    EXPECT_EQ(list.size(), c.count);
  }
  for (const int status : {401, 500}) {
    server.OnClassReply(kClass, HttpError(status));
    EXPECT_EQ(Facade()->GetZMCMessageLogDataCIM(list, 3), 7) << "a failed enumeration is no instance";
  }
}

TEST_F(MessageLog, LongTextIsNotRepeatedWithoutEnd) {
  constexpr std::size_t kLong = std::size_t{8} * 1024 * 1024;
  std::string instances = Entry({{"Message", "string", std::string(kLong, 'x')}});
  for (int i = 0; i < 20; ++i) {
    instances += Entry({});
  }
  LogCapture log(2);
  EXPECT_EQ(Read(instances), 9);
  EXPECT_EQ(list.size(), 16U) << "as many as the bound allows";
  EXPECT_TRUE(log.Has(2,
                      "in GetZMCMessageLogData(), Catch other CIM Exception : the records hold more than 134217728 "
                      "bytes of text"));
}

TEST_F(MessageLog, AuditAndPlatformLogsAreFilteredFromAllEntries) {
  const auto entry = [](const std::string& message, std::vector<CimProperty> properties,
                        const std::string& className = "QEL_LogEntry") {
    properties.push_back({"Message", "string", message});
    return Entry(properties, className);
  };
  server.OnClass("CIM_LogEntry", entry("a", {{"LogName", "string", "The AUDIT log"}}) +
                                     entry("b", {{"LogInstanceID", "string", "x:platform:1"}}) +
                                     entry("c", {}, "QEL_AuditLogEntry") + entry("d", {}) +
                                     entry("e", {{"LogName", "string", "Audit and Platform"}}));
  const auto facade = Facade();
  const auto messages = [&](auto operation) {
    std::vector<ZMCMESSAGELOGDATA> entries(2);
    EXPECT_EQ(((*facade).*operation)(entries), 0);
    std::string joined;
    for (const ZMCMESSAGELOGDATA& e : entries) {
      EXPECT_EQ(e.ZMCIndex, 2U);
      joined += e.Message;
    }
    return joined;
  };
  EXPECT_EQ(messages(&NFI::GetZMCAuditLogDataViaCIM), "ace");
  EXPECT_EQ(messages(&NFI::GetZMCPlatformLogDataViaCIM), "be");
}

TEST_F(MessageLog, LogObjectConnectsWithItsFirstOperation) {
  auto info = Info();
  const auto result = [&](zmcapp& logs) {
    std::vector<ZMCMESSAGELOGDATA> entries(1);
    const int code = logs.GetZMCAuditEventLog(entries);
    EXPECT_TRUE(entries.empty());
    return code;
  };
  {
    ScriptedCimServer gone;
    info.Port = gone.Port();
  }
  zmcapp unreachable(info, false, Pause());
  EXPECT_TRUE(pauses.empty());
  EXPECT_EQ(result(unreachable), 1);
  EXPECT_EQ(pauses.size(), 3U);
  EXPECT_EQ(result(unreachable), 1);
  EXPECT_EQ(pauses.size(), 6U);

  zmcapp logs(Info(), false, Pause());
  EXPECT_EQ(server.Http().ConnectionCount(), 0);
  EXPECT_EQ(result(logs), 7);
  server.OnClassError("CIM_LogEntry", 5, "no such class");
  EXPECT_EQ(result(logs), 9);
  server.OnClassReply("CIM_LogEntry", HttpError(401));
  EXPECT_EQ(result(logs), 1);
  server.OnClass("CIM_LogEntry", Entry({{"LogName", "string", "Audit"}, {"PerceivedSeverity", "string", "high"}}));
  EXPECT_EQ(result(logs), 15);
}

}  // namespace
}  // namespace Kelvar::Test

#include "module/nfw/inventory/cim/cimfunc.h"

#include <kelvar/Diagnostics.h>

#include "unit/cim/CimFixture.h"

namespace Kelvar::Test {
namespace {

using KelvarConnection::ConnectionInfo;
using testing::ElementsAre;
using testing::IsEmpty;
using Instances = Pegasus::Array<Pegasus::CIMInstance>;

class AccessLayer : public CimFixture {
 protected:
  std::unique_ptr<CIMConnection> Connection(const ConnectionInfo& info) {
    return std::make_unique<CIMConnection>("root/cimv2", info, Pause());
  }
};

TEST_F(AccessLayer, UnreachableServerGetsThreeTriesAndThreePauses) {
  ConnectionInfo info = Info();
  {
    ScriptedCimServer gone;
    info.Port = gone.Port();
  }
  LogCapture log(3);
  const auto connection = Connection(info);
  EXPECT_EQ(connection->GetCIMClient(), nullptr);
  EXPECT_THAT(pauses, ElementsAre(10'000U, 10'000U, 10'000U));
  const std::string place = "127.0.0.1:" + std::to_string(info.Port);
  EXPECT_THAT(log.Texts(1), ElementsAre("Failed to connect remote cimserver with the reason: Cannot connect to " +
                                        place + ". Connection failed."));
  EXPECT_THAT(log.Texts(3), ElementsAre("Connecting to admin:**********@" + place));
  EXPECT_EQ(connection->ReconnectCIMClient(), 1);
  EXPECT_EQ(pauses.size(), 6U);
}

TEST_F(AccessLayer, ServerThatAnswersTheSecondTryIsNoFailure) {
  ConnectionInfo info = Info();
  info.ConnectionType = 1;
  ScriptedCimServer secure(ScriptedHttpServer::Options{.tls = true});
  secure.Http().FailConnections(ConnectionFault::CloseAtOnce, 1);
  info.Port = secure.Port();
  LogCapture log(3);
  const auto connection = Connection(info);
  EXPECT_NE(connection->GetCIMClient(), nullptr);
  EXPECT_EQ(connection->GetCIMClient()->getTimeout(), 2'400'000U);
  EXPECT_EQ(pauses.size(), 1U);
  EXPECT_THAT(log.Texts(1), IsEmpty());
  EXPECT_TRUE(log.Has(3, "Cimserver connection succeeded "));
  EXPECT_FALSE(log.Contains("secret"));
}

TEST_F(AccessLayer, DiagnosticsTellWhatTlsSaidToThePort) {
  ConnectionInfo info = Info();
  info.ConnectionType = 1;
  server.Http().FailConnections(ConnectionFault::CloseAfterFirstBytes, 3);
  const LogCapture log(4);
  Diagnostics diagnostics;
  const DiagnosticsScope scope(diagnostics);
  EXPECT_EQ(Connection(info)->GetCIMClient(), nullptr);
  EXPECT_NE(diagnostics.Detail().find("Connection failed. (curlCode 35: "), std::string::npos);
  EXPECT_FALSE(log.Texts(1).empty());
  EXPECT_EQ(log.Texts(1).front().find("curlCode"), std::string::npos);
}

struct RefusedCase {
  const char* name;
  void (*change)(ConnectionInfo& info);
  bool hasClient;
  u32 level;
  const char* line;
};

TEST_F(AccessLayer, RefusesConnectionRecordsWithoutATry) {
  const RefusedCase cases[] = {
      {"no host", [](ConnectionInfo& info) { info.Host.clear(); }, false, 1,
       "Failed to connect remote cimserver due to invalid connection information. "},
      {"Redfish", [](ConnectionInfo& info) { info.ConnectionCase = 5; }, false, 4,
       "Connection case is not CIM, do not try to connect CIM server."},
      {"type 7", [](ConnectionInfo& info) { info.ConnectionType = 7; }, true, 1, "Invalid connection type: 7"},
  };
  for (const RefusedCase& c : cases) {
    SCOPED_TRACE(c.name);
    LogCapture log;
    ConnectionInfo info = Info();
    c.change(info);
    EXPECT_EQ(Connection(info)->GetCIMClient() != nullptr, c.hasClient);
    EXPECT_TRUE(log.Has(c.level, c.line));
  }
  EXPECT_THAT(pauses, IsEmpty());
  EXPECT_EQ(server.Http().ConnectionCount(), 0);
}

TEST_F(AccessLayer, EnumerationFailuresAreToldApart) {
  const auto connection = Connection(Info());
  const Pegasus::CIMClient* const first = connection->GetCIMClient();
  Instances instances;
  server.OnClass("CIM_X", CimInstanceXml("CIM_X", {}) + CimInstanceXml("CIM_X", {}));
  EXPECT_EQ(GetCIMArrayFromEnumerateInstances("CIM_X", *connection, instances, 420'000), 0);
  EXPECT_EQ(instances.size(), 2U);
  EXPECT_EQ(connection->GetCIMClient()->getTimeout(), 420'000U);

  LogCapture log(1);
  server.OnClassReply("CIM_X", HttpError(401));
  EXPECT_EQ(GetCIMArrayFromEnumerateInstances("CIM_X", *connection, instances, 1000), 1);
  EXPECT_EQ(connection->GetCIMClient(), first) << "only a CIM error replaces the client";
  for (const int code : {3, 6}) {
    server.OnClassError("CIM_X", code, "why");
    EXPECT_EQ(GetCIMArrayFromEnumerateInstances("CIM_X", *connection, instances, 1000), code == 3 ? 6 : 1);
    EXPECT_EQ(connection->GetCIMClient()->getTimeout(), 2'400'000U) << "a new client";
  }
  EXPECT_EQ(instances.size(), 2U) << "failures leave the array alone";
  EXPECT_THAT(log.Texts(1), ElementsAre("Enumerate instances failed with the reason: HTTP Error (401 Scripted).",
                                        "Enumerate instances failed with the reason: why",
                                        "Enumerate instances failed with the reason: why"));
}

TEST_F(AccessLayer, PropertyTextsAreTrimmedAndTranslated) {
  const auto mapped = [](const std::string& name, const std::string& values, const std::string& value) {
    return "<PROPERTY NAME=\"" + name +
           "\" TYPE=\"uint16\"><QUALIFIER NAME=\"ValueMap\" TYPE=\"string\"><VALUE.ARRAY><VALUE>1</VALUE>"
           "<VALUE>2</VALUE></VALUE.ARRAY></QUALIFIER><QUALIFIER NAME=\"Values\" TYPE=\"string\">" +
           values + "</QUALIFIER><VALUE>" + value + "</VALUE></PROPERTY>";
  };
  const std::string words = "<VALUE.ARRAY><VALUE>Off</VALUE><VALUE>&#32;On</VALUE></VALUE.ARRAY>";
  server.OnClass("CIM_X", "<VALUE.NAMEDINSTANCE><INSTANCENAME CLASSNAME=\"CIM_X\"/><INSTANCE CLASSNAME=\"CIM_X\">" +
                              mapped("Known", words, "2") + mapped("Unknown", words, "3") +
                              mapped("Short", "<VALUE.ARRAY><VALUE>Off</VALUE></VALUE.ARRAY>", "2") +
                              mapped("Scalar", "<VALUE>Off</VALUE>", "1") +
                              "<PROPERTY NAME=\"Text\" TYPE=\"string\"><VALUE>&#32;a b&#9;&#10;</VALUE></PROPERTY>"
                              "<PROPERTY NAME=\"Blank\" TYPE=\"string\"><VALUE>&#32;&#32;</VALUE></PROPERTY>"
                              "</INSTANCE></VALUE.NAMEDINSTANCE>");
  const auto connection = Connection(Info());
  Instances instances;
  ASSERT_EQ(GetCIMArrayFromEnumerateInstances("CIM_X", *connection, instances, 1000), 0);

  const CIMPropertyMap asked = {{"Blank", "x"}, {"Known", "x"}, {"Missing", "default"}, {"Scalar", "x"},
                                {"Short", "x"}, {"Text", "x"},  {"Unknown", "x"},       {"not a name", "stays"}};
  LogCapture log;
  CIMPropertyMap translated = asked;
  GetPropertiesFromCIMInstance(instances[0], translated);
  EXPECT_EQ(translated, (CIMPropertyMap{{"Blank", ""},
                                        {"Known", " On"},
                                        {"Missing", "default"},
                                        {"Scalar", ""},
                                        {"Short", "x"},
                                        {"Text", "a b"},
                                        {"Unknown", ""},
                                        {"not a name", "stays"}}));
  EXPECT_THAT(log.Texts(1),
              ElementsAre("Get properties from CIM instance failed with the reason: index out of bounds",
                          "Get properties from CIM instance failed with the reason: The CIM name is not valid: "
                          "not a name"));
  EXPECT_THAT(log.Texts(2), ElementsAre("Property Missing is not found!"));
  EXPECT_TRUE(log.Has(4, "Showing properties for CIM_X"));
  EXPECT_TRUE(log.Has(4, "Known =  On with raw data (2)"));

  CIMPropertyMap raw = asked;
  GetPropertiesFromCIMInstance(instances[0], true, raw);
  EXPECT_EQ(raw["Known"] + raw["Unknown"] + raw["Short"] + raw["Text"], "232a b");
}

TEST_F(AccessLayer, TrimCutsSixCharactersFromBothEnds) {
  EXPECT_EQ(TrimString(" \f\n\t\r\va b\v\r\t\n\f "), "a b");
  EXPECT_EQ(TrimString(" \t\n"), "");
  EXPECT_EQ(TrimString(""), "");
}

}  // namespace
}  // namespace Kelvar::Test

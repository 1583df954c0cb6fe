#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/simulator_cim/CimWire.h"
#include "simulator/cim/RepositoryLoader.h"
#include "support/TestPlaces.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string Parameter(const std::string& name, const std::string& value) {
  return "<IPARAMVALUE NAME=\"" + name + "\">" + value + "</IPARAMVALUE>";
}

std::string Flag(const std::string& name, bool value) {
  return Parameter(name, value ? "<VALUE>TRUE</VALUE>" : "<VALUE>FALSE</VALUE>");
}

TEST(CimOperation, GivesSubclassesAndWhatTheyAdd) {
  CimHost host;
  const auto deep = host.Call({.className = "CIM_PhysicalElement"});
  EXPECT_THAT(deep.body, HasSubstr("<INSTANCE CLASSNAME=\"QEL_Chassis\">"));
  EXPECT_THAT(deep.body, HasSubstr("<INSTANCE CLASSNAME=\"QEL_PowerSupplyPackage\">"));
  EXPECT_THAT(deep.body, HasSubstr("NAME=\"RatedWatts\" TYPE=\"uint32\""));
  EXPECT_THAT(deep.body, HasSubstr("<VALUE>2.4500000e+01</VALUE>"));

  const auto shallow = host.Call({.className = "CIM_PhysicalElement", .parameters = Flag("DeepInheritance", false)});
  EXPECT_THAT(shallow.body, HasSubstr("<INSTANCE CLASSNAME=\"QEL_PowerSupplyPackage\">"));
  EXPECT_THAT(shallow.body, Not(HasSubstr("RatedWatts")));
  EXPECT_THAT(shallow.body, HasSubstr("NAME=\"PartNumber\""));
}

TEST(CimOperation, SendsQualifiersAndOriginsWhenAsked) {
  CimHost host;
  const auto plain = host.Call({.className = "CIM_IndicatorLED"});
  EXPECT_THAT(plain.body, Not(HasSubstr("QUALIFIER")));
  EXPECT_THAT(plain.body, Not(HasSubstr("CLASSORIGIN")));
  const auto asked = host.Call({.className = "CIM_IndicatorLED",
                                .parameters = Flag("IncludeQualifiers", true) + Flag("IncludeClassOrigin", true)});
  EXPECT_THAT(asked.body, HasSubstr("<QUALIFIER NAME=\"ValueMap\" TYPE=\"string\">"));
  EXPECT_THAT(asked.body, HasSubstr("NAME=\"ActivationState\" CLASSORIGIN=\"CIM_IndicatorLED\" TYPE=\"uint16\""));
  EXPECT_THAT(asked.body, HasSubstr("NAME=\"DeviceID\" CLASSORIGIN=\"CIM_LogicalDevice\" TYPE=\"string\""));
}

TEST(CimOperation, KeepsToAPropertyList) {
  CimHost host;
  const auto some = host.Call({.className = "CIM_IndicatorLED",
                               .parameters = Parameter("PropertyList",
                                                       "<VALUE.ARRAY><VALUE>controlmode</VALUE>"
                                                       "<VALUE>NoSuch</VALUE></VALUE.ARRAY>")});
  EXPECT_EQ(CountElements(some.body)["PROPERTY"], 7);
  const auto none = host.Call(
      {.className = "CIM_IndicatorLED", .parameters = Parameter("PropertyList", "<VALUE.ARRAY></VALUE.ARRAY>")});
  EXPECT_EQ(CountElements(none.body)["PROPERTY"], 0);
  EXPECT_EQ(CountElements(none.body)["INSTANCE"], 7);
}

TEST(CimOperation, AnswersEmptyClassesWithNothing) {
  CimHost host;
  for (const bool trailers : {false, true}) {
    auto counts = CountElements(host.Call({.className = "QEL_LogEntry", .trailers = trailers}).body);
    EXPECT_EQ(counts["INSTANCE"], 13);
    counts = CountElements(host.Call({.className = "CIM_ReplacementSet", .trailers = trailers}).body);
    EXPECT_EQ(counts["IRETURNVALUE"], 1);
    EXPECT_EQ(counts["INSTANCE"], 0);
  }
}

TEST(CimOperation, StreamsLargeClassesWithDistinctNames) {
  Simulator::Machine machine = ShippedMachine("full");
  machine.logEntries = 2000;
  CimHost host({.counts = {{"QEL_NumericSensor", 500}}}, machine);
  for (const bool trailers : {true, false}) {
    const auto log = host.Call({.className = "QEL_StandardMessageLogEntry", .trailers = trailers});
    EXPECT_EQ(log.headers.count("content-length"), trailers ? 0U : 1U);
    EXPECT_EQ(CountElements(log.body)["INSTANCE"], 2000);
    EXPECT_THAT(log.body, HasSubstr("NAME=\"EventSequenceNumber\" TYPE=\"uint64\">\n<VALUE>2000</VALUE>"));
  }
  EXPECT_EQ(CountElements(host.Call({.className = "CIM_NumericSensor"}).body)["INSTANCE"], 500);
  EXPECT_THAT(host.Call({.method = "EnumerateInstanceNames", .className = "CIM_NumericSensor"}).body,
              HasSubstr(">1.1.1 #487</KEYVALUE>"));
}

struct FlavourCase {
  std::string flavour;
  std::string nameSpace;
  std::string className;
  bool served;
};

TEST(CimFlavour, NarrowsToOneKindOfTarget) {
  const FlavourCase cases[] = {
      {"", "root/cimv2", "QEL_Chassis", true},         {"", "root/cimv2", "OMC_Chassis", true},
      {"", "qel/zmc1/cimv2", "QEL_Chassis", true},     {"bmc", "root/cimv2", "QEL_Chassis", true},
      {"bmc", "root/cimv2", "OMC_Chassis", false},     {"bmc", "qel/zmc1/cimv2", "QEL_Chassis", false},
      {"esxi", "qel/zmc1/cimv2", "QEL_Chassis", true}, {"omc", "root/cimv2", "OMC_Chassis", true},
      {"omc", "root/cimv2", "QEL_Chassis", false},
  };
  for (const FlavourCase& test : cases) {
    Simulator::Machine machine = ShippedMachine("full");
    machine.cimFlavour = test.flavour;
    CimHost host({}, machine);
    const auto counts = CountElements(host.Call({.className = test.className, .nameSpace = test.nameSpace}).body);
    EXPECT_EQ(counts.count("INSTANCE") == 1, test.served) << test.flavour << ' ' << test.nameSpace << test.className;
    EXPECT_EQ(counts.count("ERROR") == 1, !test.served);
  }
}

struct RefusalCase {
  std::string name;
  std::string body;
  std::vector<std::string> headers;
  long status;
  std::string cimError;
};

TEST(CimHttp, RefusesWhatIsNoOperation) {
  CimHost host;
  const CimCall call{.className = "CIM_Chassis"};
  const auto replaced = [&](const std::string& from, const std::string& to) {
    std::string body = call.Body();
    return body.replace(body.find(from), from.size(), to);
  };
  const RefusalCase cases[] = {
      {"no XML", "hello", call.Headers(), 400, "request-not-well-formed"},
      {"cut", call.Body().substr(0, 100), call.Headers(), 400, "request-not-well-formed"},
      {"other XML", "<html/>", call.Headers(), 400, "request-not-valid"},
      {"version", replaced("CIMVERSION=\"2.0\"", "CIMVERSION=\"3.0\""), call.Headers(), 501, "unsupported-cim-version"},
      {"DTD", replaced("DTDVERSION=\"2.0\"", "DTDVERSION=\"1.0\""), call.Headers(), 501, "unsupported-dtd-version"},
      {"protocol", replaced("PROTOCOLVERSION=\"1.0\"", ""), call.Headers(), 501, "unsupported-protocol-version"},
      {"batch", replaced("<SIMPLEREQ>", "<MULTIREQ/><SIMPLEREQ>"), call.Headers(), 501,
       "multiple-requests-unsupported"},
      {"method", call.Body(), CimCall{.method = "GetClass"}.Headers(), 400, "header-mismatch"},
      {"object", call.Body(), CimCall{.nameSpace = "root/other"}.Headers(), 400, "header-mismatch"},
      {"no header", call.Body(), {}, 400, "unsupported-operation"},
  };
  for (const RefusalCase& test : cases) {
    auto fetched = host.Post(test.body, test.headers);
    EXPECT_EQ(fetched.status, test.status) << test.name;
    EXPECT_EQ(fetched.headers["cimerror"], test.cimError) << test.name;
  }
  EXPECT_EQ(host.Call(call).status, 200);
}

TEST(CimHttp, AsksForALogin) {
  CimHost host;
  CurlFetch client;
  const CimCall call{.className = "CIM_Chassis"};
  CurlFetch::Settings anonymous;
  anonymous.body = call.Body();
  anonymous.headers = call.Headers();
  auto challenged = client.Get(host.Url(), anonymous);
  EXPECT_EQ(challenged.status, 401);
  EXPECT_THAT(challenged.headers["www-authenticate"], HasSubstr("Basic realm="));
  EXPECT_EQ(client.Get(host.Url()).status, 405);
  // curl answers a challenge on the same connection
  EXPECT_EQ(host.Call(call).status, 200);
  EXPECT_EQ(host.Call(call).newConnections, 0);
}

TEST(CimMachines, CanBeAwkward) {
  Simulator::Machine machine = ShippedMachine("awkward");
  CimHost host({}, machine);
  const auto log = host.Call({.className = "QEL_StandardMessageLogEntry"});
  EXPECT_THAT(log.body, HasSubstr("<![CDATA[<b>bold</b> & ]]>"));
  EXPECT_THAT(log.body, HasSubstr("<PROPERTY.ARRAY NAME=\"MessageArguments\" TYPE=\"string\">\n</PROPERTY.ARRAY>"));
  EXPECT_THAT(log.body, HasSubstr("<VALUE.NULL/>\n<VALUE>x^y</VALUE>"));
  EXPECT_THAT(log.body, HasSubstr("<PROPERTY NAME=\"Hidden\" TYPE=\"string\">\n<VALUE>false</VALUE>"));
  EXPECT_THAT(host.Call({.className = "CIM_Card"}).body, HasSubstr("\xc2\x9b"
                                                                   "31mRed\xc2\x9b"
                                                                   "0m\x7f &amp; &lt;&quot;"));
  EXPECT_THAT(host.Call({.className = "CIM_Card"}).body, HasSubstr("two&#13;&#10;lines&#9;and a tab"));
  EXPECT_THAT(host.Call({.className = "CIM_IndicatorLED"}).body, HasSubstr("<QUALIFIER NAME=\"ValueMap\""));

  machine.cimFlavour = "empty";
  CimHost empty({}, machine);
  for (const std::string className : {"QEL_Chassis", "CIM_PhysicalElement", "CIM_NumericSensor"}) {
    auto counts = CountElements(empty.Call({.className = className, .nameSpace = "qel/zmc1/cimv2"}).body);
    EXPECT_EQ(counts["IRETURNVALUE"], 1);
    EXPECT_EQ(counts["INSTANCE"], 0);
  }
}

TEST(CimMachines, GiveWellFormedRepliesForAllTheirClasses) {
  for (const auto& entry : std::filesystem::directory_iterator(kMachineFolder)) {
    const std::filesystem::path folder = entry.path() / "cim";
    if (!std::filesystem::exists(folder)) {
      continue;
    }
    const auto variables = Simulator::Variables::Load(entry.path() / "machine.json");
    const auto repository = Simulator::Cim::LoadRepository(folder, "", variables);
    CimHost host({}, ShippedMachine(entry.path().filename()));
    for (const auto& [nameSpace, space] : repository.namespaces) {
      for (const auto& [className, of] : space.Classes()) {
        for (const std::string method : {"EnumerateInstances", "GetClass"}) {
          const auto fetched = host.Call({.method = method,
                                          .className = className,
                                          .nameSpace = nameSpace,
                                          .parameters = Flag("IncludeQualifiers", true)});
          const auto counts = CountElements(fetched.body);
          EXPECT_EQ(counts.count("IRETURNVALUE"), 1U) << folder << className << ": " << counts.begin()->first;
        }
      }
    }
  }
}

}  // namespace
}  // namespace Kelvar::Test

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "flow/simulator_cim/CimWire.h"

namespace Kelvar::Test {
namespace {

using testing::HasSubstr;

struct FaultCase {
  std::string fault;
  CURLcode code;
  long status;
  std::string body;
};

TEST(CimFault, StrikesAsItsDataSay) {
  const FaultCase cases[] = {
      {"*:CIM_IndicatorLED status=503", CURLE_OK, 503, ""},
      {"*:CIM_* method=EnumerateInstances status=500", CURLE_OK, 500, ""},
      {"*:CIM_IndicatorLED method=GetClass status=500", CURLE_OK, 200, "QEL_IndicatorLED"},
      {"qel/*:CIM_IndicatorLED status=500", CURLE_OK, 200, "QEL_IndicatorLED"},
      {"*:CIM_IndicatorLED status=400 header=\"CIMError: request-not-valid\"", CURLE_OK, 400, ""},
      {"*:CIM_IndicatorLED cim-error=\"2 no access\"", CURLE_OK, 200, "<ERROR CODE=\"2\" DESCRIPTION=\"no access\"/>"},
      {"*:CIM_IndicatorLED message-id=78", CURLE_OK, 200, "<MESSAGE ID=\"78\""},
      {"*:CIM_IndicatorLED body=<CIM><unclosed>", CURLE_OK, 200, "<CIM><unclosed>"},
      {"*:CIM_IndicatorLED cut-body=500", CURLE_PARTIAL_FILE, 200, "<CIM "},
      {"*:CIM_IndicatorLED cut=0 end=reset", CURLE_RECV_ERROR, 0, ""},
      {"*:CIM_IndicatorLED cut=0", CURLE_GOT_NOTHING, 0, ""},
      {"*:CIM_IndicatorLED content-length=none end=close", CURLE_OK, 200, "</CIM>"},
      {"*:CIM_IndicatorLED gzip=1", CURLE_OK, 200, "\x1f\x8b"},
  };
  for (const FaultCase& test : cases) {
    CimHost host;
    host.Service().Faults().Add(test.fault);
    const auto fetched = host.Call({.className = "CIM_IndicatorLED"});
    EXPECT_EQ(fetched.code, test.code) << test.fault;
    EXPECT_EQ(fetched.status, test.status) << test.fault;
    EXPECT_THAT(fetched.body, HasSubstr(test.body)) << test.fault;
    EXPECT_EQ(host.Service().Counted().connections, 1U);
  }
}

TEST(CimFault, ReachesStreamedReplies) {
  CimHost host;
  host.Service().Faults().Add("*:CIM_LogEntry times=1 cut-body=700");
  host.Service().Faults().Add("*:CIM_LogEntry times=1 cim-error=\"1 100 % broken\"");
  CimCall call{.className = "CIM_LogEntry", .trailers = true};
  EXPECT_EQ(host.Call(call).code, CURLE_PARTIAL_FILE);
  auto failed = host.Call(call);
  EXPECT_EQ(failed.headers["cimstatuscode"], "1");
  EXPECT_EQ(failed.headers["cimstatuscodedescription"], "100%20%25%20broken");
  EXPECT_EQ(failed.body, "");
  EXPECT_EQ(host.Call(call).body, host.Call({.className = "CIM_LogEntry"}).body);
}

TEST(CimFault, SendsInstancesWithoutEnd) {
  CimHost host;
  host.Service().Faults().Add("*:* endless=1 cut-body=3000000");
  for (const std::string className : {"CIM_IndicatorLED", "CIM_Card"}) {
    const auto endless = host.Call({.className = className});
    EXPECT_GE(endless.body.size(), 2900000U);
    EXPECT_EQ(endless.body.find("</IRETURNVALUE>"), std::string::npos);
  }
}

TEST(CimFault, IsSwitchedOnByName) {
  Simulator::Machine machine = ShippedMachine("full");
  machine.faults = {"cim:busy-twice", "redfish:other", "cim:*:CIM_Card status=500"};
  CimHost host({}, machine);
  for (const long status : {503L, 503L, 200L}) {
    EXPECT_EQ(host.Call({.className = "CIM_Chassis"}).status, status);
  }
  EXPECT_EQ(host.Call({.className = "CIM_Card"}).status, 500);

  machine.faults = {"cim:dead"};
  EXPECT_NE(CimHost({}, machine).Call({.className = "CIM_Card"}).code, CURLE_OK);
  machine.faults = {"cim:no-such-name"};
  EXPECT_THROW(CimHost({}, machine), std::invalid_argument);
}

}  // namespace
}  // namespace Kelvar::Test

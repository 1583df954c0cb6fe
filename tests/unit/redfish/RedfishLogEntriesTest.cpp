#include <gtest/gtest.h>
#include <kelvar/Log.h>

#include "module/nfw/inventory/redfish/RedfishLog.h"

namespace Kelvar {
namespace {

using KelvarNfw::ZMCMESSAGELOGDATAREST;

/// The entries as one text, and what ended the reading.
std::string ReadEntries(const std::string& body) {
  std::vector<ZMCMESSAGELOGDATAREST> list;
  std::string all;
  try {
    AppendLogEntries(body, true, list);
  } catch (const boost::property_tree::ptree_error& error) {
    all = std::string("failed: ") + error.what() + "\n";
  }
  for (const ZMCMESSAGELOGDATAREST& entry : list) {
    all += std::to_string(entry.RecordIndex);
    for (const std::string& text :
         {entry.Source, entry.EventSequenceNumber, entry.CreationTimeStamp, entry.EventID, entry.ElementName,
          entry.Message, entry.MessageID, entry.MessageArguments, entry.PerceivedSeverity, entry.AuxiliaryData}) {
      all += "|" + text;
    }
    all += entry.Hidden ? "|hidden\n" : "\n";
  }
  return all;
}

/// A member with an escape in its name, which makes a body one that is read by way of the tree.
std::string ForTheTree(std::string body) {
  body.insert(body.find('{') + 1, "\"\\u005f\":0,");
  return body;
}

TEST(RedfishLogEntriesTest, ReadingInPlaceGivesWhatTheTreeGives) {
  for (
      const std::string body : {
          R"({"Members":[]})",
          R"({"Members":{}, "x":1})",
          R"({"Members":"text"})",
          R"({"Members":[{"MessageArgs":["a","b"],"Message":"\"\\\u00e9\ud83d\ude00\u0000x"}]})",
          R"({"Members":{"a":{"MessageArgs":{"x":1,"y":[2],"z":"3"}},"b":{"MessageArgs":"scalar"}}})",
          R"({"Members":[{"MessageArgs":[1,true,null,{},[5],""],"Message":null,"Name":1.50,"Severity":{"x":1}}]})",
          R"({"Members":[{"MessageArgs":[],"Oem":5},{"MessageArgs":[],"Oem":{"Tavrik":[]}},5,{"MessageArgs":[]}]})",
          R"({"Members":[{"MessageArgs":[]},null]})",
          R"({"Members":[{"MessageArgs":[],"Oem":{"Tavrik":{"Source":"first"}},"Oem":{"Tavrik":{"Source":"second"}}}]})",
          R"({"Members":[{"MessageArgs":[],"Oem":{},"Oem":{"Tavrik":{"Source":"hidden by the first"}}}]})",
          R"({"Members":[{"MessageArgs":[],"Message":"1","Message":"2"}],"Members":[{"MessageArgs":[]},{}]})",
          R"({"Members":[{"MessageArgs":[],"Oem.Tavrik.Source":"no path"}]})",
          R"({"Members":[{"MessageArgs":[],"Links":{"Message":"nested"},"Oem":{"Message":"nested"}}]})",
          R"(
 { "Members" : [ { "MessageArgs" : [ "a" , "b" ] , "Oem" : { "Tavrik" : { "Hidden" : false } } } ] }
)",
          R"({"Members":[{"MessageArgs":[]}]} x)",
          R"({"Members":[{"MessageArgs":[]},{"MessageArgs":[])",
          R"({"Members":[{"MessageArgs":[]},{"MessageArgs":[],"Message":"\x"}]})",
          "{\"Members\":[{\"MessageArgs\":[],\"Message\":\"\xff\"}]}",
      }) {
    EXPECT_EQ(ReadEntries(body), ReadEntries(ForTheTree(body))) << body;
  }
  for (const char* body : {"[1]", "5", "", "{}"}) {
    EXPECT_EQ(ReadEntries(body).substr(0, 8), "failed: ") << body;
  }
}

TEST(RedfishLogEntriesTest, ALargeLogIsReadWhole) {
  Log::SetMinLogLevel(0);
  std::string body = "{\"Members\":[";
  constexpr u32 kCount = 5'000;
  for (u32 index = 0; index < kCount; ++index) {
    body += (index == 0 ? "{\"Message\":\"" : ",{\"Message\":\"") + std::to_string(index) + "\",\"MessageArgs\":[1,2]}";
  }
  body += "]}";
  std::vector<ZMCMESSAGELOGDATAREST> list;
  AppendLogEntries(body, true, list);
  ASSERT_EQ(list.size(), kCount);
  EXPECT_EQ(list.back().Message, std::to_string(kCount - 1));
  EXPECT_EQ(list.back().RecordIndex, kCount - 1);
  Log::SetMinLogLevel(1);
}

TEST(RedfishLogEntriesTest, TooManyEntriesEndTheReading) {
  const std::string body = R"({"Members":[{"MessageArgs":0},{"MessageArgs":0},{"MessageArgs":0}]})";
  for (const std::string& text : {body, ForTheTree(body)}) {
    std::vector<MAINTLOGREDFISHDATA> list;
    EXPECT_THROW(AppendLogEntries(text, true, list, 2), boost::property_tree::ptree_error);
    EXPECT_EQ(list.size(), 2u);
  }
}

}  // namespace
}  // namespace Kelvar

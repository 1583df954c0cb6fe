#include "simulator/redfish/RedfishServer.h"

#include <algorithm>
#include <map>

#include <gtest/gtest.h>

#include "RedfishFixture.h"
#include "simulator/machine/JsonFile.h"
#include "simulator/redfish/JsonBytes.h"
#include "simulator/redfish/PageTemplate.h"
#include "simulator/redfish/ResourceTree.h"
#include "support/TemporaryFolder.h"

namespace Kelvar::Simulator {
namespace {

using Test::CurlFetch;
using Test::Fetched;
using Test::RedfishFixture;
using Test::TemporaryFolder;

constexpr const char* kSystem = "/redfish/v1/Systems/Self";
constexpr const char* kSensors = "/redfish/v1/Chassis/1/Sensors";
constexpr const char* kEntries = "/redfish/v1/Systems/Self/LogServices/StandardLog/Entries";
constexpr const char* kSessions = "/redfish/v1/SessionService/Sessions";

std::string Code(const Fetched& fetched) {
  rapidjson::Document document;
  document.Parse(fetched.body.c_str());
  const bool isError = document.IsObject() && document.HasMember("error") && document["error"].IsObject();
  return isError ? document["error"]["code"].GetString() : fetched.body;
}

TEST(RedfishService, TellsItsRootToStrangersAndNothingElse) {
  RedfishFixture redfish("full");
  for (const char* path : {"/redfish", "/redfish/", "/redfish/v1", "/redfish/v1/", "/redfish/v1/odata",
                           "/redfish/v1/$metadata", "/redfish/v1/%24metadata"}) {
    EXPECT_EQ(redfish.GetAsStranger(path).status, 200) << path;
  }
  Fetched refused = redfish.GetAsStranger(kSystem);
  EXPECT_EQ(refused.status, 401);
  EXPECT_EQ(refused.headers["www-authenticate"].substr(0, 6), "Basic ");
  EXPECT_EQ(Code(refused), "Base.1.15.0.NoValidSession");
  CurlFetch::Settings wrong;
  wrong.user = redfish.Machine().accounts.at(0).user;
  wrong.password = "wrong";
  EXPECT_EQ(Code(redfish.GetAsStranger(kSystem, wrong)), "Base.1.15.0.ResourceAtUriUnauthorized");
  EXPECT_EQ(redfish.Get(kSystem).status, 200);
}

TEST(RedfishService, WritesFactsOfAnyTextIntoItsPages) {
  const std::string name = "the \"big\" one\\two\n\xc3\xa9";
  const TemporaryFolder machine;
  machine.Write("redfish/v1/index.json", R"({"Name": "<${name}>"})");
  machine.Write("redfish/v1/Parts/members.json", R"([{"@odata.id": "/redfish/v1/Parts/1", "Name": "<${name}>"}])");
  const ResourceTree tree(machine / "redfish", Variables({{"name", name}}));
  for (const char* path : {"/redfish/v1", "/redfish/v1/Parts/1"}) {
    rapidjson::Document page;
    ASSERT_FALSE(page.Parse(tree.Find(path).value_or("").c_str()).HasParseError()) << path;
    EXPECT_EQ(page["Name"].GetString(), '<' + name + '>') << path;
  }
}

TEST(RedfishService, AnswersAsHttpWantsIt) {
  RedfishFixture redfish("full");
  Fetched page = redfish.Get(kSystem);
  EXPECT_EQ(page.headers["odata-version"], "4.0");
  EXPECT_EQ(page.headers["content-type"], "application/json; charset=utf-8");
  EXPECT_EQ(page.headers["allow"], "GET, HEAD");
  EXPECT_EQ(page.headers["link"], "<https://redfish.dmtf.org/schemas/v1/ComputerSystem.v1_16_0.json>; rel=describedby");
  EXPECT_EQ(redfish.GetAsStranger("/redfish/v1/$metadata").headers["content-type"], "application/xml; charset=utf-8");
  EXPECT_EQ(redfish.Get("/redfish/v1/%53ystems/Self/?unknown=1").body, page.body);

  CurlFetch::Settings known;
  known.headers = {"If-None-Match: " + page.headers["etag"]};
  EXPECT_EQ(redfish.Get(kSystem, known).status, 304);
  EXPECT_EQ(redfish.Get("/redfish/v1/Chassis/1", known).status, 200);

  CurlFetch::Settings odata;
  odata.headers = {"OData-Version: 4.1"};
  EXPECT_EQ(redfish.Get(kSystem, odata).status, 412);

  CurlFetch::Settings head;
  head.method = "HEAD";
  EXPECT_EQ(redfish.Get(kSystem, head).headers["content-length"], std::to_string(page.body.size()));
  CurlFetch::Settings gzip;
  gzip.acceptEncoding = "gzip";
  Fetched compressed = redfish.Get(kSystem, gzip);
  EXPECT_EQ(compressed.headers["content-encoding"], "gzip");
  EXPECT_EQ(compressed.body, page.body);

  Fetched missing = redfish.Get("/redfish/v1/Systems/2");
  EXPECT_EQ(missing.status, 404);
  EXPECT_EQ(Code(missing), "Base.1.15.0.ResourceMissingAtURI");
  CurlFetch::Settings patch;
  patch.method = "PATCH";
  Fetched notAllowed = redfish.Get(kSystem, patch);
  EXPECT_EQ(notAllowed.status, 405);
  EXPECT_EQ(Code(notAllowed), "Base.1.15.0.OperationNotAllowed");
  EXPECT_EQ(redfish.Service().Server().Counted().connections, 1U);
}

TEST(RedfishService, ExpandsWhatIsAskedFor) {
  RedfishFixture redfish("full");
  const auto plain = redfish.Json(kSensors);
  EXPECT_EQ(plain["Members"][0].MemberCount(), 1U);
  for (const char* query : {"?$expand=.($levels=1)", "?$expand=*", "?$expand=.", "?%24expand=.(%24levels%3D1)"}) {
    const auto expanded = redfish.Json(std::string(kSensors) + query);
    ASSERT_TRUE(expanded.IsObject()) << query;
    ASSERT_EQ(expanded["Members"].Size(), plain["Members"].Size()) << query;
    EXPECT_STREQ(expanded["Members"][1]["Name"].GetString(), "CPU 1 Temp") << query;
    EXPECT_EQ(expanded["Members"][1]["RelatedItem"][0].MemberCount(), 1U) << query;
  }
  const auto links = redfish.Json(std::string(kSystem) + "?$expand=~");
  EXPECT_STREQ(links["Links"]["Chassis"][0]["Id"].GetString(), "1");
  EXPECT_EQ(links["Memory"].MemberCount(), 1U);
  const auto deep = redfish.Json(std::string(kSystem) + "?$expand=.($levels=2)");
  EXPECT_STREQ(deep["Memory"]["Members"][0]["Name"].GetString(), "DIMM 1");
  EXPECT_EQ(deep["Links"]["Chassis"][0].MemberCount(), 1U);

  EXPECT_EQ(Code(redfish.Get(std::string(kSystem) + "?$expand=.($levels=9)")),
            "Base.1.15.0.QueryParameterValueFormatError");
  EXPECT_EQ(redfish.Get(std::string(kSystem) + "?$filter=x").status, 501);
}

TEST(RedfishService, ServesAwkwardPagesByteForByte) {
  RedfishFixture redfish("awkward");
  redfish.Service().Tree().ForEach([&](const std::string& path, const std::string& page) {
    EXPECT_EQ(redfish.Get(path).body, page) << path;
    EXPECT_EQ(redfish.Get(path + "?$expand=*($levels=2)").status, 200) << path;
  });
  // What a query puts together keeps bad UTF-8 and the writing of numbers too.
  const std::string sensors = redfish.Get("/redfish/v1/Chassis/1/Sensors?$top=9&$skip=9").body;
  EXPECT_NE(sensors.find("18446744073709551616"), std::string::npos);
  EXPECT_NE(sensors.find("\xe2\x82\""), std::string::npos);
}

TEST(RedfishService, TellsTheComponentsThatTheMachineHas) {
  RedfishFixture redfish("full");
  std::vector<std::string> parts;
  const std::string power = redfish.Get("/redfish/v1/Chassis/1/Power").body;
  for (const auto supply : JsonText::Elements(JsonText::Member(power, "PowerSupplies").value_or(""))) {
    parts.emplace_back(supply);
  }
  const auto chassis = redfish.Json("/redfish/v1/Chassis");
  for (const auto& member : chassis["Members"].GetArray()) {
    parts.push_back(redfish.Get(member["@odata.id"].GetString()).body);
  }
  const auto machine = Json::ReadObject(redfish.Machine().folder / "machine.json");
  for (const auto& component : Json::List(machine["facts"], "components")) {
    EXPECT_TRUE(std::any_of(parts.begin(), parts.end(), [&component](const std::string& part) {
      const auto has = [&](const char* fact) {
        return part.find('"' + Json::Text(component, fact) + '"') != part.npos;
      };
      return has("name") && has("serialNumber") && has("partNumber") && has("fruPartNumber") && has("manufacturer");
    })) << Json::Text(component, "name");
  }
}

TEST(RedfishService, RefusesOrIgnoresExpandWhereAMachineDoes) {
  RedfishFixture redfish("amd");
  EXPECT_EQ(redfish.Get("/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)").body,
            redfish.Get("/redfish/v1/UpdateService/FirmwareInventory").body);
  std::optional<HttpResponse> refusal;
  ParseQuery("$expand=.", {ExpandSupport::Refused}, refusal);
  EXPECT_EQ(refusal.value_or(HttpResponse{}).status, 501U);
}

TEST(RedfishService, CutsCollections) {
  RedfishFixture redfish("full");
  const auto cut = redfish.Json(std::string(kSensors) + "?$skip=17&$top=1&$expand=.");
  ASSERT_EQ(cut["Members"].Size(), 1U);
  EXPECT_STREQ(cut["Members"][0]["Name"].GetString(), "CPU Utilisation");
  EXPECT_EQ(cut["Members@odata.count"].GetInt(), 19);
  EXPECT_EQ(redfish.Json(std::string(kSensors) + "?$skip=100")["Members"].Size(), 0U);
}

TEST(RedfishService, GrowsLogsAndSensors) {
  RedfishFixture redfish("full", {}, 1'000, 200);
  const auto entries = redfish.Json(kEntries);
  ASSERT_EQ(entries["Members"].Size(), 1'000U);
  EXPECT_EQ(entries["Members@odata.count"].GetInt(), 1'000);
  const auto& last = entries["Members"][999];
  EXPECT_STREQ(last["Id"].GetString(), "1000");
  EXPECT_STREQ(last["Oem"]["Tavrik"]["EventSequenceNumber"].GetString(), "1000");
  EXPECT_STREQ(last["Created"].GetString(), "2026-01-08T15:09:00Z");
  EXPECT_EQ(redfish.Json(last["@odata.id"].GetString()), last);

  for (const char* path : {kSensors, "/redfish/v1/Chassis/1/Oem/Tavrik/Sensors"}) {
    const auto sensors = redfish.Json(std::string(path) + "?$expand=.($levels=1)");
    ASSERT_EQ(sensors["Members"].Size(), 200U);
    const auto& sensor = sensors["Members"][199];
    EXPECT_STREQ(sensor["Id"].GetString(), "200");
    EXPECT_EQ(redfish.Json(sensor["@odata.id"].GetString()), sensor);
  }
  EXPECT_EQ(redfish.Get(std::string(kSensors) + "/201").status, 404);
  EXPECT_EQ(redfish.Get(std::string(kSensors) + "/20").status, 200);

  RedfishFixture empty("full", {}, 0, 3);
  EXPECT_EQ(empty.Json(kEntries)["Members"].Size(), 0U);
  EXPECT_EQ(empty.Json(kSensors)["Members"].Size(), 3U);
}

TEST(RedfishService, OpensAndClosesSessions) {
  RedfishFixture redfish("full");
  CurlFetch::Settings login;
  login.body = R"({"UserName": "admin", "Password": "wrong"})";
  EXPECT_EQ(redfish.GetAsStranger(kSessions, login).status, 401);
  login.body = "{";
  EXPECT_EQ(redfish.GetAsStranger(kSessions, login).status, 400);
  login.body = R"({"UserName": "admin", "Password": "kelvar-demo"})";
  Fetched opened = redfish.GetAsStranger(kSessions, login);
  ASSERT_EQ(opened.status, 201);
  const std::string session = opened.headers["location"];

  CurlFetch::Settings token;
  token.headers = {"X-Auth-Token: " + opened.headers["x-auth-token"]};
  EXPECT_EQ(redfish.GetAsStranger(session, token).body, opened.body);
  EXPECT_EQ(redfish.Json(kSessions)["Members"].Size(), 1U);
  CurlFetch::Settings close = token;
  close.method = "DELETE";
  EXPECT_EQ(redfish.GetAsStranger(session, close).status, 204);
  EXPECT_EQ(redfish.GetAsStranger(kSystem, token).status, 401);
}

TEST(RedfishService, OpensNoSessionThatAFaultRefuses) {
  RedfishFixture redfish("rack-gen5", {"*/Sessions/ method=POST times=1 status=500"});
  CurlFetch::Settings login;
  login.body = R"({"UserName": "admin", "Password": "kelvar-demo"})";
  Fetched refused = redfish.GetAsStranger(std::string(kSessions) + '/', login);
  EXPECT_EQ(refused.status, 500);
  EXPECT_EQ(refused.headers.count("x-auth-token") + refused.headers.count("location"), 0U);
  EXPECT_EQ(redfish.Service().OpenSessions(), 0U);
  const std::string location = redfish.GetAsStranger(std::string(kSessions) + '/', login).headers["location"];
  EXPECT_EQ(location, redfish.Url(kSessions) + "/2");
  EXPECT_EQ(redfish.Service().OpenSessions(), 1U);
}

TEST(RedfishService, ForgetsAndRefusesSessions) {
  std::chrono::steady_clock::time_point now{};
  Sessions sessions("/sessions", {2, std::chrono::seconds(30), 3}, [&now] { return now; });
  const std::string first = sessions.Open("one")->token;
  const auto second = sessions.Open("two");
  EXPECT_EQ(second->path, "/sessions/2");
  EXPECT_FALSE(sessions.Open("three")) << "at most two";
  now += std::chrono::seconds(29);
  EXPECT_TRUE(sessions.Admit(first));
  now += std::chrono::seconds(1);
  EXPECT_FALSE(sessions.Admit(second->token)) << "idle for 30 seconds";
  EXPECT_TRUE(sessions.Admit(first) && sessions.Admit(first));
  EXPECT_FALSE(sessions.Admit(first)) << "three requests";
  EXPECT_EQ(sessions.OpenCount(), 0U);
}

TEST(RedfishService, KeepsItsRootToItselfWhereTheMachineSaysSo) {
  const TemporaryFolder folder;
  folder.Write("machine.json", R"({"name": "m", "description": "d", "accounts": [{"user": "u", "password": "p"}]})");
  folder.Write("redfish/service.json", R"({"loginForRoot": true, "queries": "ignored", "anyCase": true})");
  folder.Write("redfish/v1/index.json", R"({"Name": "root"})");
  RedfishFixture redfish((folder / "machine.json").parent_path().string());
  EXPECT_EQ(redfish.GetAsStranger("/redfish/v1").status, 401);
  EXPECT_EQ(redfish.Get("/Redfish/V1?$expand=nonsense&$filter=x").body, R"({"Name": "root"})");
}

TEST(RedfishService, FillsInTemplates) {
  std::map<std::string, std::string> pages;
  const auto read = [&pages](const std::string& json) {
    ReadPages(json, [&pages](const std::string& path, const std::string& text) { pages[path] = text; });
  };
  read(
      R"([{"@each": {"n": [1, 2]}, "@items": [{"@odata.id": "/{n}/", "t": "{n@time}Z", "v": "{n*0.5+20}", "Id": "{n*2}",
    "x": "{y}{n}", "list": [0,
      {"@each": [["kids"], [["a", 7]]], "@items": [{"@each": {"kid": "{kids}"}, "@items": ["{kid}"]}]},
      {"@each": [["a", "{n}"], ["@absent", null]], "@items": ["{n}{a}", {"a": "{a}"}]}]}]}])");
  EXPECT_EQ(
      pages.at("/2"),
      R"({"@odata.id":"/2/","t":"2026-01-01T00:22:00Z","v":21.0,"Id":"4","x":"{y}2","list":[0,"a",7,"2@absent",{}]})");
  for (const char* wrong :
       {"{}", "[", "[{}]", R"([{"@each": {"n": 1}, "@items": []}])", R"([{"@each": {"n": "{m}"}, "@items": []}])",
        R"([{"@each": [["a"], [1, 2]], "@items": []}])", R"([{"@each": [["a"], ["x"]], "@items": ["{a*2}"]}])",
        R"([{"@each": {"n": [1, 1]}, "@items": ["{n*x}"]}])"}) {
    EXPECT_THROW(read(wrong), std::runtime_error) << wrong;
  }
}

TEST(RedfishService, DoesWhatAFaultSays) {
  RedfishFixture redfish("full",
                         {"/redfish/v1/Systems times=2 status=503 header=Retry-After:5", "@tls skip=1 end=reset"});
  EXPECT_EQ(redfish.Get("/redfish/v1/Systems").headers["retry-after"], "5");
  EXPECT_EQ(redfish.Get("/redfish/v1/Systems").status, 503);
  EXPECT_EQ(redfish.Get("/redfish/v1/Systems").status, 200);
  EXPECT_NE(CurlFetch().Get(redfish.Url(kSystem)).code, CURLE_OK);
  EXPECT_EQ(redfish.Service().Targets(), (std::vector<std::string>(3, "/redfish/v1/Systems")));
}

}  // namespace
}  // namespace Kelvar::Simulator

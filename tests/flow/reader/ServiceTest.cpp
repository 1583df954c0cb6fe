// Services that misbehave, and what the reader makes of them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/InventoryReader.h>

#include <algorithm>

#include "flow/reader/RedfishTree.h"

namespace Kelvar::Test {
namespace {

using namespace Model;

constexpr const char* kRoot = "/redfish/v1";
const std::string kFirmware = "/redfish/v1/UpdateService/FirmwareInventory";

/// A root with an update service, and a list of `count` firmware.
void PutFirmware(RedfishTree& tree, int count, const std::string& features = "{}") {
  tree.Put(kRoot, R"({"@odata.id":"/redfish/v1/","Id":"R","RedfishVersion":"1.9.0",)"
                  R"("Links":{"Sessions":{"@odata.id":"/redfish/v1/SessionService/Sessions"}},)"
                  R"("UpdateService":{"@odata.id":"/redfish/v1/UpdateService"},"ProtocolFeaturesSupported":)" +
                      features + "}");
  tree.Put("/redfish/v1/UpdateService", R"({"@odata.id":"/redfish/v1/UpdateService","Id":"U",)"
                                        R"("FirmwareInventory":{"@odata.id":")" +
                                            kFirmware + R"("}})");
  std::vector<std::string> members;
  for (int i = 0; i < count; ++i) {
    members.push_back(kFirmware + '/' + std::to_string(i));
    tree.Put(members.back(), R"({"@odata.id":")" + members.back() + R"(","Id":"x","Name":"N","Version":"1"})");
  }
  tree.PutCollection(kFirmware, members);
}

Inventory ReadFirmware(const KelvarConnection::ConnectionInfo& target, InventoryReaderOptions options = {}) {
  InventoryReader reader(target, std::move(options));
  return reader.Read({Family::Firmware});
}

struct AuthenticationCase {
  const char* name;
  TreeManners manners;
  int logins;  ///< how often the account may be sent at least
};

class ReaderAuthentication : public testing::TestWithParam<AuthenticationCase> {};

TEST_P(ReaderAuthentication, ReadsEverythingAndLeavesNoSession) {
  RedfishTree tree(GetParam().manners);
  PutFirmware(tree, 20);
  EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 20U);
  EXPECT_EQ(tree.OpenSessions(), 0);
  EXPECT_GE(tree.Logins(), GetParam().logins);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReaderAuthentication,
    testing::Values(AuthenticationCase{"Sessions", {}, 1}, AuthenticationCase{"NoSessions", {.sessions = false}, 20},
                    AuthenticationCase{"SessionsRefused", {.sessionStatus = 503}, 20},
                    AuthenticationCase{"SessionsUnusable", {.sessionStatus = 200}, 20},
                    AuthenticationCase{"NamedByAnotherHost", {.sessionHost = "https://b.example"}, 1},
                    AuthenticationCase{"NamedByTheBodyAlone", {.sessionHost = nullptr}, 1},
                    AuthenticationCase{"NamedNowhere", {.namesSession = false}, 1},
                    AuthenticationCase{"NamedByARelativeLocation", {.relativeLocation = true}, 1},
                    AuthenticationCase{"Busy", {.busySessions = 3, .takesBasic = false}, 1},
                    AuthenticationCase{"ForgottenOnce", {.forgetAfter = 15}, 2},
                    AuthenticationCase{"ForgottenAgainAndAgain", {.forgetAfter = 5}, 3},
                    AuthenticationCase{"ForgottenWithoutBasic", {.forgetAfter = 10, .takesBasic = false}, 2},
                    AuthenticationCase{"RootNeedsLogin", {.rootNeedsLogin = true}, 1},
                    AuthenticationCase{"SessionsAlone", {.takesBasic = false}, 1}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ReaderService, ResourcesThatTheAccountMayNotReadCostOnlyThemselves) {
  for (const TreeManners& manners : {TreeManners{}, TreeManners{.sessions = false}, TreeManners{.takesBasic = false},
                                     TreeManners{.rootNeedsLogin = true}}) {
    RedfishTree tree(manners);
    PutFirmware(tree, 40);
    for (int i = 0; i < 40; i += 3) {
      tree.Reply(kFirmware + '/' + std::to_string(i), {401, "{}"});
    }
    const Inventory inventory = ReadFirmware(tree.Target());
    EXPECT_EQ(inventory.firmware.size(), 26U);
    EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Partial);
    EXPECT_EQ(tree.OpenSessions(), 0);
    EXPECT_EQ(tree.Count("POST"), manners.sessions ? 2 : 1);
  }
}

std::string RefusalText(const std::string& message) {
  return R"({"error":{"code":"Base.1.0.GeneralError","message":"See ExtendedInfo","@Message.ExtendedInfo":)" + message +
         "}}";
}

TEST(ReaderService, SaysWhyTheServiceRefuses) {
  const struct {
    std::string body;
    std::string shown;
  } cases[] = {
      {"{}", ""},
      {"<html>denied</html>", ""},
      {R"({"error":{"message":"Locked\u001b[2J"}})", R"(: Locked\x1b[2J)"},
      {RefusalText(R"([{"MessageId":"Base.1.0.X"},{"Message":"The account is locked."}])"), ": Base.1.0.X"},
      {RefusalText(R"({"Message":"The password has to be changed."})"), ": The password has to be changed."},
      {RefusalText(R"([{"Message":"Wrong: kelvar-dem\u006f"}])"), ""},
      {RefusalText("[{\"Message\":\"" + std::string(1000, 'x') + "\"}]"), ": " + std::string(300, 'x')},
  };
  for (const auto& one : cases) {
    RedfishTree tree;
    PutFirmware(tree, 2);
    tree.Reply(kFirmware + "/0", {403, one.body});
    EXPECT_EQ(ReadFirmware(tree.Target()).ResultOf(Family::Firmware).reason, kFirmware + "/0: HTTP 403" + one.shown);
    tree.Server().On("/redfish/v1/SessionService/Sessions", {HttpReply(401, one.body)});
    EXPECT_EQ(ReadFirmware(tree.Target()).ResultOf(Family::Firmware).reason, "the login was refused" + one.shown);
  }
}

TEST(ReaderService, FindsSessionsByTheirService) {
  for (const char* const service : {"/redfish/v1/SessionService", "/redfish/v1/SessionService/"}) {
    RedfishTree tree({.takesBasic = false});
    PutFirmware(tree, 1);
    tree.Put(kRoot, std::string(R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.0.0",)") +
                        R"("UpdateService":{"@odata.id":"/redfish/v1/UpdateService"},"SessionService":{"@odata.id":")" +
                        service + "\"}}");
    EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 1U);
    EXPECT_EQ(tree.OpenSessions(), 0);
  }
}

TEST(ReaderService, LeavesTheSessionsOfOthersOpen) {
  RedfishTree tree({.namesSession = false, .takesBasic = false});
  PutFirmware(tree, 1);
  {
    InventoryReaderOptions options;
    options.keep_session = true;
    InventoryReader other(tree.Target(), options);
    EXPECT_EQ(other.Read({Family::Firmware}).firmware.size(), 1U);
    EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 1U);
    EXPECT_EQ(tree.Count("DELETE"), 0) << "it cannot know which of the two is its own";
    EXPECT_EQ(other.Read({Family::Firmware}).firmware.size(), 1U);
    EXPECT_EQ(tree.Logins(), 2);
  }
  EXPECT_EQ(tree.OpenSessions(), 1);
}

TEST(ReaderService, KeepsASessionBetweenReadingsAndClosesItAtTheEnd) {
  for (const int forgetAfter : {0, 17}) {
    RedfishTree tree({.forgetAfter = forgetAfter, .takesBasic = false});
    PutFirmware(tree, 10);
    {
      InventoryReaderOptions options;
      options.keep_session = true;
      InventoryReader reader(tree.Target(), options);
      for (int reading = 0; reading < 3; ++reading) {
        const Inventory inventory = reader.Read({Family::Firmware});
        EXPECT_EQ(inventory.firmware.size(), 10U);
        EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
        EXPECT_EQ(tree.OpenSessions(), 1);
      }
    }
    EXPECT_EQ(tree.OpenSessions(), 0);
    EXPECT_EQ(tree.Count("DELETE"), tree.Count("POST"));
    EXPECT_EQ(tree.Count("POST") > 1, forgetAfter != 0);
  }
}

TEST(ReaderService, EndsAReadingThatIsCancelled) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  InventoryReader reader(tree.Target());
  reader.Cancel();
  EXPECT_EQ(reader.Read({Family::Firmware}).ResultOf(Family::Firmware).cause, FailureCause::Deadline);
  EXPECT_EQ(tree.Count("GET"), 0);
}

TEST(ReaderService, OpensNoSessionThatItHasNoTimeFor) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  tree.Server().OnAnythingElse([&](const HttpRequest& request) {
    HttpReply reply = tree.Answer(request);
    reply.delay = std::chrono::milliseconds(600);
    return reply;
  });
  InventoryReaderOptions options;
  options.deadline_seconds = 1;
  InventoryReader reader(tree.Target(), options);
  EXPECT_EQ(reader.Read({Family::Firmware}).ResultOf(Family::Firmware).cause, FailureCause::Deadline);
  EXPECT_EQ(tree.Count("POST"), 0);
}

TEST(ReaderService, AsksNothingMoreAfterARefusedLogin) {
  for (const bool sessions : {true, false}) {
    RedfishTree tree({.sessions = sessions});
    PutFirmware(tree, 5);
    auto target = tree.Target();
    target.Password = "wrong";
    InventoryReader reader(target);
    for (int reading = 0; reading < 2; ++reading) {
      const Inventory inventory = reader.Read();
      EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Failed);
      EXPECT_EQ(inventory.ResultOf(Family::Logs).cause, FailureCause::LoginRefused);
    }
    EXPECT_EQ(reader.LastDiagnostics().Cause(), FailureCause::LoginRefused);
    EXPECT_EQ(tree.Logins(), sessions ? 1 : 2);  // without sessions a try to open one comes first
  }
}

TEST(ReaderService, ExpandsWhereTheServiceDoesSo) {
  const std::string features = R"({"ExpandQuery":{"Levels":true,"NoLinks":true}})";
  for (const int status : {0, 400, 501, 500}) {  // 0: says that it expands, and does not
    RedfishTree tree({.expandStatus = status});
    PutFirmware(tree, 4, features);
    EXPECT_EQ(ReadFirmware(tree.Target()).ResultOf(Family::Firmware).status, FamilyStatus::Complete);
    EXPECT_EQ(tree.Count("GET"), status == 0 ? 7 : 8) << status;
  }
  RedfishTree tree;
  PutFirmware(tree, 0, features);
  tree.Put(kFirmware, R"({"@odata.id":"x","Members":[{"@odata.id":")" + kFirmware +
                          R"(/1","@odata.type":"#S.v1","Id":"1","Version":"2"}]})");
  EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 1U);
  EXPECT_EQ(tree.Count("GET"), 3);
}

TEST(ReaderService, ReadsAloneWhatWasNotExpanded) {
  const std::string features = R"({"ExpandQuery":{"Levels":true,"NoLinks":true}})";
  const std::string name = R"({"@odata.id":")" + kFirmware + R"(/0","@odata.type":"#S.v1","Id":"0","Name":"N"})";
  const std::string start = R"("Members":[)";
  for (const std::string& members :
       {start + name + R"(,{"@odata.id":")" + kFirmware + "/1\"}]", start + name + ",null]",
        start + R"(],"Members@odata.nextLink":"?$skip=9")", std::string(R"("Name":"N")")}) {
    RedfishTree tree;
    PutFirmware(tree, 2, features);
    tree.Server().OnAnythingElse([&](const HttpRequest& request) {
      HttpReply reply = tree.Answer(request);
      if (request.target.rfind(kFirmware + "?$expand", 0) == 0) {
        reply.body = R"({"@odata.id":"x","Members@odata.count":2,)" + members + "}";
      }
      return reply;
    });
    const Inventory inventory = ReadFirmware(tree.Target());
    ASSERT_EQ(inventory.firmware.size(), 2U);
    EXPECT_EQ(inventory.firmware[0].version, "1");
  }
}

TEST(ReaderService, AnExpansionThatClosesItsConnectionIsNotTheEndOfTheService) {
  RedfishTree tree;
  std::string root = R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.9.0","ProtocolFeaturesSupported":)"
                     R"({"ExpandQuery":{"NoLinks":true}})";
  for (const char* const list : {"Systems", "Managers", "Chassis", "Fabrics", "Cables", "Storage"}) {
    const std::string path = std::string("/redfish/v1/") + list;
    root += ",\"" + std::string(list) + R"(":{"@odata.id":")" + path + "\"}";
    tree.PutCollection(path, {});
  }
  tree.Put(kRoot, root + "}");
  tree.Server().OnAnythingElse([&](const HttpRequest& request) {
    HttpReply reply = tree.Answer(request);
    if (request.target.find("$expand") != std::string::npos) {
      reply.cutAfter = 0;
    }
    return reply;
  });
  EXPECT_EQ(InventoryReader(tree.Target()).Read().ResultOf(Family::Components).status, FamilyStatus::Absent);
}

TEST(ReaderService, ReadsPastAByteOrderMarkASlashAndACutResponse) {
  RedfishTree tree;
  PutFirmware(tree, 3);
  HttpReply cut(R"({"@odata.id":"x","Id":"x"})");
  cut.cutAfter = 60;
  tree.Server().On(kFirmware + "/1", {cut, HttpReply(R"({"@odata.id":"x","Id":"1","Version":"7"})")});
  bool cutFirst = true;
  tree.Server().OnAnythingElse([&](const HttpRequest& request) {
    HttpReply reply = tree.Answer(request);
    if (cutFirst) {
      reply.cutAfter = 60;
      cutFirst = false;
    } else if (request.target == "/redfish/v1/") {
      reply = HttpReply(308, "");
      reply.headers = {{"Location", "http://127.0.0.1:" + std::to_string(tree.Target().Port) + kRoot}};
    } else if (request.target == "/redfish/v1/SessionService/Sessions" && request.method == "POST") {
      reply = HttpReply(308, "");
      reply.headers = {{"Location", request.target + '/'}};
    } else if (request.method == "POST") {
      reply.body.resize(2000, ' ');
      reply.cutAfter = 1000;  // in the body
    } else if (request.method == "GET") {
      reply.body = "\xEF\xBB\xBF" + reply.body;
    }
    return reply;
  });
  const Inventory inventory = ReadFirmware(tree.Target());
  EXPECT_EQ(inventory.firmware.size(), 3U);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
  EXPECT_EQ(tree.Count("POST"), 2);
  EXPECT_EQ(tree.Count("DELETE"), 1);
}

struct MemberCase {
  const char* name;
  HttpReply reply;
  FamilyStatus status;
  FailureCause cause;
};

class ReaderMember : public testing::TestWithParam<MemberCase> {};

// One member of ten is bad: the other nine are read.
TEST_P(ReaderMember, CostsOnlyItself) {
  RedfishTree tree;
  PutFirmware(tree, 10);
  tree.Reply(kFirmware + "/4", GetParam().reply);
  InventoryReader reader(tree.Target());
  const Inventory inventory = reader.Read({Family::Firmware});
  EXPECT_GE(inventory.firmware.size(), 9U);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, GetParam().status);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).cause, GetParam().cause);
  EXPECT_EQ(reader.LastDiagnostics().GapCount(),
            GetParam().status == FamilyStatus::Complete && inventory.firmware.size() == 10 ? 0U : 1U);
  EXPECT_EQ(tree.OpenSessions(), 0);
}

HttpReply WithHeader(int status, const char* name, const std::string& value) {
  HttpReply reply(status, "{}");
  reply.headers = {{name, value}};
  return reply;
}

HttpReply Cut() {
  HttpReply reply(R"({"@odata.id":"x","Id":"x"})");
  reply.cutAfter = 60;
  return reply;
}

INSTANTIATE_TEST_SUITE_P(
    All, ReaderMember,
    testing::Values(
        MemberCase{"Missing", {404, "{}"}, FamilyStatus::Complete, FailureCause::None},
        MemberCase{"ServerError", {500, "{}"}, FamilyStatus::Partial, FailureCause::BadData},
        MemberCase{"Forbidden", {403, "{}"}, FamilyStatus::Partial, FailureCause::LoginRefused},
        MemberCase{"NoJson", HttpReply("<html>"), FamilyStatus::Partial, FailureCause::BadData},
        MemberCase{"NoResource", HttpReply(R"({"error":{"code":"x"}})"), FamilyStatus::Partial, FailureCause::BadData},
        MemberCase{"Cut", Cut(), FamilyStatus::Partial, FailureCause::BadData},
        MemberCase{"WrongTypes", HttpReply(R"({"@odata.id":7,"Id":[],"Name":{},"Version":3,"Status":"x"})"),
                   FamilyStatus::Complete, FailureCause::None},
        MemberCase{"RedirectedHome", WithHeader(308, "Location", kFirmware + "/3"), FamilyStatus::Complete,
                   FailureCause::None},
        MemberCase{"RedirectedAway", WithHeader(302, "Location", "https://192.0.2.1/x"), FamilyStatus::Partial,
                   FailureCause::BadData},
        MemberCase{"RedirectedToItself", WithHeader(302, "Location", kFirmware + "/4"), FamilyStatus::Partial,
                   FailureCause::BadData},
        MemberCase{"BusyForEver", WithHeader(503, "Retry-After", "0"), FamilyStatus::Partial, FailureCause::Refused}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ReaderService, WaitsAsLongAsTheServiceAsks) {
  RedfishTree tree;
  PutFirmware(tree, 3);
  // A date that is past means at once.
  tree.Server().On(kFirmware + "/1",
                   {WithHeader(429, "Retry-After", "Wed, 01 Jan 2025 00:00:00 GMT"),
                    WithHeader(503, "Retry-After", "0"), HttpReply(R"({"@odata.id":"x","Id":"1","Version":"7"})")});
  const Inventory inventory = ReadFirmware(tree.Target());
  EXPECT_EQ(inventory.firmware.size(), 3U);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Complete);
}

TEST(ReaderService, OneHangingResourceOfAHundredCostsNothingElse) {
  RedfishTree tree;
  PutFirmware(tree, 100);
  HttpReply hanging("{}");
  hanging.delay = std::chrono::hours(1);
  tree.Reply(kFirmware + "/50", hanging);
  InventoryReaderOptions options;
  options.deadline_seconds = 5;
  const Inventory inventory = InventoryReader(tree.Target(), options).Read({Family::Firmware, Family::Network});
  EXPECT_EQ(inventory.ResultOf(Family::Network).status, FamilyStatus::Absent);  // nothing of it was outstanding
  EXPECT_EQ(inventory.firmware.size(), 99U);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Partial);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).cause, FailureCause::Deadline);
  EXPECT_EQ(tree.OpenSessions(), 0);
}

TEST(ReaderService, LinksLeadNowhereElseAndNotInCircles) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  const std::string port = std::to_string(tree.Target().Port);
  tree.Put(kFirmware, R"({"@odata.id":"x","Members":[{"@odata.id":"https://192.0.2.1/redfish/v1/x"},)"
                      R"({"@odata.id":"//192.0.2.1/x"},{"@odata.id":"@192.0.2.1/x"},{"@odata.id":""},)"
                      R"({"@odata.id":"/a\r\nX: y"},7,null,[],{"@odata.id":{}},)"
                      R"({"@odata.id":"/redfish/v1/UpdateService/FirmwareInventory/"},)"
                      R"({"@odata.id":"https://127.0.0.1:)" +
                          port + kFirmware +
                          R"(/0"},)"
                          R"({"@odata.id":"/REDFISH/v1/updateservice/FirmwareInventory/0/"}],)"
                          R"("Members@odata.nextLink":"/redfish/v1/UpdateService/FirmwareInventory?$skip=1"})");
  InventoryReader reader(tree.Target());
  const Inventory inventory = reader.Read({Family::Firmware});
  EXPECT_EQ(inventory.firmware.size(), 1U);
  EXPECT_EQ(tree.Count("GET"), 5);  // root, service, collection, its second page, the firmware
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, FamilyStatus::Partial);
  tree.Put(kRoot, R"({"RedfishVersion":"1.0.0","UpdateService":{"@odata.id":"https://192.0.2.1/redfish/v1/x"}})");
  EXPECT_EQ(reader.Read({Family::Firmware}).ResultOf(Family::Firmware).status, FamilyStatus::Failed);
}

TEST(ReaderService, APartOfADocumentIsNotAskedForBesideIt) {
  RedfishTree tree;
  PutFirmware(tree, 0);
  const std::string list = R"({"@odata.id":"/redfish/v1/List#/Rows/)";
  tree.PutCollection(kFirmware, {"/redfish/v1/List#/Rows/0", "/redfish/v1/List#/Rows/1", "/redfish/v1/List#/Rows/9"});
  tree.Put("/redfish/v1/List", R"({"@odata.id":"/redfish/v1/List","Id":"L","Rows":[)" + list +
                                   R"(0","Name":"A","Version":"1"},)" + list + R"(1","Name":"B","Version":"2"}]})");
  const Inventory inventory = ReadFirmware(tree.Target());
  ASSERT_EQ(inventory.firmware.size(), 2U);
  EXPECT_EQ(inventory.firmware[1].version, "2");
  EXPECT_EQ(tree.Count("GET"), 4);  // root, service, collection, the list
  tree.PutCollection(kFirmware, {"/redfish/v1/List#/Rows/0", "/redfish/v1/List"});
  EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 1U);
  EXPECT_EQ(tree.Count("GET"), 8);
}

TEST(ReaderService, PagesThatRepeatThemselvesEnd) {
  RedfishTree tree;
  PutFirmware(tree, 2);
  int page = 0;
  tree.Server().OnAnythingElse([&](const HttpRequest& request) {
    HttpReply reply = tree.Answer(request);
    if (request.target.rfind(kFirmware + "?", 0) == 0 || request.target == kFirmware) {
      reply.body = R"({"@odata.id":"x","Members":[{"@odata.id":")" + kFirmware + R"(/1"}],"Members@odata.nextLink":")" +
                   kFirmware + "?$skip=" + std::to_string(++page) + R"("})";
    }
    return reply;
  });
  EXPECT_EQ(ReadFirmware(tree.Target()).firmware.size(), 1U);
  EXPECT_LT(tree.Count("GET"), 10);
}

TEST(ReaderService, ANextPageIsRelativeToItsCollectionOrMissed) {
  for (const auto& [next, status, requests] : {std::tuple{"?$skip=1", FamilyStatus::Complete, 2},
                                               {"https://192.0.2.1/redfish/v1/x", FamilyStatus::Partial, 1}}) {
    RedfishTree tree;
    PutFirmware(tree, 1);
    tree.Put(kFirmware, R"({"@odata.id":"x","Members":[{"@odata.id":")" + kFirmware +
                            R"(/0"}],"Members@odata.nextLink":")" + next + "\"}");
    const Inventory inventory = ReadFirmware(tree.Target());
    EXPECT_EQ(inventory.firmware.size(), 1U);
    EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, status);
    const auto made = tree.Server().Requests();
    EXPECT_EQ(std::count_if(made.begin(), made.end(),
                            [](const HttpRequest& one) { return (one.target + '?').rfind(kFirmware + '?', 0) == 0; }),
              requests);
  }
}

TEST(ReaderService, MembersWithoutAUsableLinkAreNamedAndMissedWhereTheyCount) {
  const char* const kNoLinks = R"({"href":"/x"},null)";
  for (const auto& [members, count, status] : {std::tuple{kNoLinks, "1", FamilyStatus::Complete},
                                               {kNoLinks, "3", FamilyStatus::Partial},
                                               {R"({"@odata.id":"2"})", "2", FamilyStatus::Partial}}) {
    RedfishTree tree;
    PutFirmware(tree, 1);
    tree.Put(kFirmware, R"({"@odata.id":"x","Members":[{"@odata.id":")" + kFirmware + R"(/0"},)" + members +
                            R"(],"Members@odata.count":)" + count + "}");
    InventoryReader reader(tree.Target());
    const Inventory inventory = reader.Read({Family::Firmware});
    EXPECT_EQ(inventory.firmware.size(), 1U);
    EXPECT_EQ(inventory.ResultOf(Family::Firmware).status, status);
    EXPECT_EQ(reader.LastDiagnostics().Gaps().size(), status == FamilyStatus::Partial ? 1U : 0U);
  }
}

TEST(ReaderService, ReadsAsManyResourcesAsItMay) {
  RedfishTree tree;
  std::string members;
  for (int i = 0; i < 20001; ++i) {
    members += (i == 0 ? "" : ",") + (R"({"@odata.id":")" + kFirmware + '/' + std::to_string(i) +
                                      R"(","@odata.type":"#S","Id":"1","Version":"2"})");
  }
  PutFirmware(tree, 0, R"({"ExpandQuery":{"NoLinks":true}})");
  tree.Put(kFirmware, R"({"@odata.id":"x","Members":[)" + members + "]}");
  InventoryReader reader(tree.Target());
  const Inventory inventory = reader.Read({Family::Firmware});
  EXPECT_LE(inventory.firmware.size(), 20000U);
  EXPECT_GE(inventory.firmware.size(), 19990U);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).cause, FailureCause::TooLarge);
  EXPECT_EQ(reader.LastDiagnostics().Gaps().back().kind, GapKind::Truncated);
}

struct RootCase {
  const char* name;
  HttpReply root;
  FailureCause cause;
};

class ReaderRoot : public testing::TestWithParam<RootCase> {};

TEST_P(ReaderRoot, ThatIsNoneFailsAllFamilies) {
  RedfishTree tree;
  tree.Reply(kRoot, GetParam().root);
  InventoryReader reader(tree.Target());
  const Inventory inventory = reader.Read();
  for (const Family family : kAllFamilies) {
    EXPECT_EQ(inventory.ResultOf(family).status, FamilyStatus::Failed);
    EXPECT_EQ(inventory.ResultOf(family).cause, GetParam().cause);
    EXPECT_FALSE(inventory.ResultOf(family).reason.empty());
  }
  EXPECT_EQ(tree.Logins(), 0);
  EXPECT_EQ(Judge(inventory).health, Health::Unknown);
}

INSTANTIATE_TEST_SUITE_P(
    All, ReaderRoot,
    testing::Values(RootCase{"Html", HttpReply("<html>login</html>"), FailureCause::NotSuchService},
                    RootCase{"Missing", {404, "no"}, FailureCause::NotSuchService},
                    RootCase{"NoVersion", HttpReply(R"({"@odata.id":"/redfish/v1"})"), FailureCause::NotSuchService},
                    RootCase{"Deep", HttpReply(std::string(100000, '[')), FailureCause::NotSuchService},
                    RootCase{"Broken", {500, "{}"}, FailureCause::BadData}),
    [](const auto& test) { return std::string(test.param.name); });

TEST(ReaderService, AnEmptyServiceHasNothing) {
  RedfishTree tree;
  tree.Put(kRoot, R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.0.0"})");
  InventoryReader reader(tree.Target());
  const Inventory inventory = reader.Read();
  EXPECT_EQ(inventory.ResultOf(Family::Sensors).status, FamilyStatus::Absent);
  EXPECT_TRUE(inventory.ResultOf(Family::Sensors).cause == FailureCause::None);
}

TEST(ReaderService, VerifiesTheCertificateAsTold) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  InventoryReaderOptions options;
  options.connection.tls_pinned_fingerprint = std::string(64, 'a');
  EXPECT_EQ(ReadFirmware(tree.Target(), options).ResultOf(Family::Firmware).cause, FailureCause::Tls);
  options.connection.tls_pinned_fingerprint.clear();
  options.connection.tls_ca_file = "/dev/null";
  EXPECT_EQ(ReadFirmware(tree.Target(), options).ResultOf(Family::Firmware).cause, FailureCause::Tls);
  EXPECT_EQ(tree.Logins(), 0);
}

TEST(ReaderService, TellsOfTlsAlsoOverAConnectionThatWasKept) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  InventoryReaderOptions options;
  options.keep_session = true;
  InventoryReader reader(tree.Target(), options);
  for (int reading = 0; reading < 2; ++reading) {
    Diagnostics met;
    const DiagnosticsScope scope(met);
    reader.Read({Family::Firmware});
    EXPECT_STREQ(met.Tls().version, "TLSv1.3");
    EXPECT_EQ(met.Tls().verification, TlsVerification::None);
  }
}

TEST(ReaderService, NothingIsSentToATargetThatThereCannotBe) {
  RedfishTree tree;
  PutFirmware(tree, 1);
  const KelvarConnection::ConnectionInfo target = tree.Target();
  std::vector<KelvarConnection::ConnectionInfo> wrong(9, target);
  const std::string port = std::to_string(target.Port);
  wrong[0].Host = "";
  wrong[1].Host = "user@" + target.Host;
  wrong[2].Host = target.Host + ':' + port + "/x";
  wrong[3].Host = target.Host + ':' + port + '#';
  wrong[4].Host = target.Host + ':' + port + "?x";
  wrong[5].Host = target.Host + '\0' + "b.example";
  wrong[6].Host = target.Host + "\r\nX: y";
  wrong[7].Host = "";
  wrong[7].ConnectionCase = KelvarConnection::CONNECTION_CASE_CIM_BMC;
  wrong[8].ConnectionCase = KelvarConnection::CONNECTION_CASE_REDFISH + 1;
  for (const KelvarConnection::ConnectionInfo& info : wrong) {
    SCOPED_TRACE(info.Host);
    const FamilyResult result = ReadFirmware(info).ResultOf(Family::Firmware);
    EXPECT_EQ(result.status, FamilyStatus::Failed);
    EXPECT_EQ(result.cause, FailureCause::Unreachable);
    EXPECT_EQ(result.reason,
              info.ConnectionCase > target.ConnectionCase ? "unknown kind of connection" : "invalid host name");
  }
  EXPECT_EQ(tree.Logins(), 0);
}

TEST(ReaderService, NobodyListens) {
  u16 port = 0;
  {
    ScriptedHttpServer gone;
    port = gone.Port();
  }
  auto target = RedfishTree().Target();
  target.Port = port;
  const Inventory inventory = ReadFirmware(target);
  EXPECT_EQ(inventory.ResultOf(Family::Firmware).cause, FailureCause::Refused);
  EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::NotAsked);
  target.ConnectionCase = KelvarConnection::CONNECTION_CASE_CIM_BMC;
  InventoryReader reader(target);
  const Inventory overCim = reader.Read();
  for (const Family family : kAllFamilies) {
    EXPECT_EQ(overCim.ResultOf(family).cause, FailureCause::Refused) << NameOf(family);
  }
  EXPECT_LE(reader.LastDiagnostics().Exchanges().size(), 2U) << "each family has tried to connect";
}

const std::string kEntries = "/redfish/v1/Logs/A/Entries";

std::string EntryOf(int number, int day) {
  return R"({"@odata.id":")" + kEntries + '/' + std::to_string(number) + R"(","Id":"1","Created":"2026-01-)" +
         std::to_string(10 + day) + R"(T00:00:00Z","Message":"m"})";
}

/// A system with one log, whose entries are still to be put.
void PutLog(RedfishTree& tree) {
  tree.Put(kRoot, R"({"@odata.id":"/redfish/v1/","RedfishVersion":"1.0.0",)"
                  R"("Systems":{"@odata.id":"/redfish/v1/Systems"}})");
  tree.PutCollection("/redfish/v1/Systems", {"/redfish/v1/Systems/1"});
  tree.Put("/redfish/v1/Systems/1",
           R"({"@odata.id":"/redfish/v1/Systems/1","Id":"1","LogServices":{"@odata.id":"/redfish/v1/Logs"}})");
  tree.PutCollection("/redfish/v1/Logs", {"/redfish/v1/Logs/A"});
  tree.Put("/redfish/v1/Logs/A",
           R"({"@odata.id":"/redfish/v1/Logs/A","Id":"A","Entries":{"@odata.id":")" + kEntries + R"("}})");
}

constexpr int kGetsBeforeEntries = 6;  // root, systems, system, logs, log, collection

TEST(ReaderService, LogsWithoutEntriesAreWhole) {
  RedfishTree tree;
  PutLog(tree);
  const auto status = [&] { return InventoryReader(tree.Target()).Read({Family::Logs}).ResultOf(Family::Logs).status; };
  EXPECT_EQ(status(), FamilyStatus::Absent);  // the list of entries does not exist
  tree.PutCollection(kEntries, {});
  EXPECT_EQ(status(), FamilyStatus::Complete);
}

TEST(ReaderService, LogsOfLinksAreReadFromTheirNewestEnd) {
  for (const bool newestFirst : {false, true}) {
    RedfishTree tree;
    PutLog(tree);
    std::vector<std::string> members;
    for (int i = 1; i <= 9; ++i) {
      members.push_back(kEntries + '/' + std::to_string(i));
      tree.Put(members.back(), EntryOf(i, newestFirst ? 10 - i : i));
    }
    tree.PutCollection(kEntries, members);
    InventoryReaderOptions options;
    options.log_limit = 3;
    options.newest_first = true;
    Inventory inventory = InventoryReader(tree.Target(), options).Read({Family::Logs});
    ASSERT_EQ(inventory.log_entries.size(), 3U);
    EXPECT_EQ(inventory.log_entries[0].id, newestFirst ? "Logs/A/Entries/1" : "Logs/A/Entries/9");
    EXPECT_EQ(inventory.log_entries[2].id, newestFirst ? "Logs/A/Entries/3" : "Logs/A/Entries/7");
    EXPECT_EQ(inventory.log_entries[1].log, "Logs/A");
    EXPECT_EQ(tree.Count("GET"), kGetsBeforeEntries + 4);  // the oldest shows the order
    options.log_since = "2026-01-18";
    inventory = InventoryReader(tree.Target(), options).Read({Family::Logs});
    EXPECT_EQ(inventory.log_entries.size(), 2U);
  }
}

struct LinkedLogCase {
  const char* name;
  bool newestFirst;
  int pageSize;
  u32 limit;  ///< 0: log_since bounds the log
  int gets;   ///< of pages and entries, where no entry is listed in full
};

constexpr int kEntryCount = 20;

/// The log in pages of links; with `mixed` every other entry is listed in full.
void PutPagedLog(RedfishTree& tree, const LinkedLogCase& test, bool mixed) {
  for (int first = 1; first <= kEntryCount; first += test.pageSize) {
    std::string members;
    for (int i = first; i < first + test.pageSize; ++i) {
      const std::string entry = EntryOf(i, test.newestFirst ? kEntryCount + 1 - i : i);
      const std::string path = kEntries + '/' + std::to_string(i);
      tree.Put(path, entry);
      members += (i == first ? "" : ",") + (mixed && i % 2 == 0 ? entry : R"({"@odata.id":")" + path + R"("})");
    }
    const int after = first + test.pageSize;
    const std::string next = R"(,"Members@odata.nextLink":"/redfish/v1/Pages/)" + std::to_string(after) + '"';
    tree.Put(first == 1 ? kEntries : "/redfish/v1/Pages/" + std::to_string(first),
             R"({"@odata.id":"x","Members":[)" + members + ']' + (after > kEntryCount ? "" : next) + '}');
  }
}

class ReaderLinkedLog : public testing::TestWithParam<LinkedLogCase> {};

TEST_P(ReaderLinkedLog, IsReadAsFarAsNeededAndLosesNoEntry) {
  for (const bool mixed : {false, true}) {
    RedfishTree tree;
    PutLog(tree);
    PutPagedLog(tree, GetParam(), mixed);
    InventoryReaderOptions options;
    options.newest_first = true;
    options.log_limit = GetParam().limit;
    options.log_since = GetParam().limit == 0 ? "2026-01-28" : "";
    const Inventory inventory = InventoryReader(tree.Target(), options).Read({Family::Logs});
    std::vector<std::string> days;
    for (const LogEntry& entry : inventory.log_entries) {
      days.push_back(entry.created.substr(8, 2));
    }
    EXPECT_THAT(days, testing::ElementsAre("30", "29", "28"));
    const int gets = tree.Count("GET") - (kGetsBeforeEntries - 1);
    EXPECT_LE(gets, GetParam().gets + (mixed ? 4 : 0));
  }
}

INSTANTIATE_TEST_SUITE_P(All, ReaderLinkedLog,
                         testing::Values(LinkedLogCase{"SinceNewestFirst", true, kEntryCount, 0, 1 + 9},
                                         LinkedLogCase{"SinceOldestFirst", false, kEntryCount, 0, 1 + 9},
                                         LinkedLogCase{"SincePagedNewestFirst", true, 5, 0, 2 + 10},
                                         LinkedLogCase{"SincePagedOldestFirst", false, 5, 0, 4 + 10},
                                         LinkedLogCase{"LimitNewestFirst", true, kEntryCount, 3, 1 + 4},
                                         LinkedLogCase{"LimitOldestFirst", false, kEntryCount, 3, 1 + 4},
                                         LinkedLogCase{"LimitPagedNewestFirst", true, 5, 3, 1 + 4},
                                         LinkedLogCase{"LimitPagedOldestFirst", false, 5, 3, 4 + 5}),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ReaderService, LaterPagesOfALogAreReadOnlyWhereTheyMayBeNewer) {
  struct Case {
    bool newestFirst;
    u32 limit;
    const char* since;
    int pages;
  };
  for (const Case& test : {Case{true, 3, "", 2}, Case{true, 0, "2026-01-17", 2}, Case{true, 0, "", 4},
                           Case{false, 3, "", 4}, Case{false, 0, "2026-01-17", 4}}) {
    RedfishTree tree;
    PutLog(tree);
    for (int page = 0; page < 4; ++page) {
      const int first = 2 * page + 1;
      const auto entry = [&](int number) { return EntryOf(number, test.newestFirst ? 9 - number : number); };
      const std::string next = R"(,"Members@odata.nextLink":"/redfish/v1/Pages/)" + std::to_string(page + 1) + '"';
      tree.Put(page == 0 ? kEntries : "/redfish/v1/Pages/" + std::to_string(page),
               R"({"@odata.id":"x","Members":[)" + entry(first) + ',' + entry(first + 1) + ']' +
                   (page == 3 ? "" : next) + '}');
    }
    InventoryReaderOptions options;
    options.log_limit = test.limit;
    options.log_since = test.since;
    const Inventory inventory = InventoryReader(tree.Target(), options).Read({Family::Logs});
    EXPECT_EQ(tree.Count("GET"), kGetsBeforeEntries - 1 + test.pages);
    EXPECT_EQ(inventory.log_entries.size(), test.limit != 0 ? 3U : *test.since != 0 ? 2U : 8U);
    EXPECT_EQ(inventory.ResultOf(Family::Logs).status, FamilyStatus::Complete);
  }
}

}  // namespace
}  // namespace Kelvar::Test

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <kelvar/GlobalConfig.h>
#include <kelvar/Log.h>
#include <kelvar/RedfishClient.h>

#include "module/nfw/inventory/redfish/SoftwareIdentityRedfishWithCache.h"
#include "support/ScriptedHttpServer.h"

namespace Kelvar {
namespace {

using KelvarOptions::SoftwareIdentity_;
using std::chrono::seconds;
using Test::ConnectionFault;
using Test::HttpReply;
using Test::ScriptedHttpServer;

constexpr const char* kCollection = "/redfish/v1/UpdateService/FirmwareInventory";

class SoftwareIdentityCacheTest : public testing::Test {
 protected:
  SoftwareIdentityCacheTest() { Log::SetMinLogLevel(0); }
  ~SoftwareIdentityCacheTest() override { Log::SetMinLogLevel(1); }

  static void SetUpTestSuite() { SetGlobalConfigValue("REDFISH_STARTUP_WAIT_TIME", -1); }

  KelvarConnection::ConnectionInfo Target() const {
    KelvarConnection::ConnectionInfo info;
    info.Host = "127.0.0.1";
    info.Port = server.Port();
    return info;
  }

  void Expanded(HttpReply reply) { server.On(std::string(kCollection) + "?$expand=.($levels=1)", std::move(reply)); }

  /// Asks for the seven identities; returns how many there were.
  int AskForAll() {
    int found = 0;
    for (const char* id : SoftwareIdentityRedfishWithCache::kIdentifiers) {
      SoftwareIdentity_ identity;
      found += cache.GetSoftwareIdentityViaID(id, identity) == 0 ? 1 : 0;
    }
    return found;
  }

  std::size_t RequestsOf(const std::function<void()>& action) {
    const std::size_t before = server.Requests().size();
    action();
    return server.Requests().size() - before;
  }

  ScriptedHttpServer server{{.tls = true}};
  SoftwareIdentityRedfishWithCache::Clock::time_point time;
  SoftwareIdentityRedfishWithCache cache{
      Target(), {[] { return std::make_unique<Rest::RedfishClient>(); }, [this] { return time; }}};
};

TEST_F(SoftwareIdentityCacheTest, OneExpandedRequestFillsAllForAMinute) {
  Expanded(HttpReply(R"({"Members":[{"Id":"UEFI","Name":"n","Version":"1","ReleaseDate":null,"SoftwareId":7}]})"));
  SoftwareIdentity_ identity;
  identity.VersionString = identity.Description = "of another identity";
  EXPECT_EQ(cache.GetSoftwareIdentityViaID("UEFI", identity), 0);
  EXPECT_EQ(identity.InstanceID + identity.Name + identity.VersionString, "UEFIn1");
  EXPECT_EQ(identity.ReleaseDate + identity.SoftwareID + identity.Description, "");
  EXPECT_EQ(RequestsOf([&] { EXPECT_EQ(AskForAll(), 1); }), 0u);
  time += seconds(59);
  cache.ForgetStale();
  EXPECT_EQ(RequestsOf([&] { EXPECT_EQ(AskForAll(), 1); }), 0u);
  identity.Name = "kept";
  EXPECT_NE(cache.GetSoftwareIdentityViaID("None", identity), 0);
  EXPECT_EQ(identity.Name, "kept");
  time += seconds(1);
  cache.ForgetStale();
  EXPECT_EQ(RequestsOf([&] { EXPECT_EQ(AskForAll(), 1); }), 1u);
  EXPECT_EQ(server.ConnectionCount(), 2) << "no connection is kept between two fills";
}

TEST_F(SoftwareIdentityCacheTest, WithoutExpansionEachIsAskedForOnOneConnection) {
  server.On(std::string(kCollection) + "/UEFI", HttpReply(R"({"Id":"UEFI","Version":"1"})"));
  server.On(std::string(kCollection) + "/Extra", HttpReply(R"({"Id":"Extra","Version":"2"})"));
  for (const HttpReply& reply : {HttpReply(R"({"Members":[{"@odata.id":"/x"}]})"), HttpReply(501, ""),
                                 HttpReply("no JSON"), HttpReply(R"({"Members":[],"Members@odata.nextLink":"/x"})")}) {
    Expanded(reply);
    const int connections = server.ConnectionCount();
    EXPECT_EQ(RequestsOf([&] { EXPECT_EQ(AskForAll(), 1); }), 8u) << reply.body;
    EXPECT_EQ(server.ConnectionCount(), connections + 1);
    SoftwareIdentity_ identity;
    EXPECT_EQ(RequestsOf([&] {
                cache.GetSoftwareIdentityViaID("Extra", identity);
                cache.GetSoftwareIdentityViaID("Extra", identity);
              }),
              1u);
    EXPECT_EQ(identity.VersionString, "2");
    time += seconds(60);
  }
}

TEST_F(SoftwareIdentityCacheTest, AMemberThatFailsIsAloneInThat) {
  HttpReply reset(R"({"Id":"Sorel"})");
  reset.cutAfter = 5;
  reset.resetAfter = true;
  for (const HttpReply& failing : {HttpReply(401, ""), HttpReply(503, ""), reset}) {
    Expanded(HttpReply(R"({"Members":[{"@odata.id":"/x"}]})"));
    for (const char* id : SoftwareIdentityRedfishWithCache::kIdentifiers) {
      server.On(std::string(kCollection) + "/" + id, HttpReply("{\"Id\":\"" + std::string(id) + "\"}"));
    }
    server.On(std::string(kCollection) + "/BMC-Backup", failing);
    EXPECT_EQ(AskForAll(), 6);
    time += seconds(60);
  }
}

TEST_F(SoftwareIdentityCacheTest, AFailureIsRememberedForFiveSeconds) {
  for (const int status : {401, 503, 0}) {
    Expanded(HttpReply(status, ""));
    if (status == 0) {
      server.FailConnections(ConnectionFault::CloseAtOnce, 100);
    }
    const int connections = server.ConnectionCount();
    EXPECT_EQ(AskForAll(), 0);
    time += seconds(4);
    EXPECT_EQ(AskForAll(), 0);
    EXPECT_EQ(server.ConnectionCount(), connections + 1);
    time += seconds(1);
    AskForAll();
    EXPECT_EQ(server.ConnectionCount(), connections + 2);
    time += seconds(60);
  }
  server.FailConnections(ConnectionFault::None, 0);
  Expanded(HttpReply(R"({"Members":[{"Id":"UEFI"}]})"));
  EXPECT_EQ(AskForAll(), 1) << "a target that is back is read again";
}

TEST_F(SoftwareIdentityCacheTest, EachConnectionHasItsObject) {
  auto other = Target();
  other.UserName = "somebody else";
  auto* one = SoftwareIdentityRedfishWithCache::GetInstance(Target());
  ASSERT_NE(one, nullptr);
  EXPECT_EQ(one, SoftwareIdentityRedfishWithCache::GetInstance(Target()));
  EXPECT_NE(one, SoftwareIdentityRedfishWithCache::GetInstance(other));
}

}  // namespace
}  // namespace Kelvar

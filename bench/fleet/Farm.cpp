#include "bench/fleet/Farm.h"

#include <limits>
#include <utility>

#include "bench/redfish/Bodies.h"

namespace Kelvar::Bench {

namespace {

using Test::HttpReply;

constexpr int kEveryConnection = std::numeric_limits<int>::max();

std::unique_ptr<Test::ScriptedHttpServer> Https() {
  return std::make_unique<Test::ScriptedHttpServer>(Test::ScriptedHttpServer::Options{true, false});
}

}  // namespace

Farm::Farm(std::chrono::milliseconds latency) : good_(Https()) {
  const auto on = [&](const std::string& target, const std::string& body) {
    HttpReply reply(body);
    reply.delay = latency;
    good_->On(target, reply);
  };
  on("/redfish/v1/Systems", Collection("/redfish/v1/Systems/1"));
  on("/redfish/v1/Systems/1", System());
  on("/redfish/v1/Chassis/1", Chassis());
  on("/redfish/v1/UpdateService/FirmwareInventory?$expand=.($levels=1)", FirmwareInventory(30));

  AddBad().FailConnections(Test::ConnectionFault::ResetAtOnce, kEveryConnection);
  AddBad().FailConnections(Test::ConnectionFault::StaySilent, kEveryConnection);
  HttpReply slow(FirmwareInventory(30));
  slow.dripBytes = 1;
  slow.dripPause = std::chrono::milliseconds(100);
  HttpReply deep;
  deep.repeated = "[";
  deep.repeatCount = 100000;
  HttpReply endless;
  endless.repeated = "[[1,1,1,1,1,1,1,1,";
  endless.repeatCount = 20000;
  for (const HttpReply& reply : {slow, deep, endless, HttpReply(401, ""), HttpReply("<html>")}) {
    AddBad().OnAnythingElse([reply](const Test::HttpRequest&) { return reply; });
  }
}

std::string Farm::Bad(int number) const {
  const std::size_t kinds = bad_.size() + 1;
  const std::size_t kind = static_cast<std::size_t>(number) % kinds;
  return kind == bad_.size() ? "redfish://u" + std::to_string(number) + "@127.0.0.1:1" : Address(*bad_[kind], number);
}

std::string Farm::Address(const Server& server, int number) {
  return "redfish://u" + std::to_string(number) + "@127.0.0.1:" + std::to_string(server.Port());
}

Farm::Server& Farm::AddBad() {
  return *bad_.emplace_back(Https());
}

}  // namespace Kelvar::Bench

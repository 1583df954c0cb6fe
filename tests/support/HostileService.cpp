#include "support/HostileService.h"

#include <cctype>

namespace Kelvar::Test {

namespace {

const std::string kRoot = "/redfish/v1/";

std::string Members(const std::string& path, std::size_t count) {
  std::string members = R"({"Name":"c","Members":[)";
  for (std::size_t number = 0; number < count; ++number) {
    members += (number == 0 ? "" : ",") + Link(path + '/' + std::to_string(number));
  }
  return members + "]}";
}

/// A resource above the collection.
std::string StepTo(const std::string& collection, const std::string& path) {
  const std::string next = collection.substr(0, collection.find('/', path.size() + 1));
  const bool isMember = std::isdigit(static_cast<unsigned char>(next.back())) != 0;
  const std::string property = next.substr(path.size() + 1);
  return isMember ? R"({"Name":"c","Members":[)" + Link(next) + "]}"
                  : R"({"Id":"x","Name":"x",")" + property + "\":" + Link(next) + '}';
}

}  // namespace

std::string Link(const std::string& path) {
  return R"({"@odata.id":")" + path + "\"}";
}

void ServeCollection(ScriptedHttpServer& server, const std::string& collection, const std::string& member,
                     std::size_t members) {
  server.On(kRoot, HttpReply(R"({"RedfishVersion":"1.9.0","Systems":)" + Link(kRoot + "Systems") + R"(,"Managers":)" +
                             Link(kRoot + "Managers") + R"(,"Chassis":)" + Link(kRoot + "Chassis") +
                             R"(,"UpdateService":)" + Link(kRoot + "UpdateService") + '}'));
  const std::string whole = kRoot + collection;
  const std::string list = Members(whole, members);
  server.OnAnythingElse([whole, list, member](const HttpRequest& request) {
    const std::string& path = request.target;
    if (path == whole) {
      return HttpReply(list);
    }
    if (path.rfind(whole + '/', 0) == 0) {
      return HttpReply(member);
    }
    return whole.rfind(path + '/', 0) == 0 ? HttpReply(StepTo(whole, path)) : HttpReply(404, "");
  });
}

}  // namespace Kelvar::Test

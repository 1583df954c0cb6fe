#include "simulator/redfish/Sessions.h"

#include <algorithm>
#include <random>

#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

std::string MakeToken() {
  constexpr std::string_view letters = "0123456789abcdef";
  std::random_device source;
  std::string token(32, '0');
  std::generate(token.begin(), token.end(), [&] { return letters[source() % letters.size()]; });
  return token;
}

std::string PageOf(std::string_view path, const std::string& user) {
  const std::string id(path.substr(path.rfind('/') + 1));
  return R"({"@odata.type": "#Session.v1_5_0.Session", "@odata.id": )" + JsonText::Quote(path) + R"(, "Id": ")" + id +
         R"(", "Name": "User Session", "Description": "Manager User Session", "UserName": )" + JsonText::Quote(user) +
         R"(, "SessionType": "Redfish"})";
}

}  // namespace

Sessions::Opened Sessions::Open(const std::string& user) {
  const std::lock_guard lock(mutex_);
  const std::string opened = std::string(path) + '/' + std::to_string(++last_);
  const std::string token = MakeToken();
  sessions_[opened] = {user, token};
  return {opened, token, PageOf(opened, user)};
}

bool Sessions::Knows(const std::string& token) const {
  const std::lock_guard lock(mutex_);
  return std::any_of(sessions_.begin(), sessions_.end(),
                     [&](const auto& session) { return session.second.token == token; });
}

bool Sessions::Close(std::string_view sessionPath) {
  const std::lock_guard lock(mutex_);
  const auto session = sessions_.find(sessionPath);
  if (session == sessions_.end()) {
    return false;
  }
  sessions_.erase(session);
  return true;
}

std::optional<std::string> Sessions::Find(std::string_view pagePath) const {
  const std::lock_guard lock(mutex_);
  if (const auto session = sessions_.find(pagePath); session != sessions_.end()) {
    return PageOf(pagePath, session->second.user);
  }
  if (pagePath != path) {
    return std::nullopt;
  }
  std::string page = R"({"@odata.type": "#SessionCollection.SessionCollection", "@odata.id": ")" + std::string(path) +
                     R"(", "Name": "Session Collection", "Members@odata.count": )" + std::to_string(sessions_.size()) +
                     R"(, "Members": [)";
  for (const auto& [sessionPath, session] : sessions_) {
    page += page.ends_with('[') ? "" : ", ";
    page += R"({"@odata.id": ")" + sessionPath + R"("})";
  }
  return page + "]}";
}

}  // namespace Kelvar::Simulator

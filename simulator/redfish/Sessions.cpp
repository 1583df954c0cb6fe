#include "simulator/redfish/Sessions.h"

#include <algorithm>
#include <random>

#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

std::string MakeToken() {
  constexpr std::string_view kLetters = "0123456789abcdef";
  std::random_device source;
  std::string token(32, '0');
  std::generate(token.begin(), token.end(), [&] { return kLetters[source() % kLetters.size()]; });
  return token;
}

std::string PageOf(std::string_view path, const std::string& user) {
  const std::string id(path.substr(path.rfind('/') + 1));
  return R"({"@odata.type": "#Session.v1_5_0.Session", "@odata.id": )" + JsonText::Quote(path) + R"(, "Id": ")" + id +
         R"(", "Name": "User Session", "Description": "Manager User Session", "UserName": )" + JsonText::Quote(user) +
         R"(, "SessionType": "Redfish"})";
}

}  // namespace

Sessions::Sessions(std::string path, SessionLimits limits, Clock clock)
    : path_(std::move(path)), limits_(limits), clock_(std::move(clock)) {}

std::optional<Sessions::Opened> Sessions::Open(const std::string& user) {
  const std::lock_guard lock(mutex_);
  RemoveExpired();
  if (limits_.count && sessions_.size() >= *limits_.count) {
    return std::nullopt;
  }
  std::string opened = path_ + '/' + std::to_string(++last_);
  std::string token = MakeToken();
  sessions_[opened] = {user, token, clock_(), 0};
  std::string page = PageOf(opened, user);
  return Opened{std::move(opened), std::move(token), std::move(page)};
}

bool Sessions::Admit(const std::string& token) {
  const std::lock_guard lock(mutex_);
  RemoveExpired();
  const auto session =
      std::find_if(sessions_.begin(), sessions_.end(), [&](const auto& entry) { return entry.second.token == token; });
  if (session == sessions_.end()) {
    return false;
  }
  if (limits_.requests && session->second.requests >= *limits_.requests) {
    sessions_.erase(session);
    return false;
  }
  ++session->second.requests;
  session->second.lastUse = clock_();
  return true;
}

std::size_t Sessions::OpenCount() const {
  const std::lock_guard lock(mutex_);
  return sessions_.size();
}

void Sessions::RemoveExpired() {
  if (limits_.idle) {
    std::erase_if(sessions_, [this](const auto& entry) { return clock_() - entry.second.lastUse >= *limits_.idle; });
  }
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
  if (pagePath != path_) {
    return std::nullopt;
  }
  std::string page = R"({"@odata.type": "#SessionCollection.SessionCollection", "@odata.id": ")" + path_ +
                     R"(", "Name": "Session Collection", "Members@odata.count": )" + std::to_string(sessions_.size()) +
                     R"(, "Members": [)";
  for (const auto& [sessionPath, session] : sessions_) {
    page += page.ends_with('[') ? "" : ", ";
    page += R"({"@odata.id": ")" + sessionPath + R"("})";
  }
  return page + "]}";
}

}  // namespace Kelvar::Simulator

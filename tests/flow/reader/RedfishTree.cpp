#include "flow/reader/RedfishTree.h"

#include <fstream>
#include <stdexcept>
#include <utility>

#include "support/Loopback.h"

namespace Kelvar::Test {

namespace {

constexpr const char* kSessions = "/redfish/v1/SessionService/Sessions";
constexpr const char* kBasic = "Basic YWRtaW46a2VsdmFyLWRlbW8=";

HttpReply Busy() {
  HttpReply reply(503, "{}");
  reply.headers = {{"Retry-After", "0"}};
  return reply;
}

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') {
    path.pop_back();
  }
  return path;
}

}  // namespace

RedfishTree::RedfishTree(TreeManners manners) : manners_(manners) {
  server_.OnAnythingElse([this](const HttpRequest& request) { return Answer(request); });
}

void RedfishTree::Put(const std::string& path, const std::string& json) {
  Reply(path, HttpReply(json));
}

void RedfishTree::PutCollection(const std::string& path, const std::vector<std::string>& members) {
  std::string links;
  for (const std::string& member : members) {
    links += (links.empty() ? "" : ",") + ("{\"@odata.id\":\"" + member + "\"}");
  }
  Put(path, "{\"@odata.id\":\"" + path + "\",\"Name\":\"Collection\",\"Members\":[" + links + "]}");
}

void RedfishTree::Reply(const std::string& path, HttpReply reply) {
  const std::lock_guard lock(mutex_);
  replies_[WithoutSlash(path)] = std::move(reply);
}

void RedfishTree::Load(const std::string& file) {
  std::ifstream lines(file);
  if (!lines) {
    throw std::runtime_error("cannot read " + file);
  }
  for (std::string line; std::getline(lines, line);) {
    const auto colon = line.find("\": ");
    if (line.rfind("\"/", 0) == 0 && colon != std::string::npos) {
      std::string body = line.substr(colon + 3);
      body.erase(body.find_last_of('}') + 1);
      Put(line.substr(1, colon - 1), body);
    }
  }
}

KelvarConnection::ConnectionInfo RedfishTree::Target() const {
  return LoopbackInfo(KelvarConnection::CONNECTION_CASE_REDFISH, server_.Port());
}

int RedfishTree::Count(const std::string& method) const {
  int count = 0;
  for (const HttpRequest& request : server_.Requests()) {
    count += request.method == method ? 1 : 0;
  }
  return count;
}

int RedfishTree::Logins() const {
  int count = 0;
  for (const HttpRequest& request : server_.Requests()) {
    count += request.method == "POST" || !request.Header("authorization").empty() ? 1 : 0;
  }
  return count;
}

HttpReply RedfishTree::OpenSession(const HttpRequest& request) {
  if (request.body != R"({"UserName":"admin","Password":"kelvar-demo"})") {
    return {401, "{}"};
  }
  HttpReply reply(manners_.sessionStatus, "{}");
  if (manners_.sessionStatus == 201) {
    const std::string path = std::string(kSessions) + '/' + std::to_string(++made_);
    tokens_[path] = "token-" + std::to_string(made_);
    reply.headers = {{"X-Auth-Token", tokens_[path]}};
    if (!manners_.namesSession) {
      reply.body = "{}";
    } else if (manners_.relativeLocation) {
      reply.headers.emplace_back("Location", std::to_string(made_));
    } else if (manners_.sessionHost != nullptr) {
      reply.headers.emplace_back("Location", manners_.sessionHost + path);
    } else {
      reply.body = R"({"@odata.id":")" + path + "\"}";
    }
    ++openSessions_;
  }
  return reply;
}

std::string RedfishTree::ListSessions() const {
  std::string links;
  for (const auto& [path, token] : tokens_) {
    links += (links.empty() ? "" : ",") + (R"({"@odata.id":")" + path + "\"}");
  }
  return R"({"@odata.id":"x","Members":[)" + links + "]}";
}

bool RedfishTree::IsAllowed(const HttpRequest& request) {
  if (manners_.takesBasic && request.Header("authorization") == kBasic) {
    return true;
  }
  for (const auto& [path, token] : tokens_) {
    if (request.Header("x-auth-token") == token) {
      return true;
    }
  }
  return false;
}

HttpReply RedfishTree::Answer(const HttpRequest& request) {
  const std::lock_guard lock(mutex_);
  const std::string path = WithoutSlash(request.target.substr(0, request.target.find('?')));
  if (request.method == "POST" && busyPosts_++ < manners_.busySessions) {
    return Busy();
  }
  if (request.method == "POST") {
    return manners_.sessions && path == kSessions ? OpenSession(request) : HttpReply(404, "{}");
  }
  const bool root = path == "/redfish/v1" && !manners_.rootNeedsLogin;
  if (!root && !IsAllowed(request)) {
    return {401, "{}"};
  }
  if (request.method == "DELETE" && busyDeletes_++ < manners_.busySessions) {
    return Busy();
  }
  if (path == kSessions) {
    return {200, ListSessions()};
  }
  if (request.method == "DELETE") {
    openSessions_ -= static_cast<int>(tokens_.erase(path));
    return {204, ""};
  }
  if (manners_.forgetAfter != 0 && ++served_ % manners_.forgetAfter == 0) {
    openSessions_ -= static_cast<int>(tokens_.size());
    tokens_.clear();
  }
  if (manners_.expandStatus != 0 && request.target.find("$expand") != std::string::npos) {
    return {manners_.expandStatus, "{}"};
  }
  const auto found = replies_.find(path);
  return found == replies_.end() ? HttpReply(404, "{}") : found->second;
}

}  // namespace Kelvar::Test

#include "module/reader/redfish/Session.h"

#include <string_view>
#include <utility>

#include "common/json/JsonDocument.h"
#include "common/text/Secret.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

void AppendQuoted(std::string& json, std::string_view text) {
  constexpr const char* kHex = "0123456789abcdef";
  json += '"';
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (letter == '"' || letter == '\\') {
      json += '\\';
      json += letter;
    } else if (byte < 0x20) {
      json.append("\\u00") += kHex[byte >> 4];
      json += kHex[byte & 15];
    } else {
      json += letter;
    }
  }
  json += '"';
}

/// A service may name itself by a host that it is not asked as. The session is closed where it was opened all the same.
std::string_view WithoutHost(std::string_view location) {
  const auto host = location.find("://");
  const auto path = host == std::string_view::npos ? 0 : location.find('/', host + 3);
  return path == std::string_view::npos ? std::string_view() : location.substr(path);
}

/// Of a location that is relative, as some services give it.
std::string Absolute(std::string_view location, std::string_view folder) {
  if (location.empty() || location.front() == '/') {
    return std::string(location);
  }
  if (Lower(location).rfind("redfish/", 0) == 0) {
    return '/' + std::string(location);
  }
  while (!folder.empty() && folder.back() == '/') {
    folder.remove_suffix(1);
  }
  return std::string(folder) + '/' + std::string(location);
}

/// Some services answer a wrong password with another status than 401; the message's key tells.
bool SaysLoginRefused(const std::string& body) {
  const std::string lower = Lower(std::string_view(body).substr(0, 4096));
  return lower.find("unauthorizedlogin") != std::string::npos ||
         lower.find("resourceaturiunauthorized") != std::string::npos ||
         lower.find("accessdenied") != std::string::npos || lower.find("accessunauthorized") != std::string::npos;
}

}  // namespace

Session::Session(const KelvarConnection::ConnectionInfo& info, std::string origin)
    : info_(info), origin_(std::move(origin)) {}

Session::~Session() {
  Text::WipeText(token_);
}

void Session::Authorize(Rest::TransferRequest& request) const {
  if (IsOpen()) {
    request.headers.push_back("X-Auth-Token: " + token_);
  } else if (basic_) {
    request.user = info_.UserName;
    request.password = info_.Password;
  }
}

bool Session::IsSecretIn(std::string_view text) const noexcept {
  const auto holds = [text](const std::string& secret) {
    return !secret.empty() && text.find(secret) != std::string_view::npos;
  };
  return holds(info_.Password) || holds(token_) || text.find("Basic ") != std::string_view::npos;
}

Rest::TransferRequest Session::OpenRequest(const std::string& sessionsPath) const {
  Rest::TransferRequest request;
  request.method = "POST";
  request.url = origin_ + sessionsPath;
  request.headers = {"Accept: application/json", "Content-Type: application/json", "OData-Version: 4.0", "Expect:"};
  request.body.reserve(64 + 6 * (info_.UserName.size() + info_.Password.size()));  // grows into no second copy
  request.body = "{\"UserName\":";
  AppendQuoted(request.body, info_.UserName);
  request.body += ",\"Password\":";
  AppendQuoted(request.body, info_.Password);
  request.body += '}';
  return request;
}

Session::Opened Session::TakeOpened(const Rest::TransferResult& result, std::string_view sessionsPath) {
  const bool whole = result.cause == FailureCause::None;
  if (whole &&
      (result.status == 401 || (result.status >= 400 && result.status < 500 && SaysLoginRefused(result.body)))) {
    return Opened::LoginRefused;
  }
  // Of a response that was cut in its body the headers hold: the session is there, and has to be closed.
  if (whole ? result.status < 200 || result.status > 299 : result.authToken.empty()) {
    return Opened::NoSession;
  }
  auto link = ParseLink(Absolute(WithoutHost(result.location), sessionsPath), {});
  if (!link) {
    const auto document = JsonDocument::Read(result.body);
    const JsonValue body = document ? document->Root() : JsonValue();
    link = ParseLink(body["@odata.id"].String().value_or(""), origin_);
    link = link ? link : ParseLink(Absolute(body["Id"].String().value_or(""), sessionsPath), {});
  }
  path_ = link ? link->path : "";
  token_ = result.authToken;
  return token_.empty() ? Opened::NoSession : Opened::Yes;
}

std::optional<Rest::TransferRequest> Session::CloseRequest() const {
  if (path_.empty()) {
    return std::nullopt;
  }
  Rest::TransferRequest request;
  request.method = "DELETE";
  request.url = origin_ + path_;
  request.headers = {"Accept: application/json", "OData-Version: 4.0"};
  if (IsOpen()) {
    Authorize(request);
  } else {  // a session without a token is of no use, but it is there
    request.user = info_.UserName;
    request.password = info_.Password;
  }
  return request;
}

void Session::Adopt(KeptSession& kept) noexcept {
  token_.swap(kept.token);
  path_.swap(kept.path);
}

bool Session::Release(KeptSession& kept) noexcept {
  if (!IsOpen() || path_.empty()) {
    return false;
  }
  Adopt(kept);
  Forget();
  return true;
}

void Session::Forget() noexcept {
  Text::WipeText(token_);
  path_.clear();
}

}  // namespace Kelvar::Reader

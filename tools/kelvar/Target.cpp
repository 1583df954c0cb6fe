#include "tools/kelvar/Target.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <curl/curl.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Suggestion.h"

namespace Kelvar::Tool {

namespace {

using namespace KelvarConnection;

struct Scheme {
  const char* name;
  Protocol protocol;
  u32 connectionCase;
  u32 connectionType;
  u16 port;
};

constexpr Scheme kSchemes[] = {
    {"ipmi", Protocol::Ipmi, CONNECTION_CASE_IPMI_LAN, 0, 623},
    {"redfish", Protocol::Redfish, CONNECTION_CASE_REDFISH, 0, 443},
    {"cim+http", Protocol::Cim, CONNECTION_CASE_CIM_BMC, 0, 5988},
    {"cim+https", Protocol::Cim, CONNECTION_CASE_CIM_BMC, 1, 5989},
    {"esxi+http", Protocol::Cim, CONNECTION_CASE_CIM_ESXI, 0, 5988},
    {"esxi+https", Protocol::Cim, CONNECTION_CASE_CIM_ESXI, 1, 5989},
    {"omc+http", Protocol::Cim, CONNECTION_CASE_CIM_OMC, 0, 5988},
    {"omc+https", Protocol::Cim, CONNECTION_CASE_CIM_OMC, 1, 5989},
};

[[noreturn]] void Refuse(const std::string& address, const std::string& why) {
  constexpr std::size_t kMostShown = 200;  // a line of a list may be of any length
  const std::string shown = address.size() > kMostShown ? address.substr(0, kMostShown) + "..." : address;
  throw ToolError(ExitCode::Usage, "target \"" + shown + "\": " + why);
}

u16 NumberOf(const std::string& address, std::string_view text) {
  u16 number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) {
    Refuse(address, "\"" + std::string(text) + "\" is not a number from 0 to 65535");
  }
  return number;
}

/// Those of ASCII, and those that UTF-8 writes in two bytes.
bool HasControls(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    const auto next = static_cast<unsigned char>(at + 1 < text.size() ? text[at + 1] : ' ');
    if (byte < 0x20 || byte == 0x7F || (byte == 0xC2 && next >= 0x80 && next < 0xA0)) {
      return true;
    }
  }
  return false;
}

/// What these would hide, or do to a terminal, is not shown either.
void RefuseControls(const std::string& address) {
  if (HasControls(address)) {
    throw ToolError(ExitCode::Usage, "target: an address must not contain control characters");
  }
}

class Url {
 public:
  explicit Url(const std::string& address) : url_(curl_url(), curl_url_cleanup) {
    const CURLUcode result = curl_url_set(url_.get(), CURLUPART_URL, address.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (result != CURLUE_OK) {
      Refuse(address, curl_url_strerror(result));
    }
  }

  std::optional<std::string> Part(CURLUPart part, unsigned flags = 0) const {
    char* text = nullptr;
    if (curl_url_get(url_.get(), part, &text, flags) != CURLUE_OK) {
      return std::nullopt;
    }
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
    return std::string(text);
  }

 private:
  std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> url_;
};

const Scheme& SchemeOf(const std::string& address, const Url& url) {
  const std::string name = url.Part(CURLUPART_SCHEME).value_or("");
  std::vector<std::string> known{"ipmi-local"};
  std::string list = known.front();
  for (const Scheme& scheme : kSchemes) {
    if (name == scheme.name) {
      return scheme;
    }
    known.emplace_back(scheme.name);
    list += std::string(", ") + scheme.name;
  }
  if (name == "http" || name == "https") {
    Refuse(address, "a scheme names the protocol; for Redfish write redfish://HOST, for CIM cim+" + name + "://HOST");
  }
  const std::string suggestion = Suggestion(name, known);
  Refuse(address, "unknown scheme \"" + name + "\"" + (suggestion.empty() ? "; use one of " + list : suggestion));
}

void ReadParameter(const std::string& address, const std::string& parameter, Target& target) {
  ConnectionInfo& info = target.info;
  const bool ipmi = info.ConnectionCase == CONNECTION_CASE_IPMI_LAN;
  const std::size_t equals = parameter.find('=');
  const std::string name = parameter.substr(0, equals);
  const std::string value = equals == std::string::npos ? std::string() : parameter.substr(equals + 1);
  if (name == "zmc" && info.ConnectionCase == CONNECTION_CASE_CIM_ESXI) {
    info.ZMCIndex = NumberOf(address, value);
  } else if (name == "suite" && ipmi) {
    info.RemoteSessionArgument = NumberOf(address, value);
  } else if (name == "kg-file" && ipmi && !value.empty()) {
    target.bmcKeyFile = value;
  } else if (name == "session" && ipmi) {
    target.ipmiSession = IpmiSessionNamed(value);
    if (!target.ipmiSession) {
      Refuse(address, "session must be 1.5-md5 or 1.5-password");
    }
  } else {
    Refuse(address, "\"" + parameter +
                        "\" is an unknown parameter (ipmi: suite=N, kg-file=FILE, session=1.5-md5|1.5-password; "
                        "esxi: zmc=N)");
  }
}

void ReadQuery(const std::string& address, const std::string& query, Target& target) {
  for (std::size_t start = 0; start <= query.size();) {
    const std::size_t end = std::min(query.find('&', start), query.size());
    ReadParameter(address, query.substr(start, end - start), target);
    start = end + 1;
  }
}

void ReadUser(const std::string& address, const Url& url, ConnectionInfo& info) {
  if (!url.Part(CURLUPART_USER)) {
    return;
  }
  const auto user = url.Part(CURLUPART_USER, CURLU_URLDECODE);
  if (!user || HasControls(*user)) {
    Refuse(address, "a user name must not contain control characters");
  }
  info.UserName = *user;
}

void ReadHost(const std::string& address, const Url& url, ConnectionInfo& info) {
  info.Host = url.Part(CURLUPART_HOST).value_or("");
  if (info.Host.empty()) {
    Refuse(address, "no host");
  }
  if (HasControls(info.Host)) {
    Refuse(address, "a host name must not contain control characters");
  }
  // What is decoded here would be decoded again by whoever fetches from it, to a host that nobody allowed.
  if (info.Host.find('%') != std::string::npos) {
    Refuse(address, "a host name must not contain '%'");
  }
  if (info.Host.front() == '[') {
    info.Host = info.Host.substr(1, info.Host.size() - 2);
    info.AddressFamily = 1;
    if (const auto zone = url.Part(CURLUPART_ZONEID)) {
      info.Host += '%' + *zone;
    }
  } else {
    // What was decoded may be an IPv4 address in an unusual spelling, which libcurl knows in plain text alone.
    info.Host = Url("http://" + info.Host).Part(CURLUPART_HOST).value_or(info.Host);
  }
}

std::optional<Target> ParseLocal(const std::string& address) {
  constexpr std::string_view kPrefix = "ipmi-local:";
  if (address.compare(0, kPrefix.size(), kPrefix) != 0) {
    return std::nullopt;
  }
  Target target{address, Protocol::Ipmi, {}};
  target.info.ConnectionCase = CONNECTION_CASE_IPMI_LOCAL;
  target.info.ZMCIndex = NumberOf(address, std::string_view(address).substr(kPrefix.size()));
  return target;
}

/// Before anything else, so that no message shows the password.
void RefusePassword(const std::string& address) {
  const std::size_t scheme = address.find("://");
  // After a ":" or "@" this is not the end of a scheme, but perhaps of the password.
  const std::size_t start = scheme == std::string::npos || address.find_first_of(":@") < scheme ? 0 : scheme + 3;
  const std::size_t at = address.rfind('@');
  if (at != std::string::npos && address.find(':', start) < at) {
    throw ToolError(
        ExitCode::Usage,
        "do not put the password in the target: other users can see it; use --password-file, --password-command, "
        "the environment variable KELVAR_PASSWORD, or the prompt");
  }
}

}  // namespace

ConnectionOptions Target::Complete(ConnectionOptions options) const {
  options.ipmi_session = ipmiSession.value_or(options.ipmi_session);
  options.ipmi_kg_key = bmcKey.empty() ? options.ipmi_kg_key : bmcKey;
  return options;
}

std::optional<ConnectionOptions::IpmiSession> IpmiSessionNamed(const std::string& word) {
  if (word == "1.5-md5") {
    return ConnectionOptions::IpmiSession::Ipmi15Md5;
  }
  if (word == "1.5-password") {
    return ConnectionOptions::IpmiSession::Ipmi15Password;
  }
  return std::nullopt;
}

Target ParseTarget(const std::string& address) {
  RefusePassword(address);
  RefuseControls(address);
  if (auto local = ParseLocal(address)) {
    return *local;
  }
  if (address.compare(0, 5, "demo:") == 0) {
    Refuse(address,
           "simulated machines are started for targets of the command line alone; kelvar-bmcsim serves others");
  }
  if (address.find("://") == std::string::npos) {
    Refuse(
        address,
        "expected SCHEME://[USER@]HOST[:PORT], such as redfish://admin@192.0.2.10; kelvar probe HOST finds the scheme");
  }
  const Url url(address);
  const Scheme& scheme = SchemeOf(address, url);
  Target target{address, scheme.protocol, {}};
  ConnectionInfo& info = target.info;
  info.ConnectionCase = scheme.connectionCase;
  info.ConnectionType = scheme.connectionType;
  ReadHost(address, url, info);
  const auto port = url.Part(CURLUPART_PORT);
  info.Port = port ? NumberOf(address, *port) : scheme.port;
  if (info.Port == 0) {
    Refuse(address, "a port must be from 1 to 65535");
  }
  ReadUser(address, url, info);
  if (url.Part(CURLUPART_PATH).value_or("/") != "/" || url.Part(CURLUPART_FRAGMENT)) {
    Refuse(address, "a target URL takes no path");
  }
  if (const auto query = url.Part(CURLUPART_QUERY)) {
    ReadQuery(address, *query, target);
  }
  return target;
}

const char* WordOf(Protocol protocol) {
  switch (protocol) {
    case Protocol::Ipmi:
      return "ipmi";
    case Protocol::Redfish:
      return "redfish";
    case Protocol::Cim:
      return "cim";
  }
  return "";
}

const char* NameOf(Protocol protocol) {
  switch (protocol) {
    case Protocol::Ipmi:
      return "IPMI";
    case Protocol::Redfish:
      return "Redfish";
    case Protocol::Cim:
      return "CIM";
  }
  return "";
}

}  // namespace Kelvar::Tool

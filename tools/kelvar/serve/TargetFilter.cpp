#include "tools/kelvar/serve/TargetFilter.h"

#include <algorithm>

#include <fnmatch.h>

#include "tools/kelvar/ExitCode.h"

namespace Kelvar::Tool::Serve {

namespace {

using KelvarConnection::CONNECTION_CASE_IPMI_LOCAL;

/// In lower case, and with slashes for dots, since wildcards can be kept from crossing a slash.
std::string Folded(std::string host) {
  for (char& character : host) {
    if (character >= 'A' && character <= 'Z') {
      character = static_cast<char>(character - 'A' + 'a');
    }
    character = character == '.' ? '/' : character;
  }
  return host;
}

/// A pattern for names lets no IPv6 address through: "*" has no dot, but "::1" has none either. Other spellings of an
/// IPv4 address ("2130706433") are the usual one by the time a target is parsed.
bool LooksLike(const std::string& pattern, const std::string& host) {
  return host.find(':') == std::string::npos || pattern.find(':') != std::string::npos;
}

bool Matches(const std::string& pattern, const std::string& text) {
  return fnmatch(pattern.c_str(), text.c_str(), FNM_PATHNAME | FNM_NOESCAPE) == 0;
}

}  // namespace

TargetFilter::TargetFilter(const std::vector<std::string>& patterns) {
  for (const std::string& text : patterns) {
    patterns_.push_back(PatternOf(text));
  }
}

TargetFilter::Pattern TargetFilter::PatternOf(const std::string& text) {
  const std::size_t scheme = text.find("://");
  if (scheme == std::string::npos) {
    return {ParseTarget(text), "", ""};
  }
  Pattern pattern{ParseTarget(text.substr(0, scheme + 3) + "host"), "", ""};
  std::string host = text.substr(scheme + 3);
  const std::size_t bracket = host.rfind(']');
  const std::size_t colon = host.find(':', bracket == std::string::npos ? 0 : bracket);
  pattern.port = colon == std::string::npos ? std::to_string(pattern.kind.info.Port) : host.substr(colon + 1);
  host = host.substr(0, colon);
  if (host.size() > 2 && host.front() == '[' && host.back() == ']') {
    host = host.substr(1, host.size() - 2);
  }
  if (host.empty() || pattern.port.empty() || text.find_first_of("@/", scheme + 3) != std::string::npos) {
    throw ToolError(ExitCode::Usage, "serve.targets: \"" + text + "\" is invalid; use SCHEME://HOST[:PORT]");
  }
  pattern.host = Folded(host);
  return pattern;
}

void TargetFilter::Add(const Target& target) {
  patterns_.push_back({target, Folded(target.info.Host), std::to_string(target.info.Port)});
}

bool TargetFilter::Allows(const Target& target) const {
  // Whoever asks chooses neither a file of this machine nor a weaker session: those come from the configuration.
  if (target.ipmiSession || !target.bmcKeyFile.empty()) {
    return false;
  }
  const std::string host = Folded(target.info.Host);
  const std::string port = std::to_string(target.info.Port);
  return std::any_of(patterns_.begin(), patterns_.end(), [&](const Pattern& pattern) {
    const auto& kind = pattern.kind.info;
    if (kind.ConnectionCase != target.info.ConnectionCase || kind.ConnectionType != target.info.ConnectionType) {
      return false;
    }
    if (kind.ConnectionCase == CONNECTION_CASE_IPMI_LOCAL) {
      return kind.ZMCIndex == target.info.ZMCIndex;
    }
    return LooksLike(pattern.host, target.info.Host) && Matches(pattern.host, host) && Matches(pattern.port, port);
  });
}

}  // namespace Kelvar::Tool::Serve

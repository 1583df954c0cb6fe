#pragma once

#include <string>
#include <vector>

#include "tools/kelvar/Target.h"

namespace Kelvar::Tool::Serve {

/// Which targets may be read at all. A pattern is an address: SCHEME://HOST[:PORT], or ipmi-local:N. In host and port
/// "*" stands for any text and "?" for one character, but neither for a dot: accounts of "10.0.0.*" must not go to
/// 10.0.0.1.example.org. An IPv6 address is only allowed by a pattern with a colon. The scheme is taken as it is.
/// Without a port it is the scheme's usual one.
class TargetFilter {
 public:
  /// Throws ToolError (usage) for what is not a pattern.
  explicit TargetFilter(const std::vector<std::string>& patterns);

  /// Allows one target more, and none that is spelled otherwise but for the port.
  void Add(const Target& target);

  bool Allows(const Target& target) const;

 private:
  struct Pattern {
    Target kind;  ///< protocol, case and type of connection; for ipmi-local the whole target
    std::string host;
    std::string port;
  };

  static Pattern PatternOf(const std::string& text);

  std::vector<Pattern> patterns_;
};

}  // namespace Kelvar::Tool::Serve

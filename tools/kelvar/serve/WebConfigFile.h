#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Kelvar::Tool::Serve {

/// Which certificate a client must show.
enum class ClientCertificate { None, Requested, Any, VerifiedIfGiven, Verified };

/// A text of the file, and the line that it is in; 0 when it is not there.
struct WebText {
  std::string text;
  int line = 0;
};

/// What Prometheus' web configuration file says about a listener. Paths are relative to the file's folder, and made
/// whole here.
struct WebConfigFile {
  struct Tls {
    WebText certificate;
    WebText key;
    WebText clientCa;
    ClientCertificate client = ClientCertificate::None;
    int lowestVersion = 12;  ///< TLS 1.2, and so on
    int highestVersion = 13;
    std::vector<WebText> cipherSuites;  ///< of TLS 1.2, by their standard names; empty: the usual ones
    std::vector<std::string> curves;    ///< as OpenSSL calls them
  };

  bool hasTls = false;
  Tls tls;
  std::vector<std::pair<std::string, std::string>> headers;
  std::map<std::string, std::string> users;  ///< with the bcrypt hashes of their passwords
};

/// Reads one. Throws ToolError (usage) with the line of what is unknown, malformed or not supported.
WebConfigFile ReadWebConfigFile(const std::string& file);

/// Whether a text is a hash as bcrypt makes them, with a cost that a check can take: 4 to 16.
bool IsBcryptHash(const std::string& text);

}  // namespace Kelvar::Tool::Serve

#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <boost/asio/ssl/context.hpp>

namespace Kelvar::Tool::Serve {

/// How a listener is protected. Made as a whole and shared; nothing of it changes.
struct WebConfig {
  std::shared_ptr<boost::asio::ssl::context> tls;  ///< null: plain HTTP
  std::vector<std::pair<std::string, std::string>> headers;
  std::map<std::string, std::string> users;  ///< with the bcrypt hashes of their passwords; empty: no login
};

/// Reads the file, and the certificates and the key that it names. An empty name: no protection. Throws ToolError
/// (usage) with the line of what is wrong.
std::shared_ptr<const WebConfig> LoadWebConfig(const std::string& file);

}  // namespace Kelvar::Tool::Serve

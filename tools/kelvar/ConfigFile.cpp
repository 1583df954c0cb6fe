#include "tools/kelvar/ConfigFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include <fnmatch.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Toml.h"

namespace Kelvar::Tool {

namespace {

[[noreturn]] void Refuse(const std::string& file, const std::string& why) {
  throw ToolError(ExitCode::Usage, "configuration " + file + ": " + why);
}

std::string ContentOf(const std::string& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) {
    Refuse(file, std::strerror(errno));
  }
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    Refuse(file, "other users may read or change it; run chmod 600 on it first");
  }
  if (status.st_uid != geteuid() && status.st_uid != 0) {
    Refuse(file, "it belongs to another user");
  }
  std::ifstream input(file);
  std::ostringstream content;
  content << input.rdbuf();
  if (!input) {
    Refuse(file, std::strerror(errno));
  }
  return content.str();
}

/// One table of the file, whose keys are taken one by one, so that what is left over is a mistake.
class Table {
 public:
  Table(std::string file, std::string name, const toml::table& table)
      : file_(std::move(file)), name_(std::move(name)), table_(table) {}

  std::optional<std::string> Text(const char* key) {
    known_.emplace_back(key);
    const toml::node* const node = table_.get(key);
    if (node == nullptr) {
      return std::nullopt;
    }
    if (!node->is_string()) {
      Refuse(file_, name_ + "." + key + " must be a string");
    }
    return node->as_string()->get();
  }

  std::vector<std::string> Texts(const char* key) {
    known_.emplace_back(key);
    const toml::node* const node = table_.get(key);
    if (node == nullptr) {
      return {};
    }
    const toml::array* const list = node->as_array();
    if (list == nullptr || (!list->empty() && !list->is_homogeneous(toml::node_type::string))) {
      Refuse(file_, name_ + "." + key + " must be a list of strings");
    }
    std::vector<std::string> texts;
    for (const toml::node& text : *list) {
      texts.push_back(text.as_string()->get());
    }
    return texts;
  }

  unsigned Number(const char* key, unsigned fallback, unsigned most) {
    known_.emplace_back(key);
    const toml::node* const node = table_.get(key);
    if (node == nullptr) {
      return fallback;
    }
    const auto number = node->is_integer() ? node->as_integer()->get() : 0;
    if (number < 1 || number > most) {
      Refuse(file_, name_ + "." + key + " must be a number from 1 to " + std::to_string(most));
    }
    return static_cast<unsigned>(number);
  }

  void RefuseOthers() const {
    for (const auto& [key, node] : table_) {
      if (std::find(known_.begin(), known_.end(), key.str()) == known_.end()) {
        Refuse(file_, "unknown key " + name_ + "." + std::string(key.str()));
      }
    }
  }

 private:
  std::string file_;
  std::string name_;
  const toml::table& table_;
  std::vector<std::string> known_;
};

constexpr unsigned kLongestSeconds = 3600;

Config::Account AccountOf(const std::string& file, const toml::table& table) {
  Table reader(file, "account", table);
  Config::Account account;
  account.host = reader.Text("host").value_or("");
  account.protocol = reader.Text("protocol").value_or("");
  account.user = reader.Text("user").value_or("");
  account.password = {reader.Text("password-file").value_or(""), reader.Text("password-command").value_or(""),
                      reader.Text("password")};
  account.bmcKeyFile = reader.Text("kg-file").value_or("");
  if (const auto session = reader.Text("session")) {
    account.ipmiSession = IpmiSessionNamed(*session);
    if (!account.ipmiSession) {
      Refuse(file, "account.session must be 1.5-md5 or 1.5-password");
    }
  }
  reader.RefuseOthers();
  if (!account.password.file.empty() + !account.password.command.empty() + account.password.text.has_value() > 1) {
    Refuse(file, "an account takes only one of password-file, password-command and password");
  }
  constexpr const char* kProtocols[] = {"", "ipmi", "redfish", "cim"};
  if (std::find(std::begin(kProtocols), std::end(kProtocols), account.protocol) == std::end(kProtocols)) {
    Refuse(file, "account.protocol must be ipmi, redfish or cim");
  }
  return account;
}

Config::Serve ServeOf(const std::string& file, const toml::table& table) {
  constexpr unsigned kMostInFlight = 4096;
  Table reader(file, "serve", table);
  Config::Serve serve;
  serve.listen = reader.Text("listen").value_or(serve.listen);
  serve.targets = reader.Texts("targets");
  serve.targetsFile = reader.Text("targets-file").value_or("");
  serve.webConfig = reader.Text("web-config").value_or("");
  serve.maxInFlight = reader.Number("max-in-flight", serve.maxInFlight, kMostInFlight);
  serve.timeoutSeconds = reader.Number("timeout", serve.timeoutSeconds, kLongestSeconds);
  reader.RefuseOthers();
  return serve;
}

Config::Module ModuleOf(const std::string& file, const toml::table& table) {
  Table reader(file, "module", table);
  Config::Module module;
  module.name = reader.Text("name").value_or("");
  module.what = reader.Texts("what");
  module.maxAgeSeconds = reader.Number("max-age", 0, kLongestSeconds);
  reader.RefuseOthers();
  if (module.name.empty()) {
    Refuse(file, "module.name is missing");
  }
  return module;
}

/// The tables of a list of tables.
std::vector<const toml::table*> Tables(const std::string& file, const std::string& name, const toml::node& node) {
  const toml::array* const list = node.as_array();
  if (list == nullptr || !list->is_homogeneous(toml::node_type::table)) {
    Refuse(file, name + " must be a list of tables; write [[" + name + "]]");
  }
  std::vector<const toml::table*> tables;
  for (const toml::node& table : *list) {
    tables.push_back(table.as_table());
  }
  return tables;
}

void ReadPart(const std::string& file, const std::string& name, const toml::node& node, Config& config) {
  if (name == "account") {
    for (const toml::table* account : Tables(file, name, node)) {
      config.accounts.push_back(AccountOf(file, *account));
    }
  } else if (name == "module") {
    for (const toml::table* module : Tables(file, name, node)) {
      config.modules.push_back(ModuleOf(file, *module));
    }
  } else if (name == "serve" && node.is_table()) {
    config.serve = ServeOf(file, *node.as_table());
  } else {
    Refuse(file, name == "serve" ? "serve must be a table; write [serve]" : "unknown key " + name);
  }
}

/// Errors of the parser show a place, never the text there, which may be a password.
toml::table Parsed(const std::string& file, const std::string& content) {
  try {
    return toml::parse(content);
  } catch (const toml::parse_error& error) {
    Refuse(file, "invalid TOML in line " + std::to_string(error.source().begin.line));
  }
}

/// This program's folder below that which a variable names, or else below one of the home directory.
std::string UserFolder(const char* variable, const char* inHome) {
  const char* const base = std::getenv(variable);
  const char* const home = std::getenv("HOME");
  if (base != nullptr && *base == '/') {
    return std::string(base) + "/kelvar";
  }
  return home != nullptr && *home == '/' ? std::string(home) + inHome + "/kelvar" : std::string();
}

}  // namespace

const Config::Account* Config::AccountFor(const Target& target) const {
  for (const Account& account : accounts) {
    const bool host = account.host.empty() || fnmatch(account.host.c_str(), target.info.Host.c_str(), 0) == 0;
    const bool protocol = account.protocol.empty() || account.protocol == WordOf(target.protocol);
    const bool user = account.user.empty() || target.info.UserName.empty() || account.user == target.info.UserName;
    if (host && protocol && user) {
      return &account;
    }
  }
  return nullptr;
}

Config ReadConfig(const std::string& file) {
  const toml::table root = Parsed(file, ContentOf(file));
  Config config;
  for (const auto& [key, node] : root) {
    ReadPart(file, std::string(key.str()), node, config);
  }
  return config;
}

std::string DefaultConfigFile() {
  const std::string folder = UserFolder("XDG_CONFIG_HOME", "/.config");
  const std::string file = folder + "/config.toml";
  return !folder.empty() && access(file.c_str(), F_OK) == 0 ? file : std::string();
}

std::string DefaultCacheFolder() {
  return UserFolder("XDG_CACHE_HOME", "/.cache");
}

}  // namespace Kelvar::Tool

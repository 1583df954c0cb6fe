#include "tools/kelvar/Credentials.h"

#include <cstdlib>
#include <utility>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Password.h"

namespace Kelvar::Tool {

namespace {

constexpr const char* kWhereUsersComeFrom = ": write USER@ before the host, as in redfish://admin@192.0.2.10";

}  // namespace

Credentials::Credentials(PasswordSource fromCommandLine, Config config)
    : fromCommandLine_(std::move(fromCommandLine)), config_(std::move(config)) {}

Credentials::Credentials(Config config) : config_(std::move(config)), configOnly_(true) {}

void Credentials::Fill(Target& target, const PasswordSource& own) {
  const Config::Account* const account = config_.AccountFor(target);
  if (account != nullptr && target.info.UserName.empty()) {
    target.info.UserName = account->user;
  }
  if (!target.NeedsPassword()) {
    return;
  }
  FillSession(target, account);
  if (target.info.UserName.empty()) {
    throw ToolError(ExitCode::Usage, "no user for " + target.address + (configOnly_ ? "" : kWhereUsersComeFrom) +
                                         "; or add an account to the configuration");
  }
  if (own.Given()) {
    target.info.Password = PasswordOf(own);
  } else if (fromCommandLine_.Given()) {
    target.info.Password = PasswordOf(fromCommandLine_);
  } else if (const char* password = std::getenv("KELVAR_PASSWORD"); !configOnly_ && password != nullptr) {
    target.info.Password = password;
  } else if (account != nullptr && account->password.Given()) {
    target.info.Password = PasswordOf(account->password);
  } else if (configOnly_) {
    throw ToolError(ExitCode::Usage, "the configuration has no account with a password for " + target.address);
  } else {
    target.info.Password = Typed(target.address);
  }
  if (target.info.Password.empty()) {
    throw ToolError(ExitCode::Usage, "the password for " + target.address + " is empty");
  }
}

void Credentials::FillSession(Target& target, const Config::Account* account) {
  if (target.protocol != Protocol::Ipmi) {
    return;
  }
  if (account != nullptr && target.bmcKeyFile.empty()) {
    target.bmcKeyFile = account->bmcKeyFile;
  }
  if (account != nullptr && !target.ipmiSession) {
    target.ipmiSession = account->ipmiSession;
  }
  if (!target.bmcKeyFile.empty()) {
    PasswordSource source;
    source.file = target.bmcKeyFile;
    target.bmcKey = PasswordOf(source);
  }
}

const std::string& Credentials::PasswordOf(const PasswordSource& source) {
  if (source.text) {
    return *source.text;
  }
  const std::string key = source.file.empty() ? "command " + source.command : "file " + source.file;
  const auto known = known_.find(key);
  if (known != known_.end()) {
    return known->second;
  }
  std::string password = source.file.empty() ? PasswordFromCommand(source.command) : PasswordFromFile(source.file);
  return known_.emplace(key, std::move(password)).first->second;
}

std::string Credentials::Typed(const std::string& address) {
  if (!typed_) {
    typed_ = PasswordFromTerminal(address);
  }
  return *typed_;
}

}  // namespace Kelvar::Tool

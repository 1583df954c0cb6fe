#include "tools/kelvar/Credentials.h"

#include <cstdlib>
#include <utility>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/Password.h"

namespace Kelvar::Tool {

Credentials::Credentials(PasswordSource fromCommandLine, Config config)
    : fromCommandLine_(std::move(fromCommandLine)), config_(std::move(config)) {}

Credentials::Credentials(Config config) : config_(std::move(config)), configOnly_(true) {}

void Credentials::Fill(Target& target) {
  const Config::Account* const account = config_.AccountFor(target);
  if (account != nullptr && target.info.UserName.empty()) {
    target.info.UserName = account->user;
  }
  if (!target.NeedsPassword()) {
    return;
  }
  if (fromCommandLine_.Given()) {
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
}

void Credentials::Fill(Target& target, const PasswordSource& own) {
  if (!own.Given() || !target.NeedsPassword()) {
    Fill(target);
    return;
  }
  const Config::Account* const account = config_.AccountFor(target);
  if (account != nullptr && target.info.UserName.empty()) {
    target.info.UserName = account->user;
  }
  target.info.Password = PasswordOf(own);
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

#include "tools/kelvar/fleet/Accounts.h"

#include <utility>

#include "tools/kelvar/HostAddress.h"

namespace Kelvar::Tool {

std::string Accounts::KeyOf(const Target& target) {
  const KelvarConnection::ConnectionInfo& info = target.info;
  const std::string host = UsualSpelling(info.Host);
  std::string key = info.UserName + '\0' + host;
  if (!target.NeedsPassword()) {
    key += '\0' + std::to_string(info.ZMCIndex);
  } else if (IsLoopback(host)) {
    key += '\0' + std::to_string(info.Port);
  }
  return key;
}

void Accounts::Enter(const std::string& key, std::function<void()> start) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    Account& account = accounts_[key];
    if (account.busy) {
      account.waiting.push_back(std::move(start));
      return;
    }
    account.busy = true;
  }
  start();
}

void Accounts::Leave(const std::string& key) {
  std::function<void()> next;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    Account& account = accounts_[key];
    if (account.waiting.empty()) {
      account.busy = false;
      return;
    }
    next = std::move(account.waiting.front());
    account.waiting.pop_front();
  }
  next();
}

void Accounts::Refuse(const std::string& key) {
  const std::lock_guard<std::mutex> lock(mutex_);
  accounts_[key].refused = true;
}

bool Accounts::IsRefused(const std::string& key) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return accounts_[key].refused;
}

}  // namespace Kelvar::Tool

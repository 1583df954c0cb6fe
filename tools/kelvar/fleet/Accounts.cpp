#include "tools/kelvar/fleet/Accounts.h"

#include <algorithm>
#include <utility>

#include "tools/kelvar/HostAddress.h"

namespace Kelvar::Tool {

Accounts::Places Accounts::PlacesOf(const Target& target) {
  const KelvarConnection::ConnectionInfo& info = target.info;
  const std::string user = info.UserName + '\0';
  if (!target.NeedsPassword()) {
    return {user + '\0' + std::to_string(info.ZMCIndex)};
  }
  Places places;
  for (const std::string& address : AddressesOf(info.Host)) {
    places.push_back(user + address + (IsLoopback(address) ? '\0' + std::to_string(info.Port) : ""));
  }
  return places;
}

void Accounts::EnterFrom(std::size_t first, const Places& places, const std::function<void()>& start) {
  for (std::size_t at = first; at < places.size(); ++at) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Account& account = accounts_[places[at]];
    if (account.busy) {
      account.waiting.emplace_back([this, at, places, start] { EnterFrom(at + 1, places, start); });
      return;
    }
    account.busy = true;
  }
  start();
}

void Accounts::Leave(const Places& places) {
  for (const std::string& place : places) {
    LeaveOne(place);
  }
}

void Accounts::LeaveOne(const std::string& place) {
  std::function<void()> next;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    Account& account = accounts_[place];
    if (account.waiting.empty()) {
      account.busy = false;
      return;
    }
    next = std::move(account.waiting.front());
    account.waiting.pop_front();
  }
  next();
}

void Accounts::Refuse(const Places& places) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const std::string& place : places) {
    accounts_[place].refused = true;
  }
}

bool Accounts::IsRefused(const Places& places) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return std::any_of(places.begin(), places.end(), [&](const std::string& place) { return accounts_[place].refused; });
}

}  // namespace Kelvar::Tool

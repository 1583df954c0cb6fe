#include "tools/kelvar/serve/LoginGate.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "tools/kelvar/HostAddress.h"

namespace Kelvar::Tool::Serve {

namespace {

constexpr std::chrono::seconds kRest = std::chrono::minutes(5);

}  // namespace

LoginGate::Places LoginGate::PlacesOf(const Target& target) {
  Places places;
  for (const std::string& address : AddressesOf(target.info.Host)) {
    places.push_back(fmt::format("{}\n{}\n{}", target.info.UserName, address, target.info.Port));
  }
  return places;
}

LoginGate::Visit::Visit(LoginGate& gate, Places places) : gate_(gate), places_(std::move(places)) {
  std::unique_lock lock(gate_.mutex_);
  const bool full = std::any_of(places_.begin(), places_.end(), [&](const std::string& place) {
    return gate_.places_[place].visits >= gate_.mostAtOnce_;
  });
  if (full) {
    refusal_ = fmt::format("{} readings of this target are under way", gate_.mostAtOnce_);
    return;
  }
  entered_ = true;
  for (const std::string& place : places_) {
    ++gate_.places_[place].visits;
  }
  gate_.changed_.wait(lock, [&] { return !gate_.AnyOf(places_, &Place::tried); });
  if (const long left = gate_.SecondsLeft(places_); left > 0) {
    refusal_ = fmt::format("login was refused earlier; next attempt in {} s", left);
    wasRefused_ = true;
    return;
  }
  trying_ = !gate_.AnyOf(places_, &Place::good);
  for (const std::string& place : places_) {
    gate_.places_[place].tried = trying_;
  }
}

LoginGate::Visit::~Visit() {
  const std::lock_guard lock(gate_.mutex_);
  if (std::exchange(trying_, false)) {
    gate_.EndTrying(places_);
  }
  for (const std::string& place : places_) {
    Place& known = gate_.places_[place];
    known.visits -= entered_ ? 1 : 0;
    known.good = known.good && known.visits > 0;
  }
  gate_.Forget();
}

void LoginGate::Visit::LetIn() {
  const std::lock_guard lock(gate_.mutex_);
  if (std::exchange(trying_, false)) {
    for (const std::string& place : places_) {
      gate_.places_[place].good = true;
    }
    gate_.EndTrying(places_);
  }
}

void LoginGate::Visit::Refuse() {
  const std::lock_guard lock(gate_.mutex_);
  for (const std::string& place : places_) {
    Place& known = gate_.places_[place];
    known.good = false;
    known.wasRefused = true;
    known.refused = gate_.now_();
  }
  if (std::exchange(trying_, false)) {
    gate_.EndTrying(places_);
  }
}

bool LoginGate::AnyOf(const Places& places, bool Place::*flag) const {
  return std::any_of(places.begin(), places.end(), [&](const std::string& place) {
    const auto known = places_.find(place);
    return known != places_.end() && known->second.*flag;
  });
}

long LoginGate::SecondsLeft(const Places& places) {
  long left = 0;
  for (const std::string& place : places) {
    Place& known = places_[place];
    const auto rest = std::chrono::ceil<std::chrono::seconds>(known.refused + kRest - now_());
    known.wasRefused = known.wasRefused && rest.count() > 0;
    left = std::max(left, known.wasRefused ? static_cast<long>(rest.count()) : 0L);
  }
  return left;
}

void LoginGate::EndTrying(const Places& places) {
  for (const std::string& place : places) {
    places_[place].tried = false;
  }
  changed_.notify_all();
}

/// What tells nothing any more.
void LoginGate::Forget() {
  for (auto place = places_.begin(); place != places_.end();) {
    const bool rests = place->second.wasRefused && now_() - place->second.refused < kRest;
    place = place->second.visits > 0 || rests ? std::next(place) : places_.erase(place);
  }
}

}  // namespace Kelvar::Tool::Serve

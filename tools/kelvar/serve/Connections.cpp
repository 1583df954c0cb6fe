#include "tools/kelvar/serve/Connections.h"

#include <algorithm>

namespace Kelvar::Tool::Serve {

namespace {

std::array<std::uint8_t, 16> KeyOf(const boost::asio::ip::address& address) {
  std::array<std::uint8_t, 16> key{};
  if (address.is_v4()) {
    const auto bytes = address.to_v4().to_bytes();
    std::copy(bytes.begin(), bytes.end(), key.rbegin());
    return key;
  }
  const auto v6 = address.to_v6();
  const auto bytes = v6.to_bytes();
  constexpr std::size_t kNetworkBytes = 8;
  if (v6.is_v4_mapped()) {
    std::copy(bytes.end() - 4, bytes.end(), key.rbegin());
  } else {
    std::copy_n(bytes.begin(), kNetworkBytes, key.begin());
  }
  return key;
}

}  // namespace

void Connections::Enter(Entry& entry, const boost::asio::ip::address& address) {
  entry.address_ = KeyOf(address);
  const auto known = counts_.find(entry.address_);
  if (known != counts_.end() && known->second >= mostOfAddress_) {
    Evict(VictimOf(entry.address_));
  } else if (entries_.size() >= most_) {
    Evict(VictimOf(Busiest()));
  }
  ++counts_[entry.address_];
  entry.place_ = entries_.insert(entries_.end(), &entry);
  entry.isIn_ = true;
}

void Connections::Wait(Entry& entry, Phase phase) {
  entry.phase_ = phase;
  if (entry.isIn_) {
    entries_.splice(entries_.end(), entries_, entry.place_);
  }
}

void Connections::Leave(Entry& entry) {
  if (!entry.isIn_) {
    return;
  }
  entry.isIn_ = false;
  entries_.erase(entry.place_);
  const auto count = counts_.find(entry.address_);
  if (--count->second == 0) {
    counts_.erase(count);
  }
}

bool Connections::CloseOldest(Phase phase) {
  const auto oldest =
      std::find_if(entries_.begin(), entries_.end(), [phase](const Entry* entry) { return entry->phase_ == phase; });
  if (oldest == entries_.end()) {
    return false;
  }
  Evict(*oldest);
  return true;
}

/// The oldest of those in the first phase that there is.
Connections::Entry* Connections::VictimOf(const Address& address) {
  Entry* victim = nullptr;
  for (Entry* const entry : entries_) {
    if (entry->address_ == address && (victim == nullptr || entry->phase_ < victim->phase_)) {
      victim = entry;
    }
  }
  return victim;
}

Connections::Address Connections::Busiest() const {
  return std::max_element(counts_.begin(), counts_.end(),
                          [](const auto& one, const auto& other) { return one.second < other.second; })
      ->first;
}

void Connections::Evict(Entry* entry) {
  Leave(*entry);
  entry->Close();
}

}  // namespace Kelvar::Tool::Serve

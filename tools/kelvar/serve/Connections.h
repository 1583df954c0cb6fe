#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <list>
#include <map>

#include <boost/asio/ip/address.hpp>

namespace Kelvar::Tool::Serve {

/// The open connections of a server: how many there may be, and which one goes when another one comes. One thread.
class Connections {
 public:
  /// What a connection waits for. Those that wait for their client go first, the one that waits longest before all.
  enum class Phase { Client, Response, Handler };

  /// One connection, which belongs to someone else.
  class Entry {
   public:
    virtual ~Entry() = default;
    /// Ends it; Leave() is called before.
    virtual void Close() = 0;

   private:
    friend class Connections;
    using Place = std::list<Entry*>::iterator;
    std::array<std::uint8_t, 16> address_{};
    Phase phase_ = Phase::Client;
    Place place_;
    bool isIn_ = false;
  };

  Connections(std::size_t most, std::size_t mostOfAddress) : most_(most), mostOfAddress_(mostOfAddress) {}

  /// Takes a connection in. The one that it takes the place of is closed: when its own address has as many as it may
  /// have one of these, when all places are taken one of the address that has most. IPv6 addresses of one network of
  /// 64 bits count as one.
  void Enter(Entry& entry, const boost::asio::ip::address& address);

  /// Tells what a connection waits for from now on.
  void Wait(Entry& entry, Phase phase);

  /// Does nothing for one that is not in.
  void Leave(Entry& entry);

  /// Closes the one that has waited longest for this. False when there is none.
  bool CloseOldest(Phase phase);

  template <class Function>
  void ForEach(Function function) {
    for (auto next = entries_.begin(); next != entries_.end();) {
      function(**next++);  // which may leave
    }
  }

 private:
  using Address = std::array<std::uint8_t, 16>;

  Entry* VictimOf(const Address& address);
  Address Busiest() const;
  void Evict(Entry* entry);

  const std::size_t most_;
  const std::size_t mostOfAddress_;
  std::list<Entry*> entries_;  ///< by the time of their last Wait()
  std::map<Address, std::size_t> counts_;
};

}  // namespace Kelvar::Tool::Serve

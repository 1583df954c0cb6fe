#include "support/VirtualLan.h"

#include <algorithm>
#include <deque>

namespace Kelvar::Test {

/// One client's end of the path.
class VirtualLan::Port final : public Ipmi::DatagramPort {
 public:
  explicit Port(VirtualLan& lan) : lan_(lan) {
    const std::lock_guard lock(lan_.mutex_);
    lan_.ports_.push_back(this);
  }
  ~Port() override {
    const std::lock_guard lock(lan_.mutex_);
    lan_.ports_.erase(std::find(lan_.ports_.begin(), lan_.ports_.end(), this));
    lan_.changed_.notify_all();
  }

  bool Open(const Ipmi::Endpoint& /*endpoint*/) override { return true; }
  void Close() noexcept override {}

  void Send(Ipmi::ByteView packet) noexcept override {
    const std::lock_guard lock(lan_.mutex_);
    ++lan_.fromClients_;
    const std::vector<u8> datagram(packet.begin(), packet.end());
    lan_.Travel(true, datagram, [&lan = lan_, this, datagram] { lan.Serve(this, datagram); });
  }

  Event Receive(Ipmi::Clock::time_point until, std::span<u8> buffer, std::size_t& size) override {
    std::unique_lock lock(lan_.mutex_);
    until_ = until;
    waiting_ = true;
    while (inbox_.empty() && lan_.now_ < until_) {
      if (std::all_of(lan_.ports_.begin(), lan_.ports_.end(), [](const Port* port) { return port->IsAsleep(); })) {
        lan_.Advance();
        lan_.changed_.notify_all();
      } else {
        lan_.changed_.wait(lock);
      }
    }
    waiting_ = false;
    if (inbox_.empty()) {
      return Event::Timeout;
    }
    size = std::min(inbox_.front().size(), buffer.size());
    std::copy_n(inbox_.front().begin(), size, buffer.begin());
    inbox_.pop_front();
    return Event::Datagram;
  }

  Ipmi::Clock::time_point Now() const override {
    const std::lock_guard lock(lan_.mutex_);
    return lan_.now_;
  }

  bool IsAsleep() const { return waiting_ && inbox_.empty() && lan_.now_ < until_; }
  Ipmi::Clock::time_point Until() const { return until_; }
  void Deliver(std::vector<u8> datagram) { inbox_.push_back(std::move(datagram)); }

 private:
  VirtualLan& lan_;
  std::deque<std::vector<u8>> inbox_;
  bool waiting_ = false;
  Ipmi::Clock::time_point until_{};
};

VirtualLan::VirtualLan(VirtualBmc& bmc, const PathConditions& conditions)
    : bmc_(bmc), conditions_(conditions), random_(conditions.seed) {}

std::unique_ptr<Ipmi::DatagramPort> VirtualLan::MakePort() {
  return std::make_unique<Port>(*this);
}

milliseconds VirtualLan::Elapsed() {
  const std::lock_guard lock(mutex_);
  return std::chrono::duration_cast<milliseconds>(now_ - Time(std::chrono::hours(1)));
}

void VirtualLan::Travel(bool toServer, const std::vector<u8>& datagram, const std::function<void()>& arrive) {
  const auto chance = [&](unsigned percent) { return random_() % 100 < percent; };
  const bool lost = chance(conditions_.lostPercent) || (loses && loses(toServer, datagram));
  const int copies = lost ? 0 : (chance(conditions_.doubledPercent) ? 2 : 1);
  for (int copy = 0; copy < copies; ++copy) {
    const auto jitter = milliseconds(random_() % (static_cast<unsigned>(conditions_.jitter.count()) + 1));
    Schedule(now_ + conditions_.roundTrip / 2 + jitter, arrive);
  }
}

void VirtualLan::Serve(Port* client, std::vector<u8> datagram) {
  busyUntil_ = std::max(busyUntil_, now_) + conditions_.service;
  Schedule(busyUntil_, [this, client, datagram = std::move(datagram)] {
    for (const std::vector<u8>& reply : bmc_.Answer(datagram)) {
      Travel(false, reply, [this, client, reply] {
        if (std::find(ports_.begin(), ports_.end(), client) != ports_.end()) {
          client->Deliver(reply);
        }
      });
    }
  });
}

void VirtualLan::Drain() {
  const std::lock_guard lock(mutex_);
  while (!events_.empty()) {
    const Event event = events_.top();
    events_.pop();
    now_ = std::max(now_, event.due);
    event.run();
  }
}

void VirtualLan::Advance() {
  Time next = Time::max();
  for (const Port* port : ports_) {
    next = std::min(next, port->Until());
  }
  if (!events_.empty() && events_.top().due <= next) {
    const Event event = events_.top();
    events_.pop();
    now_ = std::max(now_, event.due);
    event.run();
  } else {
    now_ = std::max(now_, next);
  }
}

}  // namespace Kelvar::Test

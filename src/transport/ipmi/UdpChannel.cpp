#include "transport/ipmi/UdpChannel.h"

#include <algorithm>

#include <openssl/crypto.h>

namespace Kelvar::Ipmi {
namespace {

/// Larger datagrams are not replies to anything this library asks.
constexpr std::size_t kLargestDatagram = 4096;
/// A buffer that grows would leave bytes behind that nobody wipes.
constexpr std::size_t kLargestRequest = 512;

}  // namespace

UdpChannel::UdpChannel(std::unique_ptr<DatagramPort> port) : port_(std::move(port)) {
  outgoing_.reserve(kLargestRequest);
}

UdpChannel::~UdpChannel() {
  Close();
}

bool UdpChannel::Open(const Endpoint& endpoint) {
  Close();
  incoming_.resize(kLargestDatagram);
  roundTrip_.Forget();
  pathDoubles_ = false;
  RestartSilence();
  return port_->Open(endpoint);
}

void UdpChannel::Close() noexcept {
  // IPMI 1.5 can put the password itself into packets, both ways.
  outgoing_.resize(outgoing_.capacity());
  OPENSSL_cleanse(outgoing_.data(), outgoing_.size());
  outgoing_.clear();
  OPENSSL_cleanse(incoming_.data(), incoming_.size());
  port_->Close();
}

void UdpChannel::Post(ByteView packet) noexcept {
  port_->Send(packet);
}

void UdpChannel::Pause(Clock::time_point until) {
  const IpmiTimings timings;
  Listen(until, {timings, until}, [](std::span<u8>) { return std::nullopt; });
}

ExchangeResult UdpChannel::Exchange(const ExchangeOptions& options, const MakeCopy& make, const TakeReply& take) {
  sentAt_.clear();
  answered_ = 0;
  const auto silent = lastReply_ + Milliseconds(options.timings.limitMs) + roundTrip_.Backlog();
  const auto end = std::min(options.deadline, silent);
  for (u32 index = 0; index < options.Tries(); ++index) {
    const auto now = Now();
    if (now >= end) {
      break;
    }
    outgoing_.clear();
    make(outgoing_, index);
    Post(outgoing_);
    sentAt_.push_back(now);
    ++totalTransmissions_;
    const auto until = std::min(now + WaitAfter(options, index), end);
    const ExchangeResult result = Listen(until, options, take);
    if (result == ExchangeResult::Reply && options.lastReplyCounts) {
      AwaitLastReply(options, take);
    }
    if (result != ExchangeResult::Timeout) {
      return result;
    }
  }
  return ExchangeResult::Timeout;
}

void UdpChannel::Transmit(const std::function<void(Bytes& packet)>& make) {
  outgoing_.clear();
  make(outgoing_);
  Post(outgoing_);
  ++totalTransmissions_;
}

bool UdpChannel::Await(Clock::time_point until, const std::function<bool(std::span<u8>)>& take) {
  std::size_t size = 0;
  do {
    if (port_->Receive(until, incoming_, size) == DatagramPort::Event::Datagram &&
        take(std::span(incoming_).first(size))) {
      RestartSilence();
      return true;
    }
  } while (Now() < until);
  return false;
}

ExchangeResult UdpChannel::Listen(Clock::time_point until, const ExchangeOptions& options, const TakeReply& take) {
  for (;;) {
    std::size_t size = 0;
    const DatagramPort::Event event = port_->Receive(until, incoming_, size);
    if (event == DatagramPort::Event::Timeout) {
      return ExchangeResult::Timeout;
    }
    if (event == DatagramPort::Event::PortClosed) {
      if (options.stopWhenPortClosed) {
        return ExchangeResult::PortUnreachable;
      }
    } else if (const auto copy = take(std::span(incoming_).first(size)); copy && *copy < sentAt_.size()) {
      NoteReply(*copy, options);
      return ExchangeResult::Reply;
    }
    if (Now() >= until) {
      return ExchangeResult::Timeout;
    }
  }
}

Clock::duration UdpChannel::WaitAfter(const ExchangeOptions& options, u32 index) const {
  return options.elsewhere ? Milliseconds(options.timings.bridgedWaitMs << std::min(index, 8U))
                           : roundTrip_.WaitAfter(options.timings, index);
}

void UdpChannel::NoteReply(u32 copy, const ExchangeOptions& options) {
  lastReply_ = Now();
  if (options.elsewhere) {
    return;
  }
  if (++answered_ == 1) {
    roundTrip_.Add(lastReply_ - sentAt_[copy]);
  }
  roundTrip_.SetBacklog(static_cast<u32>(sentAt_.size()) - 1 - copy);
}

void UdpChannel::AwaitLastReply(const ExchangeOptions& options, const TakeReply& take) {
  constexpr Milliseconds kLeast(20);
  const auto first = lastReply_ - sentAt_.front();
  const auto wait = std::max<Clock::duration>({kLeast, roundTrip_.Expected() + roundTrip_.Backlog(), first});
  const auto until = std::min(sentAt_.back() + wait, options.deadline);
  const auto missing = [&] { return pathDoubles_ || answered_ < sentAt_.size(); };
  while (missing() && Now() < until && Listen(until, options, take) == ExchangeResult::Reply) {
  }
}

}  // namespace Kelvar::Ipmi

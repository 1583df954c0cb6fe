#pragma once

#include <deque>
#include <span>

#include "transport/ipmi/CommandExchange.h"

namespace Kelvar::Ipmi {

/// One run of several commands in a session: sends as many as the window allows, and takes their replies.
///
/// A reply that is missing, out of order or busy makes the window fall: then nothing more is sent, and what is under
/// way is waited for.
class CommandPipeline {
 public:
  CommandPipeline(UdpChannel& channel, CommandExchange& exchange, LanSession& session, CommandWindow& window)
      : channel_(channel), exchange_(exchange), session_(session), window_(window) {}

  void Run(const ExchangeOptions& options, std::span<QueuedCommand> commands);

 private:
  struct UnderWay {
    std::size_t index;
    u8 sequence;
    Clock::time_point sentAt;
    bool alone;  ///< sent while nothing else was under way
  };

  void SendNext();
  bool Take(std::span<u8> datagram);
  void Answer(const std::deque<UnderWay>::iterator& answered, Reply reply);
  void Fall();

  UdpChannel& channel_;
  CommandExchange& exchange_;
  LanSession& session_;
  CommandWindow& window_;
  std::span<QueuedCommand> commands_;
  std::size_t next_ = 0;
  std::deque<UnderWay> underWay_;
  bool fallen_ = false;
};

}  // namespace Kelvar::Ipmi

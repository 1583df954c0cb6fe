#include "transport/ipmi/CommandPipeline.h"

#include <algorithm>
#include <chrono>

#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Ipmi {
namespace {

/// The target has more to do than it can.
bool IsBusyReply(const IPMICOMMAND& command, const Reply& reply) {
  return IsBusyCode(reply.completionCode) || IsBusyFru(command, reply.completionCode);
}

}  // namespace

void CommandPipeline::Run(const ExchangeOptions& options, std::span<QueuedCommand> commands) {
  commands_ = commands;
  const auto replyWait = channel_.ReplyWait(options.timings);
  auto heard = channel_.Now();
  for (;;) {
    while (!fallen_ && next_ < commands_.size() && underWay_.size() < window_.Size() &&
           channel_.Now() < options.deadline) {
      SendNext();
    }
    if (underWay_.empty()) {
      return;
    }
    const auto until = std::min(std::max(heard, underWay_.front().sentAt) + replyWait, options.deadline);
    if (!channel_.Await(until, [this](std::span<u8> datagram) { return Take(datagram); })) {
      Fall();
      return;
    }
    heard = channel_.Now();
  }
}

void CommandPipeline::SendNext() {
  const IPMICOMMAND command = exchange_.reservations_[{}].Renewed(commands_[next_].command);
  const bool alone = underWay_.empty();
  channel_.Transmit([&](Bytes& packet) { exchange_.MakePacket(session_, {}, command, packet); });
  underWay_.push_back({next_++, exchange_.sequence_, channel_.Now(), alone});
}

bool CommandPipeline::Take(std::span<u8> datagram) {
  const auto message = session_.Unwrap(datagram);
  auto received = message ? DecodeReply(*message) : std::nullopt;
  if (!received) {
    return false;
  }
  exchange_.reservations_[{}].Note(*received, session_.LastSequence());
  const auto answered = std::find_if(underWay_.begin(), underWay_.end(), [&](const UnderWay& one) {
    const IPMICOMMAND& command = commands_[one.index].command;
    return one.sequence == received->key.sequence && command.netFn == received->key.netFn &&
           command.command == received->key.command;
  });
  if (answered == underWay_.end()) {
    return false;
  }
  Answer(answered, std::move(received->reply));
  return true;
}

void CommandPipeline::Answer(const std::deque<UnderWay>::iterator& answered, Reply reply) {
  QueuedCommand& queued = commands_[answered->index];
  const auto taken = channel_.Now() - answered->sentAt;
  if (answered->alone) {
    channel_.NoteRoundTrip(taken);
  }
  if (answered != underWay_.begin() || IsBusyReply(queued.command, reply)) {
    Fall();
  } else if (!fallen_) {
    window_.NoteInOrder();
  }
  queued.answered = true;
  queued.completionCode = reply.completionCode;
  queued.response = std::move(reply.data);
  queued.seconds = std::chrono::duration<double>(taken).count();
  underWay_.erase(answered);
}

void CommandPipeline::Fall() {
  if (!fallen_) {
    fallen_ = true;
    window_.Fall();
  }
}

}  // namespace Kelvar::Ipmi

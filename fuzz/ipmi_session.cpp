// Sessions over LAN from the first question to the last command, with a service processor that can make what is
// authentic and spoils it, repeats it or keeps quiet as the input says. The first byte chooses the cipher suite.

#include <algorithm>
#include <vector>

#include <kelvar/Log.h>

#include "ScriptedBmc.h"
#include "transport/ipmi/IpmiClient.h"
#include "transport/ipmi/UdpChannel.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

namespace {

Fuzz::ScriptedBmc* bmc = nullptr;
/// An authentic answer.
struct Answer {
  Bytes packet;
  bool secured;
  Reply told;
  std::size_t request;  ///< number of the exchange it belongs to
};

std::vector<Answer> answers;
std::size_t exchanges = 0;
std::optional<Reply> taken;  ///< what the last answer that the library took tells; nothing when it was none of these

enum class Step { Right, Spoiled, Raw, Repeated, Quiet };

Step NextStep() {
  const u8 byte = bmc->Script().U8();
  return byte < 0xE0 ? Step::Right : static_cast<Step>(1 + byte % 4);
}

void Spoil(Bytes& packet) {
  for (unsigned left = bmc->Script().U8() % 4U + 1; left > 0 && !packet.empty(); --left) {
    const u8 position = bmc->Script().U8();
    packet[position % packet.size()] = bmc->Script().U8();
  }
  if (bmc->Script().U8() >= 0xE0) {
    packet.resize(std::min<std::size_t>(packet.size(), bmc->Script().U8()));
  }
}

/// Behind the RMCP header, which no code protects.
bool SameInside(const Bytes& one, const Bytes& other) {
  return one.size() == other.size() && std::equal(one.begin() + std::min<long>(4, std::ssize(one)), one.end(),
                                                  other.begin() + std::min<long>(4, std::ssize(one)));
}

/// One datagram, which `accept` may take.
bool Deliver(Step step, const std::function<bool(std::span<u8>)>& accept) {
  Bytes datagram = answers.back().packet;
  if (step == Step::Repeated) {
    datagram = answers[bmc->Script().U8() % answers.size()].packet;
  } else if (step == Step::Spoiled) {
    Spoil(datagram);
  } else if (step == Step::Raw) {
    const ByteView raw = bmc->Script().Bytes(std::min<std::size_t>(bmc->Script().U8(), bmc->Script().Remaining()));
    datagram.assign(raw.begin(), raw.end());
  }
  const auto fits = [&](const Answer& answer) {
    return answer.request == exchanges && SameInside(answer.packet, datagram);
  };
  const auto answer = std::find_if(answers.begin(), answers.end(), fits);
  if (!accept(datagram)) {
    return false;
  }
  FUZZ_CHECK(answer != answers.end() || !answers.back().secured);
  taken = answer != answers.end() ? std::optional(answer->told) : std::nullopt;
  return true;
}

}  // namespace

// Stands for the channel of the library, which the linker then leaves out.
namespace Kelvar::Ipmi {

std::vector<Endpoint> Resolve(const std::string& /*host*/, const std::string& /*port*/) {
  return std::vector<Endpoint>(1);
}

bool UdpChannel::Open(const Endpoint& /*endpoint*/) {
  return true;
}

void UdpChannel::Close() noexcept {}

void UdpChannel::Post(ByteView /*packet*/) noexcept {}

ExchangeResult UdpChannel::Exchange(const ExchangeOptions& options, const std::function<void(Bytes&)>& make,
                                    const std::function<bool(std::span<u8>)>& accept) {
  ++exchanges;
  for (u32 index = 0; index < options.timings.tries; ++index) {
    outgoing_.clear();
    make(outgoing_);
    Bytes packet = bmc->AnswerTo(outgoing_);
    answers.push_back({std::move(packet), bmc->Secured(), bmc->Told(), exchanges});
    Step step = NextStep();
    // Two datagrams at most come for one packet.
    for (int count = 0; count < 2 && step != Step::Quiet && bmc->Script().Remaining() > 0; ++count) {
      if (Deliver(step, accept)) {
        return ExchangeResult::Reply;
      }
      step = NextStep();
    }
  }
  return options.stopWhenPortClosed && bmc->Script().U8() >= 0x80 ? ExchangeResult::PortUnreachable
                                                                  : ExchangeResult::Timeout;
}

}  // namespace Kelvar::Ipmi

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  if (size == 0) {
    return 0;
  }
  Fuzz::ScriptedBmc scripted({data + 1, size - 1});
  bmc = &scripted;
  answers.clear();
  taken.reset();
  IpmiClient client("bmc", Fuzz::ScriptedBmc::kUser, Fuzz::ScriptedBmc::kPassword, "623", data[0]);
  const CONNECTIONSTATE state = client.connect();
  FUZZ_CHECK(state == IPMICONNECTED || state == IPMIAUTHFAIL || state == IPMICONNECTFAIL);
  for (int round = 0; round < 8 && bmc->Script().Remaining() > 0; ++round) {
    std::vector<u8> response;
    u8 completionCode = 0;
    const int failure = client.send({0x01, {1, 2, 3}, 0x06}, response, completionCode);
    FUZZ_CHECK(failure == 0 || (response.empty() && completionCode == 0xFF));
    FUZZ_CHECK(failure == 0 || state != IPMICONNECTED || failure != 1);
    FUZZ_CHECK(failure != 0 || state == IPMICONNECTED);
    FUZZ_CHECK(failure != 0 || !taken || (taken->completionCode == completionCode && taken->data == response));
  }
  client.disconnect();
  return 0;
}

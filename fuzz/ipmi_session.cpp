// Sessions over LAN from the first question to the last command, with a service processor that can make what is
// authentic and spoils it, repeats it or keeps quiet as the input says: single commands, several ahead, one to a
// satellite. The first byte chooses the kind of session and the cipher suite.

#include <algorithm>
#include <vector>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/Log.h>

#include "fuzz/ScriptedBmc.h"
#include "transport/ipmi/CommandWindow.h"
#include "transport/ipmi/DatagramPort.h"
#include "transport/ipmi/IpmiClient.h"
#include "transport/ipmi/LanTransport.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

namespace {

/// An authentic answer.
struct Answer {
  Bytes packet;
  bool secured;
  Reply told;
};

enum class Step { Right, Spoiled, Raw, Repeated, Quiet };

/// The network and the service processor, in a time that passes only in waits.
class ScriptedPort final : public DatagramPort {
 public:
  ScriptedPort(Fuzz::ScriptedBmc& bmc, std::vector<Answer>& answers) : bmc_(bmc), answers_(answers) {}

  bool Open(const Endpoint& /*endpoint*/) override { return true; }
  void Close() noexcept override {}
  void Send(ByteView packet) noexcept override {
    Bytes answer = bmc_.AnswerTo({packet.begin(), packet.end()});
    answers_.push_back({std::move(answer), bmc_.Secured(), bmc_.Told()});
    deliveries_ = 2;
  }
  Event Receive(Clock::time_point until, std::span<u8> buffer, std::size_t& size) override {
    const Step step = deliveries_ > 0 && bmc_.Script().Remaining() > 0 ? NextStep() : Step::Quiet;
    deliveries_ = step == Step::Quiet ? 0 : deliveries_ - 1;
    if (step == Step::Quiet) {
      now_ = std::max(now_, until);
      return bmc_.Script().U8() >= 0xF0 ? Event::PortClosed : Event::Timeout;
    }
    const Bytes datagram = Make(step);
    size = std::min(datagram.size(), buffer.size());
    std::copy_n(datagram.begin(), size, buffer.begin());
    return Event::Datagram;
  }
  Clock::time_point Now() const override { return now_; }

 private:
  Step NextStep() {
    const u8 byte = bmc_.Script().U8();
    return byte < 0xE0 ? Step::Right : static_cast<Step>(1 + byte % 4);
  }

  void Spoil(Bytes& packet) {
    for (unsigned left = bmc_.Script().U8() % 4U + 1; left > 0 && !packet.empty(); --left) {
      const u8 position = bmc_.Script().U8();
      packet[position % packet.size()] = bmc_.Script().U8();
    }
    if (bmc_.Script().U8() >= 0xE0) {
      packet.resize(std::min<std::size_t>(packet.size(), bmc_.Script().U8()));
    }
  }

  Bytes Make(Step step) {
    Bytes datagram = answers_.back().packet;
    if (step == Step::Repeated) {
      datagram = answers_[bmc_.Script().U8() % answers_.size()].packet;
    } else if (step == Step::Spoiled) {
      Spoil(datagram);
    } else if (step == Step::Raw) {
      const ByteView raw = bmc_.Script().Bytes(std::min<std::size_t>(bmc_.Script().U8(), bmc_.Script().Remaining()));
      datagram.assign(raw.begin(), raw.end());
    }
    return datagram;
  }

  Fuzz::ScriptedBmc& bmc_;
  std::vector<Answer>& answers_;
  int deliveries_ = 0;
  Clock::time_point now_{std::chrono::hours(1)};
};

ConnectionOptions OptionsFor(u8 choice) {
  ConnectionOptions options;
  options.ipmi_session = choice == 0x15   ? ConnectionOptions::IpmiSession::Ipmi15Md5
                         : choice == 0x16 ? ConnectionOptions::IpmiSession::Ipmi15Password
                                          : ConnectionOptions::IpmiSession::RmcpPlus;
  return options;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Log::SetMinLogLevel(0);
  if (size == 0) {
    return 0;
  }
  CommandWindow::ForgetAll();
  Fuzz::ScriptedBmc bmc({data + 1, size - 1});
  std::vector<Answer> answers;
  const ConnectionOptionsScope scope(OptionsFor(data[0]));
  IpmiClient client(LanTarget{"127.0.0.1", Fuzz::ScriptedBmc::kUser, Fuzz::ScriptedBmc::kPassword, "623", data[0]},
                    std::make_unique<ScriptedPort>(bmc, answers));
  const CONNECTIONSTATE state = client.connect();
  FUZZ_CHECK(state == IPMICONNECTED || state == IPMIAUTHFAIL || state == IPMICONNECTFAIL);
  for (int round = 0; round < 8 && bmc.Script().Remaining() > 0; ++round) {
    const std::size_t before = answers.size();
    std::vector<u8> response;
    u8 completionCode = 0;
    const int failure = client.send({0x01, {1, 2, 3}, 0x06}, response, completionCode);
    FUZZ_CHECK(failure == 0 || (response.empty() && completionCode == 0xFF));
    FUZZ_CHECK(failure == 0 || state != IPMICONNECTED || failure != 1);
    FUZZ_CHECK(failure != 0 || state == IPMICONNECTED);
    // What the target has authenticated is what the caller gets, and of this request.
    const auto isTold = [&](const Answer& answer) {
      return !answer.secured || (answer.told.completionCode == completionCode && answer.told.data == response);
    };
    FUZZ_CHECK(failure != 0 ||
               std::any_of(answers.begin() + static_cast<std::ptrdiff_t>(before), answers.end(), isTold));
  }
  const std::size_t before = answers.size();
  std::vector<QueuedCommand> ahead(6, {{0x01, {1, 2, 3}, 0x06}});
  client.SendAhead(ahead);
  for (const QueuedCommand& queued : ahead) {
    const auto isTold = [&queued](const Answer& answer) {
      return !answer.secured ||
             (answer.told.completionCode == queued.completionCode && answer.told.data == queued.response);
    };
    FUZZ_CHECK(!queued.answered || state == IPMICONNECTED);
    FUZZ_CHECK(!queued.answered ||
               std::any_of(answers.begin() + static_cast<std::ptrdiff_t>(before), answers.end(), isTold));
  }
  std::vector<u8> response;
  u8 completionCode = 0;
  const int failure = client.SendTo({0x2C, 0, 1}, {0x01, {1, 2, 3}, 0x06}, response, completionCode);
  FUZZ_CHECK(failure == 0 || response.empty());
  client.disconnect();
  return 0;
}

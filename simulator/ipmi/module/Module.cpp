// What ipmi_sim loads: answers the OEM commands of the modelled machine, and bends the standard ones where its data
// say so. Options: the path of the reply table, a blank, the number of a descriptor to which "ready" or an error goes.

#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include <time.h>
#include <unistd.h>

#include <OpenIPMI/serv.h>
extern "C" {
#include <OpenIPMI/mcserv.h>  // has no linkage of its own
}

#include "simulator/ipmi/module/Bridge.h"
#include "simulator/ipmi/module/CipherSuite17.h"
#include "simulator/ipmi/module/DelayedLine.h"
#include "simulator/ipmi/module/ReplyTable.h"

namespace {

using namespace Kelvar::Simulator;

std::unique_ptr<ReplyTable> table;
int reportDescriptor = -1;
bool allCommandsTaken = false;

/// A request to a satellite that ipmi_sim works on.
std::optional<BridgedRequest> handedOn;

/// The descriptor stays open: its end tells the service that this process has ended.
void Report(const std::string& line) {
  if (reportDescriptor >= 0) {
    (void)!write(reportDescriptor, line.data(), line.size());
  }
}

void Wait(unsigned milliseconds) {
  if (milliseconds == 0) {
    return;  // even a pause of 0 takes a switch to another thread and back
  }
  const timespec pause{static_cast<time_t>(milliseconds / 1000), static_cast<long>(milliseconds % 1000) * 1000000L};
  nanosleep(&pause, nullptr);
}

void Answer(channel_t* channel, msg_t* message, Bytes answer) {
  rsp_msg_t response{};
  response.netfn = static_cast<Kelvar::u8>(message->netfn | 1);
  response.cmd = message->cmd;
  response.data = answer.data();
  response.data_len = static_cast<unsigned short>(answer.size());
  channel->return_rsp(channel, message, &response);
}

constexpr int kHandled = 1;
constexpr int kStandardHandling = 0;

constexpr Kelvar::u8 kNetFnApplication = 0x06;
constexpr Kelvar::u8 kSendMessage = 0x34;

/// Answers of the module itself pass HandleResponse too.
bool ownAnswer = false;

void AnswerOf(channel_t* channel, msg_t* message, Bytes answer) {
  ownAnswer = true;
  Answer(channel, message, std::move(answer));
  ownAnswer = false;
}

/// The satellite's reply as a message of its own.
void AnswerOfSatellite(channel_t* channel, const msg_t& outer, const BridgedRequest& request, const Bytes& reply) {
  msg_t inner = outer;
  inner.netfn = request.netFn;
  inner.cmd = request.command;
  inner.rs_addr = request.address;
  inner.rs_lun = request.lun;
  inner.rq_seq = request.sequence;
  AnswerOf(channel, &inner, reply);
}

void Deliver(channel_t* channel, msg_t* message, const BridgedRequest& request, const Bytes& reply) {
  Bytes acknowledgement{0};
  switch (table->BridgingOf(request.address).value_or(Bridging::AckFirst)) {
    case Bridging::AckFirst:
      AnswerOf(channel, message, acknowledgement);
      AnswerOfSatellite(channel, *message, request, reply);
      break;
    case Bridging::ReplyFirst:
      AnswerOfSatellite(channel, *message, request, reply);
      AnswerOf(channel, message, acknowledgement);
      break;
    case Bridging::Embedded: {
      const Bytes inner = request.Message(reply);
      acknowledgement.insert(acknowledgement.end(), inner.begin(), inner.end());
      AnswerOf(channel, message, std::move(acknowledgement));
      break;
    }
  }
}

int HandleBridged(channel_t* channel, msg_t* message, BridgedRequest request) {
  const Rule* rule = table->Take({request.netFn, request.command, request.data, request.address, request.lun});
  if (rule != nullptr) {
    Wait(rule->delayMs);
  }
  if (rule != nullptr && rule->silent) {
    AnswerOf(channel, message, {0});
    return kHandled;
  }
  if (rule != nullptr && rule->reply) {
    Deliver(channel, message, request, *rule->reply);
    return kHandled;
  }
  handedOn = std::move(request);
  return kStandardHandling;
}

int Handle(channel_t* channel, msg_t* message) {
  const std::span<const Kelvar::u8> data(message->data, message->len);
  Wait(table->LatencyMs());
  handedOn.reset();
  if (message->netfn == kNetFnApplication && message->cmd == kSendMessage) {
    auto request = BridgedRequest::From(data);
    if (request && table->BridgingOf(request->address)) {
      return HandleBridged(channel, message, std::move(*request));
    }
  }
  if (const Rule* rule = table->Take({message->netfn, message->cmd, data, message->rs_addr, message->rs_lun})) {
    Wait(rule->delayMs);
    if (rule->silent) {
      return kHandled;
    }
    if (rule->reply) {
      Answer(channel, message, *rule->reply);
      return kHandled;
    }
    message->oem_data = reinterpret_cast<long>(rule);
  }
  if (std::optional<Bytes> answer = table->Read(message->netfn, message->cmd, data)) {
    Answer(channel, message, std::move(*answer));
    return kHandled;
  }
  return kStandardHandling;
}

extern "C" int HandleMessage(channel_t* channel, msg_t* message) {
  try {
    return Handle(channel, message);
  } catch (...) {
    return kStandardHandling;
  }
}

/// What ipmi_sim let the satellite say, as satellites of this kind say it.
bool DeliverHandedOn(channel_t* channel, msg_t* message, const Bytes& answer) {
  const auto request = std::exchange(handedOn, std::nullopt);
  const auto reply = request ? ReplyInside(answer) : std::nullopt;
  if (reply) {
    Deliver(channel, message, *request, *reply);
  }
  return reply.has_value();
}

extern "C" int HandleResponse(channel_t* channel, msg_t* message, rsp_msg_t* response) {
  if (ownAnswer) {
    return kStandardHandling;
  }
  try {
    Bytes answer(response->data, response->data + response->data_len);
    if (DeliverHandedOn(channel, message, answer)) {
      return kHandled;
    }
    table->CutToRecord(message->netfn, message->cmd, {message->data, message->len}, answer);
    table->StampEvent(message->netfn, message->cmd, answer);
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is what the server keeps for its modules
    if (const auto* rule = reinterpret_cast<const Rule*>(message->oem_data)) {
      rule->Alter(answer);
    }
    std::copy(answer.begin(), answer.end(), response->data);
    response->data_len = static_cast<unsigned short>(answer.size());
  } catch (...) {
  }
  return kStandardHandling;
}

lanserv_data_t* LanOf(channel_t* channel) {
  return reinterpret_cast<lanserv_data_t*>(reinterpret_cast<char*>(channel) - offsetof(lanserv_data_t, channel));
}

void Attach(sys_data_t* system, channel_t* channel) {
  constexpr unsigned char kMediumLan = 4;
  if (channel == nullptr || channel->medium_type != kMediumLan) {
    return;
  }
  channel->oem.oem_handle_msg = HandleMessage;
  channel->oem.oem_handle_rsp = HandleResponse;
  DelayLine(system, LanOf(channel), table->DelayMs());
  if (const auto seconds = table->SessionTimeout()) {
    LanOf(channel)->default_session_timeout = *seconds;
  }
}

}  // namespace

extern "C" {

/// ipmi_sim stops at the first command it refuses, and says nothing. This one is the last.
int EndOfCommands(emu_out_t* /*out*/, emu_data_t* /*emulator*/, lmc_data_t* /*controller*/, char** /*words*/) {
  allCommandsTaken = true;
  return 0;
}

__attribute__((visibility("default"))) int ipmi_sim_module_print_version(sys_data_t* /*system*/, char* /*options*/) {
  return 0;
}

__attribute__((visibility("default"))) int ipmi_sim_module_init(sys_data_t* /*system*/, const char* options) {
  try {
    std::istringstream words(options);
    std::string file;
    words >> file >> reportDescriptor;
    std::ifstream text(file);
    ipmi_emu_add_cmd("end_of_machine", NOMC, EndOfCommands);
    table = std::make_unique<ReplyTable>(text);
    if (table->ServesSuite(17)) {
      AddCipherSuite17();
    }
    if (!table->ServesSuite(3)) {
      RemoveCipherSuite3();
    }
    return 0;
  } catch (const std::exception& error) {
    Report(error.what());
    return 1;
  }
}

__attribute__((visibility("default"))) int ipmi_sim_module_post_init(sys_data_t* system) {
  for (lmc_data_t* controller : system->ipmb_addrs) {
    if (controller == nullptr) {
      continue;
    }
    channel_t** channels = system->mc_get_channelset(controller);
    for (int number = 0; number < IPMI_MAX_CHANNELS; ++number) {
      Attach(system, channels[number]);
    }
  }
  Report(allCommandsTaken ? "ready" : "it refused a command of machine.emu");
  return 0;
}

}  // extern "C"

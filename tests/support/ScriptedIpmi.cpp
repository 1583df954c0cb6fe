#include "support/ScriptedIpmi.h"

#include <algorithm>
#include <stdexcept>

namespace Kelvar::Test {

namespace {

constexpr u8 kStorage = 0x0A;

Bytes Slice(const Bytes& bytes, std::size_t offset, std::size_t count) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(offset, bytes.size()));
  const auto left = static_cast<std::size_t>(bytes.end() - begin);
  return {begin, begin + static_cast<std::ptrdiff_t>(std::min(count, left))};
}

u8 Low(std::size_t value) {
  return static_cast<u8>(value & 0xFF);
}

u8 High(std::size_t value) {
  return static_cast<u8>((value >> 8) & 0xFF);
}

}  // namespace

CONNECTIONSTATE ScriptedTransport::connect() {
  ++target_.connects;
  if (target_.connectException) {
    throw IpmiException(*target_.connectException);
  }
  return target_.connectState;
}

void ScriptedTransport::disconnect() {
  ++target_.disconnects;
  if (target_.disconnectThrows) {
    throw IpmiException("disconnect failed");
  }
}

int ScriptedTransport::SendTo(const Ipmi::ControllerAddress& to, const IPMICOMMAND& command, std::vector<u8>& response,
                              u8& completionCode) {
  ScriptedIpmi* target = target_.At(to.address, to.lun);
  if (target == nullptr) {
    completionCode = 0x83;
    return Ipmi::kSendNotHandedOn;
  }
  target->commands.push_back(command);
  IpmiAnswer answer = target->Execute(command);
  if (target_.spoil) {
    target_.spoil(command, answer);
  }
  if (answer.exception) {
    throw IpmiException(*answer.exception);
  }
  if (answer.otherException) {
    throw std::runtime_error("not an IpmiException");
  }
  response = answer.data;
  completionCode = answer.completionCode;
  return answer.sent;
}

void ScriptedTransport::SendAhead(std::span<Ipmi::QueuedCommand> commands) {
  for (Ipmi::QueuedCommand& queued : commands.first(std::min(commands.size(), target_.answersAhead))) {
    queued.answered = SendTo({}, queued.command, queued.response, queued.completionCode) == 0;
  }
}

Bytes BytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

IpmiAnswer Reply(Bytes data) {
  IpmiAnswer answer;
  answer.data = std::move(data);
  return answer;
}

IpmiAnswer Refuse(u8 completionCode) {
  IpmiAnswer answer;
  answer.completionCode = completionCode;
  return answer;
}

IpmiAnswer NoExchange(u8 completionCode) {
  IpmiAnswer answer = Refuse(completionCode);
  answer.sent = 1;
  return answer;
}

IpmiAnswer Throw(std::string text) {
  IpmiAnswer answer;
  answer.exception = std::move(text);
  return answer;
}

IpmiAnswer ThrowOther() {
  IpmiAnswer answer;
  answer.otherException = true;
  return answer;
}

void ScriptedIpmi::On(u8 netFn, u8 command, Handler handler) {
  rules_.push_back({netFn, command, std::nullopt, std::move(handler)});
}

void ScriptedIpmi::On(u8 netFn, u8 command, std::vector<IpmiAnswer> answers) {
  On(netFn, command, [answers = std::move(answers), next = std::size_t{0}](const Bytes& /*request*/) mutable {
    return answers[std::min(next++, answers.size() - 1)];
  });
}

void ScriptedIpmi::On(u8 netFn, u8 command, const Bytes& data, std::vector<IpmiAnswer> answers) {
  On(netFn, command, std::move(answers));
  rules_.back().data = data;
}

void ScriptedIpmi::AddFRU(u8 device, Bytes contents) {
  devices_[device] = std::move(contents);
}

void ScriptedIpmi::AddSDR(Bytes record) {
  records_.push_back(std::move(record));
}

Bytes ScriptedIpmi::Locator(u8 device, std::string_view name) {
  const u8 length = static_cast<u8>(11 + name.size());
  const Bytes head = {0x00, 0x00, 0x51, 0x11, length, 0x20, device, 0x80, 0x00, 0x00, 0x10, 0x00, 0x07, device, 0x00};
  return head + Bytes{static_cast<u8>(0xC0 | (name.size() & 0x1F))} + BytesOf(name);
}

std::unique_ptr<ScriptedTransport> ScriptedIpmi::Transport() {
  return std::make_unique<ScriptedTransport>(*this);
}

ScriptedIpmi& ScriptedIpmi::Elsewhere(u8 address, u8 lun) {
  auto& place = elsewhere_[{address, lun}];
  if (!place) {
    place = std::make_unique<ScriptedIpmi>();
  }
  return *place;
}

ScriptedIpmi* ScriptedIpmi::At(u8 address, u8 lun) {
  if (address == Ipmi::kServiceProcessor && lun == 0) {
    return this;
  }
  const auto place = elsewhere_.find({address, lun});
  return place != elsewhere_.end() ? place->second.get() : nullptr;
}

std::vector<Bytes> ScriptedIpmi::Sent(u8 netFn, u8 command) const {
  std::vector<Bytes> requests;
  for (const IPMICOMMAND& sent : commands) {
    if (sent.netFn == netFn && sent.command == command) {
      requests.push_back(sent.data);
    }
  }
  return requests;
}

IpmiAnswer ScriptedIpmi::Execute(const IPMICOMMAND& command) {
  const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), [&](const Rule& candidate) {
    return candidate.netFn == command.netFn && candidate.command == command.command &&
           (!candidate.data || *candidate.data == command.data);
  });
  if (rule != rules_.rend()) {
    return rule->handler(command.data);
  }
  if (command.netFn == kStorage) {
    switch (command.command) {
      case 0x10:
        return FRUAreaInfo(command.data);
      case 0x11:
        return ReadFRU(command.data);
      case 0x22:
        return ReserveSDR();
      case 0x23:
        return GetSDR(command.data);
      default:
        break;
    }
  }
  return Refuse(0xC1);
}

IpmiAnswer ScriptedIpmi::FRUAreaInfo(const Bytes& request) const {
  const auto device = devices_.find(request.at(0));
  if (device == devices_.end()) {
    return Refuse(0xCB);
  }
  return Reply({Low(device->second.size()), High(device->second.size()), 0x00});
}

IpmiAnswer ScriptedIpmi::ReadFRU(const Bytes& request) const {
  const auto device = devices_.find(request.at(0));
  if (device == devices_.end()) {
    return Refuse(0xCB);
  }
  const std::size_t offset = request.at(1) + std::size_t{request.at(2)} * 256;
  const u8 count = request.at(3);
  if (offset + count > device->second.size()) {
    return Refuse(0xC9);
  }
  return Reply(Bytes{count} + Slice(device->second, offset, count));
}

IpmiAnswer ScriptedIpmi::ReserveSDR() {
  ++reservation_;
  return Reply({Low(reservation_), High(reservation_)});
}

IpmiAnswer ScriptedIpmi::GetSDR(const Bytes& request) {
  if (loseReservationAfter_ == sdrReads_++) {
    ++reservation_;
  }
  if (request.at(0) != Low(reservation_) || request.at(1) != High(reservation_)) {
    return Refuse(0xC5);
  }
  const std::size_t index = request.at(2) + std::size_t{request.at(3)} * 256;
  if (index >= records_.size()) {
    return Refuse(0xCB);
  }
  Bytes record = records_[index];
  record.at(0) = Low(index);
  record.at(1) = High(index);
  const std::size_t next = index + 1 < records_.size() ? index + 1 : 0xFFFF;
  return Reply(Bytes{Low(next), High(next)} + Slice(record, request.at(4), request.at(5)));
}

}  // namespace Kelvar::Test

#include "simulator/ipmi/module/ReplyTable.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

#include "common/text/ByteReader.h"

namespace Kelvar::Simulator {

namespace {

constexpr u8 kNetFnStorage = 0x0A;
constexpr u8 kReadFruData = 0x11;
constexpr u8 kGetSdr = 0x23;
constexpr u8 kGetSelEntry = 0x43;
constexpr u8 kNetFnOem = 0x3A;
constexpr u8 kReadStore = 0x0B;
constexpr u8 kReadPath = 0xC4;

constexpr u8 kCompletionSuccess = 0x00;
constexpr u8 kCompletionLengthInvalid = 0xC7;
constexpr u8 kCompletionOutOfRange = 0xC9;
constexpr u8 kCompletionNotPresent = 0xCB;
constexpr u8 kCompletionInvalidField = 0xCC;

template <typename Number>
Number NumberOf(std::string_view text, int base = 10) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size()) {
    throw std::runtime_error("not a number: " + std::string(text));
  }
  return value;
}

std::vector<std::optional<u8>> PatternOf(std::string_view text) {
  std::vector<std::optional<u8>> pattern;
  if (text == "-") {
    return pattern;
  }
  for (std::size_t at = 0; at < text.size(); at += 2) {
    const std::string_view digits = text.substr(at, 2);
    if (digits.size() != 2) {
      throw std::runtime_error("odd number of hexadecimal digits");
    }
    pattern.push_back(digits == ".." ? std::nullopt : std::optional<u8>(NumberOf<u8>(digits, 16)));
  }
  return pattern;
}

Bytes HexOf(std::string_view text) {
  Bytes bytes;
  for (const std::optional<u8>& byte : PatternOf(text)) {
    if (!byte) {
      throw std::runtime_error("\"..\" is allowed in a pattern only");
    }
    bytes.push_back(*byte);
  }
  return bytes;
}

void SetOption(Rule& rule, const std::string& name, const std::string& value) {
  if (name == "at") {
    rule.address = NumberOf<u8>(value);
  } else if (name == "lun") {
    rule.lun = NumberOf<u8>(value);
  } else if (name == "skip") {
    rule.skip = NumberOf<unsigned>(value);
  } else if (name == "times") {
    rule.times = NumberOf<unsigned>(value);
  } else if (name == "delay") {
    rule.delayMs = NumberOf<unsigned>(value);
  } else if (name == "silent") {
    rule.silent = true;
  } else if (name == "reply") {
    rule.reply = HexOf(value);
  } else if (name == "truncate") {
    rule.truncate = NumberOf<std::size_t>(value);
  } else if (name == "patch") {
    const std::size_t colon = value.find(':');
    rule.patches.emplace_back(NumberOf<std::size_t>(value.substr(0, colon)), HexOf(value.substr(colon + 1)));
  } else {
    throw std::runtime_error("unknown option " + name);
  }
}

Bridging BridgingNamed(const std::string& name) {
  constexpr std::pair<const char*, Bridging> kNames[] = {
      {"ack-first", Bridging::AckFirst}, {"reply-first", Bridging::ReplyFirst}, {"embedded", Bridging::Embedded}};
  for (const auto& [known, bridging] : kNames) {
    if (name == known) {
      return bridging;
    }
  }
  throw std::runtime_error("unknown kind of satellite: " + name);
}

Rule RuleOf(std::istream& words) {
  std::string netFn;
  std::string command;
  std::string prefix;
  words >> netFn >> command >> prefix;
  Rule rule;
  rule.netFn = NumberOf<u8>(netFn, 16);
  rule.command = NumberOf<u8>(command, 16);
  rule.prefix = PatternOf(prefix);
  for (std::string option; words >> option;) {
    const std::size_t equals = std::min(option.find('='), option.size());
    SetOption(rule, option.substr(0, equals), equals < option.size() ? option.substr(equals + 1) : std::string());
  }
  return rule;
}

}  // namespace

bool Rule::Matches(const Request& request) const {
  return netFn == request.netFn && command == request.command && address == request.address &&
         lun.value_or(request.lun) == request.lun && request.data.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), request.data.begin(),
                    [](const std::optional<u8>& wanted, u8 byte) { return !wanted || *wanted == byte; });
}

void Rule::Alter(Bytes& answer) const {
  for (const auto& [offset, bytes] : patches) {
    for (std::size_t i = 0; i < bytes.size() && offset + i < answer.size(); ++i) {
      answer[offset + i] = bytes[i];
    }
  }
  if (truncate && *truncate < answer.size()) {
    answer.resize(*truncate);
  }
}

ReplyTable::ReplyTable(std::istream& text) {
  unsigned number = 0;
  for (std::string line; std::getline(text, line);) {
    ++number;
    try {
      ReadLine(line);
    } catch (const std::exception& error) {
      throw std::runtime_error("reply table, line " + std::to_string(number) + ": " + error.what());
    }
  }
}

void ReplyTable::ReadLine(const std::string& line) {
  std::istringstream words(line);
  std::string kind;
  std::string first;
  std::string second;
  if (!(words >> kind)) {
    return;
  }
  if (kind == "rule") {
    rules_.push_back(RuleOf(words));
    return;
  }
  words >> first >> second;
  if (kind == "store") {
    std::size_t offset = NumberOf<std::size_t>(first);
    for (const u8 byte : HexOf(second)) {
      store_[offset++] = byte;
    }
  } else if (kind == "path") {
    paths_[first] = HexOf(second);
  } else if (kind == "fru") {
    fruDevices_[NumberOf<unsigned>(first)] = HexOf(second);
  } else if (kind == "record") {
    recordLengths_[NumberOf<unsigned>(first)] = NumberOf<std::size_t>(second);
  } else if (kind == "event") {
    eventTimes_[NumberOf<unsigned>(first)] = HexOf(second);
  } else if (kind == "suites") {
    suites_.clear();
    std::istringstream list(first);
    for (std::string suite; std::getline(list, suite, ',');) {
      suites_.push_back(NumberOf<unsigned>(suite));
    }
  } else if (kind == "satellite") {
    satellites_[NumberOf<u8>(first)] = BridgingNamed(second);
  } else if (kind == "delay") {
    delayMs_ = NumberOf<unsigned>(first);
  } else if (kind == "latency") {
    latencyMs_ = NumberOf<unsigned>(first);
  } else if (kind == "session-timeout") {
    sessionTimeout_ = NumberOf<unsigned>(first);
  } else {
    throw std::runtime_error("unknown entry " + kind);
  }
}

const Rule* ReplyTable::Take(const Request& request) {
  for (Rule& rule : rules_) {
    if (!rule.Matches(request)) {
      continue;
    }
    if (rule.skip > 0) {
      --rule.skip;
    } else if (rule.times > 0) {
      --rule.times;
      return &rule;
    }
  }
  return nullptr;
}

std::optional<Bridging> ReplyTable::BridgingOf(u8 address) const {
  const auto satellite = satellites_.find(address);
  return satellite != satellites_.end() ? std::optional(satellite->second) : std::nullopt;
}

std::optional<Bytes> ReplyTable::Read(u8 netFn, u8 command, std::span<const u8> data) const {
  if (netFn == kNetFnOem && command == kReadStore && !store_.empty()) {
    return ReadStore(data);
  }
  if (netFn == kNetFnOem && command == kReadPath && !paths_.empty()) {
    return ReadPath(data);
  }
  if (netFn == kNetFnStorage && command == kReadFruData) {
    return ReadLongFru(data);
  }
  return std::nullopt;
}

Bytes ReplyTable::ReadStore(std::span<const u8> request) const {
  Text::ByteReader reader(request);
  const std::size_t offset = reader.U16();
  reader.Skip(1);
  const std::size_t count = reader.U8();
  if (!reader.Ok() || reader.Remaining() != 0) {
    return {kCompletionLengthInvalid};
  }
  Bytes answer{kCompletionSuccess};
  for (std::size_t at = offset; at < offset + count; ++at) {
    const auto byte = store_.find(at);
    if (byte == store_.end()) {
      return {kCompletionOutOfRange};
    }
    answer.push_back(byte->second);
  }
  return answer;
}

Bytes ReplyTable::ReadPath(std::span<const u8> request) const {
  constexpr u8 kLengthFlag = 0x80;
  Text::ByteReader reader(request);
  reader.Skip(3);
  const u8 flaggedLength = reader.U8();
  if (!reader.Ok()) {
    return {kCompletionLengthInvalid};
  }
  const std::string path = reader.String(reader.Remaining());
  if (flaggedLength != (kLengthFlag | path.size())) {
    return {kCompletionInvalidField};
  }
  const auto entry = paths_.find(path);
  if (entry == paths_.end()) {
    return {kCompletionNotPresent};
  }
  const Bytes& value = entry->second;
  Bytes answer{kCompletionSuccess, 0, 0, static_cast<u8>(value.size() + 2),
               static_cast<u8>(kLengthFlag | value.size())};
  answer.insert(answer.end(), value.begin(), value.end());
  return answer;
}

std::optional<Bytes> ReplyTable::ReadLongFru(std::span<const u8> request) const {
  constexpr std::size_t kMostOfIpmiSim = 34;
  Text::ByteReader reader(request);
  const auto device = fruDevices_.find(reader.U8());
  const std::size_t offset = reader.U16();
  const std::size_t count = reader.U8();
  if (!reader.Ok() || device == fruDevices_.end() || count <= kMostOfIpmiSim) {
    return std::nullopt;
  }
  const Bytes& image = device->second;
  if (offset >= image.size()) {
    return Bytes{kCompletionOutOfRange};
  }
  const std::size_t given = std::min(count, image.size() - offset);
  Bytes answer{kCompletionSuccess, static_cast<u8>(given)};
  const auto start = image.begin() + static_cast<std::ptrdiff_t>(offset);
  answer.insert(answer.end(), start, start + static_cast<std::ptrdiff_t>(given));
  return answer;
}

void ReplyTable::CutToRecord(u8 netFn, u8 command, std::span<const u8> request, Bytes& answer) const {
  constexpr std::size_t kHeadLength = 3;  // completion code and the next record's ID
  if (netFn != kNetFnStorage || command != kGetSdr || recordLengths_.empty()) {
    return;
  }
  Text::ByteReader reader(request);
  reader.Skip(2);
  const unsigned id = reader.U16();
  const std::size_t offset = reader.U8();
  const auto record = id == 0 ? recordLengths_.begin() : recordLengths_.find(id);
  if (record != recordLengths_.end() && offset <= record->second) {
    answer.resize(std::min(answer.size(), kHeadLength + record->second - offset));
  }
}

void ReplyTable::StampEvent(u8 netFn, u8 command, Bytes& answer) const {
  constexpr std::size_t kTimeAt = 6;  // after completion code, next ID, ID and type
  if (netFn != kNetFnStorage || command != kGetSelEntry || answer.size() < kTimeAt + 4) {
    return;
  }
  Text::ByteReader reader(answer);
  reader.Skip(3);
  const auto time = eventTimes_.find(reader.U16());
  if (time != eventTimes_.end()) {
    std::copy(time->second.begin(), time->second.end(), answer.begin() + kTimeAt);
  }
}

bool ReplyTable::ServesSuite(unsigned suite) const {
  return std::find(suites_.begin(), suites_.end(), suite) != suites_.end();
}

}  // namespace Kelvar::Simulator

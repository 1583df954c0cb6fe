#include "simulator/ipmi/module/ReplyTable.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

#include "common/text/ByteReader.h"

namespace Kelvar::Simulator {

namespace {

constexpr u8 netFnStorage = 0x0A;
constexpr u8 readFruData = 0x11;
constexpr u8 getSdr = 0x23;
constexpr u8 getSelEntry = 0x43;
constexpr u8 netFnOem = 0x3A;
constexpr u8 readStore = 0x0B;
constexpr u8 readPath = 0xC4;

constexpr u8 completionSuccess = 0x00;
constexpr u8 completionLengthInvalid = 0xC7;
constexpr u8 completionOutOfRange = 0xC9;
constexpr u8 completionNotPresent = 0xCB;
constexpr u8 completionInvalidField = 0xCC;

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
      throw std::runtime_error("\"..\" in bytes that are no pattern");
    }
    bytes.push_back(*byte);
  }
  return bytes;
}

void SetOption(Rule& rule, const std::string& name, const std::string& value) {
  if (name == "skip") {
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

bool Rule::Matches(u8 requestNetFn, u8 requestCommand, std::span<const u8> data) const {
  return netFn == requestNetFn && command == requestCommand && data.size() >= prefix.size() &&
         std::equal(prefix.begin(), prefix.end(), data.begin(),
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
  } else if (kind == "latency") {
    latencyMs_ = NumberOf<unsigned>(first);
  } else if (kind == "session-timeout") {
    sessionTimeout_ = NumberOf<unsigned>(first);
  } else {
    throw std::runtime_error("unknown entry " + kind);
  }
}

const Rule* ReplyTable::Take(u8 netFn, u8 command, std::span<const u8> data) {
  for (Rule& rule : rules_) {
    if (!rule.Matches(netFn, command, data)) {
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

std::optional<Bytes> ReplyTable::Read(u8 netFn, u8 command, std::span<const u8> data) const {
  if (netFn == netFnOem && command == readStore && !store_.empty()) {
    return ReadStore(data);
  }
  if (netFn == netFnOem && command == readPath && !paths_.empty()) {
    return ReadPath(data);
  }
  if (netFn == netFnStorage && command == readFruData) {
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
    return {completionLengthInvalid};
  }
  Bytes answer{completionSuccess};
  for (std::size_t at = offset; at < offset + count; ++at) {
    const auto byte = store_.find(at);
    if (byte == store_.end()) {
      return {completionOutOfRange};
    }
    answer.push_back(byte->second);
  }
  return answer;
}

Bytes ReplyTable::ReadPath(std::span<const u8> request) const {
  constexpr u8 lengthFlag = 0x80;
  Text::ByteReader reader(request);
  reader.Skip(3);
  const u8 flaggedLength = reader.U8();
  if (!reader.Ok()) {
    return {completionLengthInvalid};
  }
  const std::string path = reader.String(reader.Remaining());
  if (flaggedLength != (lengthFlag | path.size())) {
    return {completionInvalidField};
  }
  const auto entry = paths_.find(path);
  if (entry == paths_.end()) {
    return {completionNotPresent};
  }
  const Bytes& value = entry->second;
  Bytes answer{completionSuccess, 0, 0, static_cast<u8>(value.size() + 2), static_cast<u8>(lengthFlag | value.size())};
  answer.insert(answer.end(), value.begin(), value.end());
  return answer;
}

std::optional<Bytes> ReplyTable::ReadLongFru(std::span<const u8> request) const {
  constexpr std::size_t mostOfIpmiSim = 34;
  Text::ByteReader reader(request);
  const auto device = fruDevices_.find(reader.U8());
  const std::size_t offset = reader.U16();
  const std::size_t count = reader.U8();
  if (!reader.Ok() || device == fruDevices_.end() || count <= mostOfIpmiSim) {
    return std::nullopt;
  }
  const Bytes& image = device->second;
  if (offset >= image.size()) {
    return Bytes{completionOutOfRange};
  }
  const std::size_t given = std::min(count, image.size() - offset);
  Bytes answer{completionSuccess, static_cast<u8>(given)};
  const auto start = image.begin() + static_cast<std::ptrdiff_t>(offset);
  answer.insert(answer.end(), start, start + static_cast<std::ptrdiff_t>(given));
  return answer;
}

void ReplyTable::CutToRecord(u8 netFn, u8 command, std::span<const u8> request, Bytes& answer) const {
  constexpr std::size_t headLength = 3;  // completion code and the next record's ID
  if (netFn != netFnStorage || command != getSdr || recordLengths_.empty()) {
    return;
  }
  Text::ByteReader reader(request);
  reader.Skip(2);
  const unsigned id = reader.U16();
  const std::size_t offset = reader.U8();
  const auto record = id == 0 ? recordLengths_.begin() : recordLengths_.find(id);
  if (record != recordLengths_.end() && offset <= record->second) {
    answer.resize(std::min(answer.size(), headLength + record->second - offset));
  }
}

void ReplyTable::StampEvent(u8 netFn, u8 command, Bytes& answer) const {
  constexpr std::size_t timeAt = 6;  // after completion code, next ID, ID and type
  if (netFn != netFnStorage || command != getSelEntry || answer.size() < timeAt + 4) {
    return;
  }
  Text::ByteReader reader(answer);
  reader.Skip(3);
  const auto time = eventTimes_.find(reader.U16());
  if (time != eventTimes_.end()) {
    std::copy(time->second.begin(), time->second.end(), answer.begin() + timeAt);
  }
}

bool ReplyTable::ServesSuite(unsigned suite) const {
  return std::find(suites_.begin(), suites_.end(), suite) != suites_.end();
}

}  // namespace Kelvar::Simulator

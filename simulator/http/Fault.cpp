#include "simulator/http/Fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>

#include "simulator/http/HttpMessage.h"

namespace Kelvar::Simulator {

namespace {

std::uint64_t Number(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::invalid_argument("no number: \"" + std::string(text) + '"');
  }
  return number;
}

std::chrono::milliseconds Milliseconds(std::string_view text) {
  constexpr std::uint64_t kHour = 3'600'000;
  return std::chrono::milliseconds(std::min(Number(text), kHour));
}

Fault::End EndOf(std::string_view text) {
  constexpr std::array<std::pair<std::string_view, Fault::End>, 4> kWords{{{"close", Fault::End::Close},
                                                                           {"truncate", Fault::End::Truncate},
                                                                           {"reset", Fault::End::Reset},
                                                                           {"hang", Fault::End::Hang}}};
  for (const auto& [word, end] : kWords) {
    if (word == text) {
      return end;
    }
  }
  throw std::invalid_argument("no way to end a connection: \"" + std::string(text) + '"');
}

void AddHeader(Fault& fault, std::string_view line) {
  const std::size_t colon = line.find(':');
  if (colon == std::string_view::npos) {
    throw std::invalid_argument("no header: \"" + std::string(line) + '"');
  }
  const std::size_t value = std::min(line.find_first_not_of(' ', colon + 1), line.size());
  fault.headers.emplace_back(line.substr(0, colon), line.substr(value));
}

void Redirect(Fault& fault, std::string_view url) {
  fault.status = fault.status.value_or(302);
  fault.headers.emplace_back("Location", url);
}

void RepeatBody(Fault& fault, std::string_view count) {
  constexpr std::uint64_t kMost = 1'000'000'000;
  fault.repeat = std::min(Number(count), kMost);
}

struct Key {
  std::string_view name;
  void (*set)(Fault& fault, std::string_view value);
};

constexpr std::array kKeys{
    Key{"name", [](Fault& fault, std::string_view value) { fault.name = value; }},
    Key{"path", [](Fault& fault, std::string_view value) { fault.path = value; }},
    Key{"method", [](Fault& fault, std::string_view value) { fault.method = value; }},
    Key{"skip", [](Fault& fault, std::string_view value) { fault.skip = Number(value); }},
    Key{"times", [](Fault& fault, std::string_view value) { fault.times = Number(value); }},
    Key{"status", [](Fault& fault, std::string_view value) { fault.status = static_cast<unsigned>(Number(value)); }},
    Key{"header", AddHeader},
    Key{"redirect", Redirect},
    Key{"body", [](Fault& fault, std::string_view value) { fault.body = value; }},
    Key{"repeat", RepeatBody},
    Key{"gzip", [](Fault& fault, std::string_view value) { fault.gzip = Number(value) != 0; }},
    Key{"chunked", [](Fault& fault, std::string_view value) { fault.chunked = Number(value) != 0; }},
    Key{"endless", [](Fault& fault, std::string_view value) { fault.endless = Number(value) != 0; }},
    Key{"content-length", [](Fault& fault, std::string_view value) { fault.contentLength = value; }},
    Key{"header-flood", [](Fault& fault, std::string_view value) { fault.headerFlood = Number(value); }},
    Key{"trailer-flood", [](Fault& fault, std::string_view value) { fault.trailerFlood = Number(value); }},
    Key{"chunk-extension", [](Fault& fault, std::string_view value) { fault.chunkExtension = Number(value); }},
    Key{"garbage", [](Fault& fault, std::string_view value) { fault.garbage = Number(value); }},
    Key{"cim-error", [](Fault& fault, std::string_view value) { fault.cimError = value; }},
    Key{"message-id", [](Fault& fault, std::string_view value) { fault.messageId = value; }},
    Key{"delay", [](Fault& fault, std::string_view value) { fault.delay = Milliseconds(value); }},
    Key{"drip-bytes", [](Fault& fault, std::string_view value) { fault.dripBytes = Number(value); }},
    Key{"drip-ms", [](Fault& fault, std::string_view value) { fault.dripInterval = Milliseconds(value); }},
    Key{"cut", [](Fault& fault, std::string_view value) { fault.cut = Number(value); }},
    Key{"cut-body", [](Fault& fault, std::string_view value) { fault.cutBody = Number(value); }},
    Key{"end", [](Fault& fault, std::string_view value) { fault.end = EndOf(value); }},
};

void SetKey(Fault& fault, std::string_view name, std::string_view value) {
  const auto key = std::find_if(kKeys.begin(), kKeys.end(), [&](const Key& known) { return known.name == name; });
  if (key == kKeys.end()) {
    throw std::invalid_argument("unknown key \"" + std::string(name) + "\" of a fault");
  }
  key->set(fault, value);
}

std::string TextOf(const rapidjson::Value& value) {
  if (value.IsString()) {
    return {value.GetString(), value.GetStringLength()};
  }
  if (value.IsUint64()) {
    return std::to_string(value.GetUint64());
  }
  if (value.IsBool()) {
    return value.GetBool() ? "1" : "0";
  }
  throw std::invalid_argument("a value of a fault is a text, a whole number or a boolean");
}

Fault FaultFrom(const rapidjson::Value& object) {
  if (!object.IsObject()) {
    throw std::invalid_argument("a fault must be an object");
  }
  Fault fault;
  for (const auto& member : object.GetObject()) {
    if (!member.value.IsArray()) {
      SetKey(fault, TextOf(member.name), TextOf(member.value));
      continue;
    }
    for (const auto& element : member.value.GetArray()) {
      SetKey(fault, TextOf(member.name), TextOf(element));
    }
  }
  return fault;
}

bool Concerns(const Fault& fault, std::string_view method, std::string_view subject) {
  if (!fault.method.empty() && fault.method != method) {
    return false;
  }
  if (fault.path.starts_with('@') || subject.starts_with('@')) {
    return fault.path == subject;
  }
  const bool withQuery = fault.path.ends_with('*') || fault.path.find('?') != std::string::npos;
  return MatchesPattern(fault.path, PercentDecode(withQuery ? subject : subject.substr(0, subject.find('?'))));
}

}  // namespace

bool MatchesPattern(std::string_view pattern, std::string_view text) {
  std::size_t star = std::string_view::npos;
  std::size_t resume = 0;
  std::size_t p = 0;
  std::size_t t = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      resume = t;
    } else if (p < pattern.size() && pattern[p] == text[t]) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      p = star + 1;
      t = ++resume;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

void FaultTable::Add(std::string_view text) {
  std::istringstream words{std::string(text)};
  Fault fault;
  if (!(words >> fault.path)) {
    throw std::invalid_argument("a fault begins with the path that it is for");
  }
  std::string key;
  while (words >> std::ws && std::getline(words, key, '=')) {
    std::string value;
    words >> std::quoted(value);
    SetKey(fault, key, value);
  }
  const std::lock_guard lock(mutex_);
  entries_.push_back({std::move(fault)});
}

void FaultTable::AddFile(const std::filesystem::path& file) {
  if (!std::filesystem::exists(file)) {
    return;
  }
  std::ifstream stream(file);
  rapidjson::IStreamWrapper wrapper(stream);
  rapidjson::Document document;
  document.ParseStream<rapidjson::kParseIterativeFlag>(wrapper);
  if (document.HasParseError()) {
    throw std::runtime_error(file.string() + ": " + rapidjson::GetParseError_En(document.GetParseError()));
  }
  const bool hasList = document.IsObject() && document.HasMember("faults") && document["faults"].IsArray();
  if (!hasList) {
    throw std::runtime_error(file.string() + ": no list \"faults\"");
  }
  const std::lock_guard lock(mutex_);
  for (const auto& element : document["faults"].GetArray()) {
    try {
      Fault fault = FaultFrom(element);
      const bool on = fault.name.empty();
      entries_.push_back({std::move(fault), on});
    } catch (const std::invalid_argument& error) {
      throw std::runtime_error(file.string() + ": " + error.what());
    }
  }
}

void FaultTable::Load(const std::vector<std::string>& wanted, const std::filesystem::path& file) {
  const auto isName = [](const std::string& text) { return text.find(' ') == std::string::npos; };
  for (const std::string& text : wanted) {
    if (!isName(text)) {
      Add(text);
    }
  }
  AddFile(file);
  for (const std::string& text : wanted) {
    if (isName(text)) {
      SwitchOn(text);
    }
  }
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [](const Entry& entry) { return !entry.on; });
  entries_.shrink_to_fit();
}

void FaultTable::SwitchOn(const std::string& name) {
  const std::lock_guard lock(mutex_);
  bool known = false;
  for (Entry& entry : entries_) {
    const bool named = entry.fault.name == name;
    entry.on = entry.on || named;
    known = known || named;
  }
  if (!known) {
    throw std::invalid_argument("no fault is named \"" + name + '"');
  }
}

std::optional<Fault> FaultTable::Match(std::string_view method, std::string_view subject) {
  const std::lock_guard lock(mutex_);
  for (Entry& entry : entries_) {
    const std::uint64_t last = entry.fault.skip + entry.fault.times;
    const bool usedUp = entry.fault.times > 0 && entry.met >= last;
    if (!entry.on || usedUp || !Concerns(entry.fault, method, subject)) {
      continue;
    }
    if (entry.met++ >= entry.fault.skip) {
      return entry.fault;
    }
  }
  return std::nullopt;
}

}  // namespace Kelvar::Simulator

#include "simulator/fleet/FleetIdentity.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

#include <fmt/format.h>

#include "simulator/redfish/JsonBytes.h"

namespace Kelvar::Simulator {

namespace {

/// Followed by the kind as a digit, the word, and "}". In data of machines it would be a fact without a name.
constexpr std::string_view kMark = "${=";

bool Varies(Identity kind) {
  return kind == Identity::Serial || kind == Identity::AssetTag || kind == Identity::Uuid || kind == Identity::Mac ||
         kind == Identity::HostName;
}

std::string MarkOf(Identity kind, std::string_view word) {
  if (!Varies(kind) || word.find('}') != std::string_view::npos) {
    return std::string(word);
  }
  return fmt::format("{}{}{}}}", kMark, static_cast<unsigned>(kind), word);
}

/// The word with `change` added to the number that its last digits are, separators between them left out; empty when
/// it has no such digits.
std::string AddHex(std::string_view word, std::size_t digits, std::uint64_t change) {
  std::string changed(word);
  std::uint64_t carried = change;
  for (auto at = changed.rbegin(); at != changed.rend() && digits > 0; ++at) {
    if (*at == ':' || *at == '-' || *at == '.') {
      continue;
    }
    unsigned digit = 0;
    const char text = *at;
    if (std::from_chars(&text, &text + 1, digit, 16).ec != std::errc()) {
      return {};
    }
    const bool upper = word.find_first_of("ABCDEF") != std::string_view::npos;
    *at = (upper ? "0123456789ABCDEF" : "0123456789abcdef")[(digit + carried) & 0xF];
    carried = (digit + carried) >> 4;
    --digits;
  }
  return digits == 0 ? changed : std::string();
}

/// Marks what is within one string of a JSON text, unless it is a member's name or a path.
void MarkString(std::string_view string, bool isName, const IdentityIndex& words, std::string& into) {
  const bool isPath = string.starts_with("\"/");
  into += isName || isPath ? std::string(string) : Mark(string, words);
}

}  // namespace

std::string Mark(std::string_view text, const IdentityIndex& words) {
  return words.Replace(text, MarkOf);
}

std::string MarkJson(std::string_view json, const IdentityIndex& words) {
  std::string marked;
  for (std::size_t at = 0; at < json.size();) {
    const std::size_t quote = std::min(json.find('"', at), json.size());
    marked += json.substr(at, quote - at);
    at = quote;
    if (at < json.size()) {
      const std::size_t end = JsonText::SkipString(json, at);
      const std::size_t next = json.find_first_not_of(" \t\r\n", end);
      const bool isName = next != std::string_view::npos && json[next] == ':';
      MarkString(json.substr(at, end - at), isName, words, marked);
      at = end;
    }
  }
  return marked;
}

std::string Vary(Identity kind, std::string_view word, std::size_t machine) {
  if (kind == Identity::Uuid) {
    constexpr std::size_t kDigits = 8;
    if (std::string varied = AddHex(word, kDigits, machine); !varied.empty()) {
      return varied;
    }
  }
  if (kind == Identity::Mac) {
    constexpr std::size_t kDigits = 6;
    constexpr std::size_t kPortsOfOneMachine = 0x100;
    if (std::string varied = AddHex(word, kDigits, machine * kPortsOfOneMachine); !varied.empty()) {
      return varied;
    }
  }
  const std::size_t end = kind == Identity::HostName ? std::min(word.find('.'), word.size()) : word.size();
  return fmt::format("{}-{:04}{}", word.substr(0, end), machine, word.substr(end));
}

std::string PutIdentity(std::string_view marked, std::size_t machine) {
  std::string personal;
  for (std::size_t mark = marked.find(kMark); mark != std::string_view::npos; mark = marked.find(kMark)) {
    const std::size_t kind = mark + kMark.size();
    const std::size_t end = marked.find('}', kind);
    if (end == std::string_view::npos) {
      break;
    }
    personal += marked.substr(0, mark);
    personal += Vary(static_cast<Identity>(marked[kind] - '0'), marked.substr(kind + 1, end - kind - 1), machine);
    marked.remove_prefix(end + 1);
  }
  return personal.append(marked);
}

}  // namespace Kelvar::Simulator

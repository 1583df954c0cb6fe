#include "simulator/machine/IdentityIndex.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace Kelvar::Simulator {

namespace {

struct Key {
  std::string_view ending;
  Identity kind;
};

// By the end of a member's name, in lower case.
constexpr std::array kKeys{Key{"serialnumber", Identity::Serial},
                           Key{"serial", Identity::Serial},
                           Key{"servicetag", Identity::Serial},
                           Key{"assettag", Identity::AssetTag},
                           Key{"uuid", Identity::Uuid},
                           Key{"guid", Identity::Uuid},
                           Key{"macaddress", Identity::Mac},
                           Key{"permanentmacaddress", Identity::Mac},
                           Key{"macaddresses", Identity::Mac},
                           Key{"hostname", Identity::HostName},
                           Key{"fqdn", Identity::HostName},
                           Key{"domainname", Identity::HostName},
                           Key{"address", Identity::Address},
                           Key{"gateway", Identity::Address},
                           Key{"nameservers", Identity::Address},
                           Key{"staticnameservers", Identity::Address},
                           Key{"username", Identity::User},
                           Key{"password", Identity::Secret},
                           Key{"communitystring", Identity::Secret},
                           Key{"communityname", Identity::Secret},
                           Key{"community", Identity::Secret},
                           Key{"licensekey", Identity::Secret},
                           Key{"licensestring", Identity::Secret},
                           Key{"token", Identity::Secret},
                           Key{"secret", Identity::Secret},
                           Key{"encryptionkey", Identity::Secret},
                           Key{"authenticationkey", Identity::Secret}};

constexpr std::array<std::string_view, 13> kPlaceholders{
    "n/a",         "na",    "none", "unknown",        "not specified",          "not available",
    "not present", "empty", "null", "default string", "to be filled by o.e.m.", "no asset information",
    "localhost"};

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

/// Serial numbers and the like, which are not everyday words.
bool IsIdentifier(Identity kind) {
  return kind == Identity::Serial || kind == Identity::Uuid || kind == Identity::Mac;
}

bool StandsAlone(std::string_view text, std::size_t start, std::size_t length) {
  const auto isWord = [&text](std::size_t at) {
    return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
  };
  return !(start > 0 && isWord(start - 1)) && !isWord(start + length);
}

/// "0000...", "0.0.0.0" and "::" name nobody.
bool IsNull(std::string_view value) {
  return value.find_first_not_of("0.:-xX ") == std::string_view::npos;
}

void CollectFrom(const rapidjson::Value& value, std::optional<Identity> kind, IdentityIndex& words) {
  if (value.IsString() && kind) {
    words.Add(*kind, {value.GetString(), value.GetStringLength()});
  } else if (value.IsArray()) {
    for (const auto& element : value.GetArray()) {
      CollectFrom(element, kind, words);
    }
  } else if (value.IsObject()) {
    for (const auto& member : value.GetObject()) {
      CollectFrom(member.value, IdentityOfKey({member.name.GetString(), member.name.GetStringLength()}), words);
    }
  }
}

}  // namespace

std::optional<Identity> IdentityOfKey(std::string_view key) {
  const std::string lower = Lower(key);
  for (const Key& known : kKeys) {
    if (lower.ends_with(known.ending)) {
      return known.kind;
    }
  }
  return std::nullopt;
}

bool IsPlaceholder(std::string_view value) {
  const std::string lower = Lower(value);
  return IsNull(value) || std::find(kPlaceholders.begin(), kPlaceholders.end(), lower) != kPlaceholders.end();
}

void IdentityIndex::Add(Identity kind, std::string_view word) {
  constexpr std::size_t kShortest = 5;
  const bool telling = !IsIdentifier(kind) || word.find_first_of("0123456789") != std::string_view::npos;
  if (word.size() >= kShortest && telling && !IsPlaceholder(word)) {
    words_.emplace(Lower(word), kind);
    longest_ = std::max(longest_, word.size());
  }
}

void IdentityIndex::Collect(const rapidjson::Value& json) {
  CollectFrom(json, std::nullopt, *this);
}

/// Words sort by their bytes: the longest that the text begins with is the last such word that does not sort after it.
IdentityIndex::Words::const_iterator IdentityIndex::LongestAt(std::string_view text) const {
  std::string_view head = text.substr(0, longest_);
  while (!head.empty()) {
    auto next = words_.upper_bound(head);
    if (next == words_.begin()) {
      break;
    }
    const std::string& candidate = (--next)->first;
    if (head.starts_with(candidate)) {
      return next;
    }
    const auto differs = std::mismatch(head.begin(), head.end(), candidate.begin(), candidate.end()).first;
    head = head.substr(0, static_cast<std::size_t>(differs - head.begin()));
  }
  return words_.end();
}

std::string IdentityIndex::Replace(std::string_view text, const Replacement& replacement) const {
  const std::string lower = Lower(text);
  const bool isPath = text.starts_with('/');
  std::string replaced;
  for (std::size_t at = 0; at < text.size();) {
    const auto word = LongestAt(std::string_view(lower).substr(at));
    const std::size_t length = word == words_.end() ? 0 : word->first.size();
    if (length > 0 && (IsIdentifier(word->second) || (!isPath && StandsAlone(lower, at, length)))) {
      replaced += replacement(word->second, text.substr(at, length));
      at += length;
    } else {
      replaced += text[at++];
    }
  }
  return replaced;
}

}  // namespace Kelvar::Simulator

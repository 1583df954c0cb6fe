#include "simulator/record/Mask.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <set>
#include <vector>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>

#include "simulator/record/Secrets.h"

namespace Kelvar::Simulator {

namespace {

constexpr unsigned kParseFlags = rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;

std::string_view Trim(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of(" \t"), text.size());
  return text.substr(start, text.find_last_not_of(" \t") + 1 - start);
}

/// One spelling of a text: without case, and of a MAC address or UUID without separators.
std::string Canonical(Identity kind, std::string_view text) {
  std::string canonical;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool separator = (kind == Identity::Mac || kind == Identity::Uuid) && std::isalnum(byte) == 0;
    if (!separator) {
      canonical += static_cast<char>(std::tolower(byte));
    }
  }
  return canonical;
}

bool IsIpv4(const std::string& text) {
  in_addr address{};
  return inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool IsIpv6(const std::string& text) {
  in6_addr address{};
  return inet_pton(AF_INET6, text.substr(0, text.find_first_of("/%")).c_str(), &address) == 1;
}

std::string MaskOfMac(std::string_view text, std::size_t number) {
  const std::string digits = fmt::format("02000000{:04X}", number & 0xFFFF);
  const auto separator = std::find_if(text.begin(), text.end(), [](unsigned char c) { return std::isalnum(c) == 0; });
  std::string mask;
  for (std::size_t i = 0; i < digits.size(); i += 2) {
    if (i > 0 && separator != text.end()) {
      mask += *separator;
    }
    mask += digits.substr(i, 2);
  }
  return mask;
}

std::string MaskOf(Identity kind, std::string_view text, std::size_t number) {
  switch (kind) {
    case Identity::Serial:
      return fmt::format("SN{:06}", number);
    case Identity::AssetTag:
      return fmt::format("ASSET{:04}", number);
    case Identity::Uuid:
      return text.find('-') == std::string_view::npos ? fmt::format("00000000000040008000{:012x}", number)
                                                      : fmt::format("00000000-0000-4000-8000-{:012x}", number);
    case Identity::Mac:
      return MaskOfMac(text, number);
    case Identity::HostName:
      return fmt::format("host{}{}", number, text.find('.') == std::string_view::npos ? "" : ".example.com");
    case Identity::Address:
      return text.find(':') == std::string_view::npos ? fmt::format("10.0.{}.{}", number / 250 % 250, 1 + number % 250)
                                                      : fmt::format("2001:db8::{:x}", number);
    case Identity::User:
      return fmt::format("user{}", number);
    case Identity::Secret:
      return fmt::format("secret{}", number);
  }
  return "masked";
}

/// Where a string of a page is.
struct Place {
  std::string key;
  bool isSecret = false;  ///< by its key, or by that of an object around it
};

/// Copies JSON from a reader to a writer and shows each string to `change`, which may put another one in its place.
/// A number that is a secret becomes 0.
template <class Change>
class StringFilter : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, StringFilter<Change>> {
 public:
  StringFilter(std::set<std::size_t> secretObjects, Change change)
      : secretObjects_(std::move(secretObjects)), change_(std::move(change)), writer_(buffer_) {
    writer_.SetIndent(' ', 2);
  }

  bool Null() { return writer_.Null(); }
  bool Bool(bool value) { return writer_.Bool(value); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool) {
    return !objects_.empty() && objects_.back().place.isSecret ? writer_.RawValue("0", 1, rapidjson::kNumberType)
                                                               : writer_.RawValue(text, length, rapidjson::kNumberType);
  }
  bool String(const char* text, rapidjson::SizeType length, bool) {
    const std::string changed =
        change_(objects_.empty() ? Place() : objects_.back().place, std::string_view(text, length));
    return writer_.String(changed.c_str(), static_cast<rapidjson::SizeType>(changed.size()));
  }
  bool StartObject() {
    const bool isSecret = !objects_.empty() && objects_.back().place.isSecret;
    objects_.push_back({{}, isSecret, secretObjects_.count(count_++) > 0});
    return writer_.StartObject();
  }
  bool Key(const char* text, rapidjson::SizeType length, bool) {
    Object& object = objects_.back();
    std::string& key = object.place.key;
    key.assign(text, length);
    object.place.isSecret = key.find('@') == std::string::npos &&
                            (object.isSecret || IsSecretKey(key) || (object.namesSecret && IsValueKey(key)));
    const std::string changed = change_({}, std::string_view(text, length));
    return writer_.Key(changed.c_str(), static_cast<rapidjson::SizeType>(changed.size()));
  }
  bool EndObject(rapidjson::SizeType) {
    objects_.pop_back();
    return writer_.EndObject();
  }
  bool StartArray() { return writer_.StartArray(); }
  bool EndArray(rapidjson::SizeType) { return writer_.EndArray(); }

  std::string Text() const { return {buffer_.GetString(), buffer_.GetSize()}; }

 private:
  struct Object {
    Place place;
    bool isSecret;     ///< all that it holds
    bool namesSecret;  ///< in another member
  };

  std::set<std::size_t> secretObjects_;
  Change change_;
  rapidjson::StringBuffer buffer_;
  rapidjson::PrettyWriter<rapidjson::StringBuffer> writer_;
  std::vector<Object> objects_;
  std::size_t count_ = 0;
};

template <class Change>
std::optional<std::string> Filter(const std::string& page, Change change) {
  StringFilter<Change> filter(ObjectsOfSecrets(page), std::move(change));
  rapidjson::Reader reader;
  rapidjson::StringStream stream(page.c_str());
  return reader.Parse<kParseFlags>(stream, filter).IsError() ? std::nullopt : std::optional(filter.Text());
}

/// The kind of a value by its member's name or its form; what is only called an address stays.
std::optional<Identity> KindOf(const Place& place, std::string_view value) {
  if (IsPlaceholder(value)) {
    return std::nullopt;
  }
  if (IsSecretValue(value) || (place.isSecret && !IsSecretState(value))) {
    return Identity::Secret;
  }
  const auto kind = IdentityOfKey(place.key);
  const std::string text(value);
  const bool isOdd = kind == Identity::Address && !IsIpv4(text) && !IsIpv6(text);
  return isOdd || (kind == Identity::Secret && IsSecretState(value)) ? std::nullopt : kind;
}

/// Variables of a machine begin with "${"; in a recorded page nothing is one.
std::string WithoutFacts(std::string page) {
  constexpr std::string_view kEscaped = "$\\u007b";
  for (std::size_t at = page.find("${"); at != std::string::npos; at = page.find("${", at + kEscaped.size())) {
    page.replace(at, 2, kEscaped);
  }
  return page;
}

}  // namespace

void Mask::Learn(const std::string& page) {
  Filter(page, [this](const Place& place, std::string_view value) {
    if (const auto kind = KindOf(place, value)) {
      words_.Add(*kind, Trim(value));
      if (*kind == Identity::Mac || *kind == Identity::Uuid) {
        words_.Add(*kind, Canonical(*kind, value));
      }
    }
    const std::string_view login = UserInformation(value);
    words_.Add(Identity::Secret, login);
    words_.Add(Identity::Secret, login.substr(login.find(':') == std::string_view::npos ? 0 : login.find(':') + 1));
    return std::string();
  });
}

std::string Mask::Apply(const std::string& page) {
  auto masked = Filter(page, [this](const Place& place, std::string_view value) {
    if (place.key == "@odata.type") {
      return std::string(value);
    }
    const auto kind = KindOf(place, value);
    return kind ? ApplyToValue(*kind, value) : ApplyToText(value);
  });
  return masked ? WithoutFacts(std::move(*masked)) : std::string();
}

std::string Mask::ApplyToText(std::string_view text) {
  const std::string_view login = UserInformation(text);
  if (login.empty()) {
    return ApplyToPath(text);
  }
  const auto start = static_cast<std::size_t>(login.data() - text.data());
  return ApplyToPath(text.substr(0, start)) + ApplyToValue(Identity::Secret, login) +
         ApplyToPath(text.substr(start + login.size()));
}

std::string Mask::ApplyToPath(std::string_view path) {
  return words_.Replace(path, [this](Identity kind, std::string_view word) { return ApplyToValue(kind, word); });
}

std::string Mask::ApplyToValue(Identity kind, std::string_view value) {
  auto& numbers = numbers_.at(static_cast<std::size_t>(kind));
  const std::size_t number = numbers.emplace(Canonical(kind, Trim(value)), numbers.size() + 1).first->second;
  return MaskOf(kind, value, number);
}

std::string Mask::Summary() const {
  constexpr std::array<std::string_view, kIdentityKinds> kNames{
      "serial numbers", "asset tags", "UUIDs", "MAC addresses", "host names", "IP addresses", "user names", "secrets"};
  std::string summary;
  for (std::size_t kind = 0; kind < kNames.size(); ++kind) {
    if (!numbers_.at(kind).empty()) {
      summary += fmt::format("{}{} {}", summary.empty() ? "" : ", ", numbers_.at(kind).size(), kNames.at(kind));
    }
  }
  return summary.empty() ? "nothing" : summary;
}

}  // namespace Kelvar::Simulator

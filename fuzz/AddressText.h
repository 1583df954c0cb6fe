#pragma once

#include <algorithm>
#include <cctype>
#include <string>
#include <string_view>

#include "fuzz/Check.h"
#include "tools/kelvar/Target.h"

namespace Kelvar::Fuzz {

inline constexpr std::string_view kSecret = "hunter2";

/// The input as text, with a password, between the signs that make it one, for each byte of 1. Nothing for an input
/// that holds this text elsewhere, in whatever case: schemes are shown in lower case.
inline std::string WithSecrets(const std::uint8_t* data, std::size_t size) {
  std::string text(data, data + size);
  const auto isSame = [](char left, char right) { return std::tolower(static_cast<unsigned char>(left)) == right; };
  if (std::search(text.begin(), text.end(), kSecret.begin(), kSecret.end(), isSame) != text.end()) {
    return {};
  }
  text.clear();
  for (std::size_t index = 0; index < size; ++index) {
    if (data[index] == 1) {
      text.append(":").append(kSecret).append("@");
    } else {
      text.push_back(static_cast<char>(data[index]));
    }
  }
  return text;
}

inline bool Shows(std::string_view text, std::string_view piece) {
  return text.find(piece) != std::string_view::npos;
}

/// Every byte that is not a letter or digit as %XX.
inline std::string PercentEncoded(std::string_view text) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if ((byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z')) {
      encoded.push_back(letter);
    } else {
      encoded.append({'%', kDigits[byte >> 4], kDigits[byte & 15]});
    }
  }
  return encoded;
}

/// The address that says in full what a target is.
inline std::string AddressOf(const Tool::Target& target) {
  const KelvarConnection::ConnectionInfo& info = target.info;
  if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LOCAL) {
    return "ipmi-local:" + std::to_string(info.ZMCIndex);
  }
  std::string scheme = Tool::WordOf(target.protocol);
  std::string query;
  if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_IPMI_LAN) {
    query = "?suite=" + std::to_string(info.RemoteSessionArgument);
  } else if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_CIM_ESXI) {
    scheme = "esxi";
    query = "?zmc=" + std::to_string(info.ZMCIndex);
  } else if (info.ConnectionCase == KelvarConnection::CONNECTION_CASE_CIM_OMC) {
    scheme = "omc";
  }
  if (target.protocol == Tool::Protocol::Cim) {
    scheme += info.ConnectionType == 1 ? "+https" : "+http";
  }
  std::string host = info.Host;
  if (info.AddressFamily == 1) {
    const std::size_t zone = host.find('%');
    host = "[" + (zone == std::string::npos ? host : host.replace(zone, 1, "%25")) + "]";
  }
  const std::string user = info.UserName.empty() ? "" : PercentEncoded(info.UserName) + "@";
  return scheme + "://" + user + host + ":" + std::to_string(info.Port) + query;
}

/// A target that was read from an address can be written as one that is read to the same.
inline void CheckTarget(const Tool::Target& target) {
  const Tool::Target again = Tool::ParseTarget(AddressOf(target));
  const KelvarConnection::ConnectionInfo& info = target.info;
  FUZZ_CHECK(again.protocol == target.protocol);
  FUZZ_CHECK(again.info.ConnectionCase == info.ConnectionCase && again.info.ConnectionType == info.ConnectionType);
  FUZZ_CHECK(again.info.Host == info.Host && again.info.AddressFamily == info.AddressFamily);
  FUZZ_CHECK(again.info.Port == info.Port && again.info.UserName == info.UserName);
  FUZZ_CHECK(again.info.ZMCIndex == info.ZMCIndex);
  FUZZ_CHECK(again.info.RemoteSessionArgument == info.RemoteSessionArgument);
  FUZZ_CHECK(info.Password.empty() && target.NeedsPassword() == !info.Host.empty());
  const auto isControl = [](char letter) { return static_cast<unsigned char>(letter) < ' ' || letter == 0x7F; };
  for (const std::string* text : {&target.address, &info.Host, &info.UserName}) {
    FUZZ_CHECK(std::none_of(text->begin(), text->end(), isControl));
  }
}

}  // namespace Kelvar::Fuzz

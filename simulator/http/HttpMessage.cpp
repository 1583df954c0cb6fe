#include "simulator/http/HttpMessage.h"

#include <algorithm>
#include <array>
#include <charconv>

#include <openssl/evp.h>

namespace Kelvar::Simulator {

namespace {

char Lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool SameName(std::string_view one, std::string_view other) {
  return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                    [](char a, char b) { return Lower(a) == Lower(b); });
}

std::optional<std::string> DecodeBase64(std::string_view text) {
  std::string decoded(text.size(), '\0');
  const int size = EVP_DecodeBlock(reinterpret_cast<unsigned char*>(decoded.data()),
                                   reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  if (size < 0) {
    return std::nullopt;
  }
  // EVP_DecodeBlock counts the zero bytes that stand for the padding.
  const auto padding = static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));
  decoded.resize(std::max<std::size_t>(static_cast<std::size_t>(size), padding) - padding);
  return decoded;
}

struct Reason {
  unsigned status;
  std::string_view words;
};

constexpr std::array kReasons{
    Reason{200, "OK"},
    Reason{201, "Created"},
    Reason{204, "No Content"},
    Reason{301, "Moved Permanently"},
    Reason{302, "Found"},
    Reason{304, "Not Modified"},
    Reason{307, "Temporary Redirect"},
    Reason{308, "Permanent Redirect"},
    Reason{400, "Bad Request"},
    Reason{401, "Unauthorized"},
    Reason{403, "Forbidden"},
    Reason{404, "Not Found"},
    Reason{405, "Method Not Allowed"},
    Reason{412, "Precondition Failed"},
    Reason{413, "Content Too Large"},
    Reason{429, "Too Many Requests"},
    Reason{431, "Request Header Fields Too Large"},
    Reason{500, "Internal Server Error"},
    Reason{501, "Not Implemented"},
    Reason{502, "Bad Gateway"},
    Reason{503, "Service Unavailable"},
    Reason{504, "Gateway Timeout"},
};

}  // namespace

const std::string* FindHeader(const HeaderList& headers, std::string_view name) {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [&](const auto& header) { return SameName(header.first, name); });
  return found == headers.end() ? nullptr : &found->second;
}

void SetHeader(HeaderList& headers, std::string_view name, std::string value) {
  const auto found =
      std::find_if(headers.begin(), headers.end(), [&](const auto& header) { return SameName(header.first, name); });
  if (found == headers.end()) {
    headers.emplace_back(std::string(name), std::move(value));
  } else {
    found->second = std::move(value);
  }
}

std::optional<Credentials> BasicCredentials(const HttpRequest& request) {
  constexpr std::string_view kScheme = "basic ";
  const std::string* value = FindHeader(request.headers, "Authorization");
  if (value == nullptr || !SameName(std::string_view(*value).substr(0, kScheme.size()), kScheme)) {
    return std::nullopt;
  }
  const auto decoded = DecodeBase64(std::string_view(*value).substr(kScheme.size()));
  const std::size_t colon = decoded ? decoded->find(':') : std::string::npos;
  if (colon == std::string::npos) {
    return std::nullopt;
  }
  return Credentials{decoded->substr(0, colon), decoded->substr(colon + 1)};
}

std::string PercentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    const char* digits = text.data() + i + 1;
    if (text[i] == '%' && i + 2 < text.size() && std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      decoded += static_cast<char>(value);
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

std::string_view ReasonPhrase(unsigned status) {
  const auto found =
      std::find_if(kReasons.begin(), kReasons.end(), [&](const Reason& reason) { return reason.status == status; });
  return found == kReasons.end() ? "Unknown" : found->words;
}

}  // namespace Kelvar::Simulator

#include "module/reader/redfish/Link.h"

#include <algorithm>

namespace Kelvar::Reader {

namespace {

constexpr std::string_view kRoot = "/redfish/v1/";
constexpr std::size_t kMaxLink = 2048;

bool StartsWithIgnoringCase(std::string_view text, std::string_view start) {
  return text.size() >= start.size() && Lower(text.substr(0, start.size())) == Lower(start);
}

bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char letter) {
    const auto byte = static_cast<unsigned char>(letter);
    return byte > 0x20 && byte != 0x7F && byte != '\\';
  });
}

std::string_view WithoutDefaultPort(std::string_view origin) {
  constexpr std::string_view kPort = ":443";
  const bool hasIt = origin.size() > kPort.size() && origin.substr(origin.size() - kPort.size()) == kPort;
  return hasIt ? origin.substr(0, origin.size() - kPort.size()) : std::string_view();
}

void DropSlashes(std::string_view& text) {
  while (text.size() > 1 && text.back() == '/') {
    text.remove_suffix(1);
  }
}

/// Blanks of a link, which some services leave as they are.
std::string EncodeBlanks(std::string_view text) {
  std::string encoded;
  for (const char letter : text) {
    if (letter == ' ') {
      encoded += "%20";
    } else {
      encoded += letter;
    }
  }
  return encoded;
}

int HexDigit(char letter) {
  const auto at = std::string_view("0123456789abcdef").find(Lower(std::string_view(&letter, 1)));
  return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

/// The letter that an escape at this place stands for, where it need not have been escaped.
std::optional<char> NeedlesslyEscaped(std::string_view text, std::size_t at) {
  if (text[at] != '%' || text.size() - at < 3 || HexDigit(text[at + 1]) < 0 || HexDigit(text[at + 2]) < 0) {
    return std::nullopt;
  }
  const auto letter = static_cast<char>(HexDigit(text[at + 1]) * 16 + HexDigit(text[at + 2]));
  const bool isPlain =
      std::string_view("0123456789abcdefghijklmnopqrstuvwxyz-._~").find(Lower({&letter, 1})) != std::string_view::npos;
  return isPlain ? std::optional<char>(letter) : std::nullopt;
}

/// One spelling of a path: without slashes that follow each other, and without needless escapes.
std::string Normal(std::string_view path) {
  const std::size_t end = std::min(path.find('?'), path.size());
  std::string normal;
  normal.reserve(path.size());
  for (std::size_t i = 0; i < end; ++i) {
    const auto plain = NeedlesslyEscaped(path, i);
    if (plain) {
      normal += *plain;
      i += 2;
    } else if (path[i] != '/' || normal.empty() || normal.back() != '/') {
      normal += path[i];
    }
  }
  return normal.append(path.substr(end));
}

}  // namespace

std::optional<Link> ParseLink(std::string_view text, std::string_view origin) {
  for (const std::string_view own : {origin, WithoutDefaultPort(origin)}) {
    if (!own.empty() && StartsWithIgnoringCase(text, own) && text.size() > own.size() && text[own.size()] == '/') {
      text.remove_prefix(own.size());
      break;
    }
  }
  const bool lacksSlash = StartsWithIgnoringCase(text, kRoot.substr(1));
  const std::string encoded = (lacksSlash ? "/" : "") + EncodeBlanks(text);
  text = encoded;
  const bool local = !text.empty() && text[0] == '/' && (text.size() == 1 || text[1] != '/');
  if (!local || text.size() > kMaxLink || !IsPrintable(text) || text.find("/../") != std::string_view::npos) {
    return std::nullopt;
  }
  Link link;
  const auto hash = text.find('#');
  if (hash != std::string_view::npos) {
    std::string_view fragment = text.substr(hash + 1);
    DropSlashes(fragment);
    if (!fragment.empty() && fragment != "/") {
      link.fragment = (fragment[0] == '/' ? "" : "/") + std::string(fragment);
    }
    text = text.substr(0, hash);
  }
  link.path = text;
  return link;
}

std::string KeyOf(std::string_view path) {
  const std::string normal = Normal(path);
  path = normal;
  DropSlashes(path);
  return Lower(path);
}

std::string IdOf(std::string_view path) {
  const std::string normal = Normal(path);
  path = normal;
  DropSlashes(path);
  if (StartsWithIgnoringCase(path, kRoot)) {
    path.remove_prefix(kRoot.size());
  }
  return std::string(path);
}

std::string_view Above(std::string_view id) {
  const auto slash = id.rfind('/');
  if (slash == std::string_view::npos) {
    return {};
  }
  return slash > 0 && id[slash - 1] == '#' ? id.substr(0, slash - 1) : id.substr(0, slash);
}

std::string_view LastSegment(std::string_view path) {
  DropSlashes(path);
  return path.substr(path.rfind('/') + 1);
}

}  // namespace Kelvar::Reader

#include "tools/kelvar/HostAddress.h"

#include <algorithm>
#include <array>
#include <memory>

#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>

namespace Kelvar::Tool {

namespace {

std::string TextOf(const addrinfo& address) {
  std::array<char, NI_MAXHOST> text{};
  if (getnameinfo(address.ai_addr, address.ai_addrlen, text.data(), text.size(), nullptr, 0, NI_NUMERICHOST) != 0) {
    return "";
  }
  constexpr const char* kMapped = "::ffff:";
  const std::string found = text.data();
  const bool mapped = found.compare(0, 7, kMapped) == 0 && found.find('.') != std::string::npos;
  return mapped ? found.substr(7) : found;
}

std::vector<std::string> Resolve(const std::string& host) {
  addrinfo hints{};
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) {
    return {};
  }
  const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
  std::vector<std::string> texts;
  for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
    texts.push_back(TextOf(*address));
  }
  std::sort(texts.begin(), texts.end());
  texts.erase(std::unique(texts.begin(), texts.end()), texts.end());
  return texts;
}

std::string Lowered(std::string name) {
  std::transform(name.begin(), name.end(), name.begin(), [](char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  });
  if (!name.empty() && name.back() == '.') {
    name.pop_back();
  }
  return name;
}

}  // namespace

std::vector<std::string> AddressesOf(const std::string& host) {
  std::vector<std::string> addresses = Resolve(host);
  return addresses.empty() ? std::vector<std::string>{Lowered(host)} : addresses;
}

bool IsLoopback(const std::string& address) {
  return address.compare(0, 4, "127.") == 0 || address == "::1";
}

}  // namespace Kelvar::Tool

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include <kelvar/RestClient.h>

namespace Rest::Callbacks {

// What libcurl calls during a transfer. None of them lets an exception out.

/// Where the body goes, and how much of it is taken.
struct BodyTarget {
  RestResponse& response;
  std::uint64_t maxBytes;
  CURL* handle = nullptr;  ///< asked for the announced length, when not null
  bool exceeded = false;
  std::uint64_t received = 0;
  std::optional<bool> isError = {};  ///< an HTTP status of 400 or above, once it is known
};

/// Of a body with an error status so much is kept. The rest is received and dropped.
constexpr std::size_t kMaxErrorBytes = std::size_t{64} << 10;

/// Where the headers go.
struct HeaderTarget {
  RestResponse& response;
  std::size_t bytes = 0;
};

/// Headers and trailers of one transfer beyond this volume are left out of the response. The transfer goes on, as far
/// as Http::Transfer lets it.
constexpr std::size_t kMaxHeaderBytes = std::size_t{1} << 20;

std::size_t WriteBody(char* data, std::size_t size, std::size_t count, void* target) noexcept;
std::size_t WriteFile(char* data, std::size_t size, std::size_t count, void* file) noexcept;
std::size_t ReadHeader(char* data, std::size_t size, std::size_t count, void* target) noexcept;
std::size_t ReadStream(char* buffer, std::size_t size, std::size_t count, void* stream) noexcept;
int SeekStream(void* stream, curl_off_t offset, int origin) noexcept;
int Progress(void* callback, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
             curl_off_t uploadNow) noexcept;

}  // namespace Rest::Callbacks

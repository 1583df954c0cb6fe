#include "transport/rest/RestCallbacks.h"

#include <algorithm>
#include <locale>
#include <string_view>

namespace Rest::Callbacks {

namespace {

std::string_view Trim(std::string_view text, const std::ctype<char>& kinds) {
  const char* first = kinds.scan_not(std::ctype_base::space, text.data(), text.data() + text.size());
  const char* last = text.data() + text.size();
  while (last != first && kinds.is(std::ctype_base::space, last[-1])) {
    --last;
  }
  return {first, static_cast<std::size_t>(last - first)};
}

void Store(RestResponse& response, std::string_view line) {
  const std::locale locale;
  const auto& kinds = std::use_facet<std::ctype<char>>(locale);
  const auto colon = line.find(':');
  if (colon != std::string_view::npos) {
    response.headers[std::string(Trim(line.substr(0, colon), kinds))] = Trim(line.substr(colon + 1), kinds);
    return;
  }
  line = Trim(line, kinds);
  if (!line.empty()) {
    response.headers[std::string(line)] = "present";
  }
}

bool IsError(BodyTarget& target) {
  if (!target.isError) {
    long status = 0;
    if (target.handle != nullptr) {
      curl_easy_getinfo(target.handle, CURLINFO_RESPONSE_CODE, &status);
    }
    target.isError = status >= 400;
  }
  return *target.isError;
}

/// Makes room for the announced body before its first bytes, so that it does not move about while it grows. False when
/// it is announced larger than the bound.
bool ReserveAnnounced(BodyTarget& target) {
  curl_off_t announced = -1;
  if (target.handle == nullptr || !target.response.body.empty() ||
      curl_easy_getinfo(target.handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced) != CURLE_OK || announced <= 0) {
    return true;
  }
  if (static_cast<std::uint64_t>(announced) > target.maxBytes) {
    return false;
  }
  const auto size = static_cast<std::size_t>(announced);
  target.response.body.reserve(IsError(target) ? std::min(size, kMaxErrorBytes) : size);
  return true;
}

}  // namespace

std::size_t WriteBody(char* data, std::size_t size, std::size_t count, void* userData) noexcept {
  auto& target = *static_cast<BodyTarget*>(userData);
  const std::size_t bytes = size * count;
  std::string& body = target.response.body;
  try {
    if (bytes > target.maxBytes || target.received > target.maxBytes - bytes || !ReserveAnnounced(target)) {
      target.exceeded = true;
      return 0;
    }
    target.received += bytes;
    const std::size_t kept = IsError(target) ? std::min(bytes, kMaxErrorBytes - body.size()) : bytes;
    body.append(data, kept);
  } catch (...) {
    return 0;
  }
  return bytes;
}

std::size_t WriteFile(char* data, std::size_t size, std::size_t count, void* file) noexcept {
  return std::fwrite(data, 1, size * count, static_cast<std::FILE*>(file));
}

std::size_t ReadHeader(char* data, std::size_t size, std::size_t count, void* userData) noexcept {
  auto& target = *static_cast<HeaderTarget*>(userData);
  const std::size_t bytes = size * count;
  target.bytes += bytes;
  if (target.bytes <= kMaxHeaderBytes) {
    try {
      Store(target.response, {data, bytes});
    } catch (...) {  // a header that finds no memory is missing from the map; the transfer goes on
    }
  }
  return bytes;
}

std::size_t ReadStream(char* buffer, std::size_t size, std::size_t count, void* userData) noexcept {
  if (userData == nullptr) {
    return static_cast<std::size_t>(-1);
  }
  auto& stream = *static_cast<std::istream*>(userData);
  if (!stream.good()) {
    return 0;
  }
  try {
    stream.read(buffer, static_cast<std::streamsize>(size * count));
  } catch (...) {
    return CURL_READFUNC_ABORT;
  }
  return static_cast<std::size_t>(stream.gcount());
}

int SeekStream(void* userData, curl_off_t /*offset*/, int /*origin*/) noexcept {
  if (userData == nullptr) {
    return CURL_SEEKFUNC_FAIL;
  }
  auto& stream = *static_cast<std::istream*>(userData);
  try {
    stream.clear();
    stream.seekg(0);
  } catch (...) {
    return CURL_SEEKFUNC_FAIL;
  }
  return CURL_SEEKFUNC_OK;
}

int Progress(void* userData, curl_off_t downloadTotal, curl_off_t downloadNow, curl_off_t uploadTotal,
             curl_off_t uploadNow) noexcept {
  const auto* callback = static_cast<const ProgressCallback*>(userData);
  if (callback == nullptr || callback->empty()) {
    return 0;
  }
  try {
    if (downloadTotal >= 1) {
      (*callback)(downloadTotal, downloadNow);
    } else if (uploadTotal >= 1) {
      (*callback)(uploadTotal, uploadNow);
    }
  } catch (...) {
  }
  return 0;
}

}  // namespace Rest::Callbacks

#include <kelvar/RestClient.h>

#include <chrono>
#include <cstring>
#include <new>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "common/deadline/OperationDeadline.h"
#include "common/diagnostics/ConnectionLimits.h"
#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/diagnostics/LoginGuard.h"
#include "common/http/FailureOf.h"
#include "common/http/TlsTrust.h"
#include "common/http/Transfer.h"
#include "common/log/LogMacros.h"
#include "common/text/Secret.h"
#include "transport/rest/HeaderList.h"
#include "transport/rest/RestCallbacks.h"
#include "transport/rest/TransferRecord.h"

namespace Rest {

namespace {

/// Clears every option on every way out; connections and cookies stay.
class HandleReset {
 public:
  explicit HandleReset(CURL* handle) noexcept : handle_(handle) {}
  ~HandleReset() { curl_easy_reset(handle_); }
  HandleReset(const HandleReset&) = delete;
  HandleReset& operator=(const HandleReset&) = delete;

 private:
  CURL* handle_;
};

constexpr std::int32_t kUnauthorized = 401;

struct MimeFree {
  void operator()(curl_mime* mime) const noexcept { curl_mime_free(mime); }
};

void Append(HeaderList& list, const std::string& line) {
  curl_slist* longer = curl_slist_append(list.get(), line.c_str());
  if (longer == nullptr) {
    throw std::bad_alloc();
  }
  (void)list.release();
  list.reset(longer);
}

HeaderList MakeHeaderList(const std::map<std::string, std::string>& headers, bool disableExpect) {
  HeaderList list;
  for (const auto& [key, value] : headers) {
    std::string line;
    line.reserve(key.size() + 2 + value.size());  // no second copy of a secret
    line.append(key).append(": ").append(value);
    Append(list, line);
    Kelvar::Text::WipeText(line);
  }
  if (disableExpect) {
    Append(list, "Expect:");
  }
  return list;
}

void SetText(CURL* handle, CURLoption option, const std::string& text) {
  if (!text.empty()) {
    curl_easy_setopt(handle, option, text.c_str());
  }
}

/// Length of the stream in bytes, -1 when it cannot tell. Leaves it at its start and ready to be read.
curl_off_t LengthOf(std::istream& stream) {
  stream.clear();
  stream.seekg(0, std::ios::end);
  const auto length = static_cast<curl_off_t>(stream.tellg());
  stream.clear();
  stream.seekg(0);
  return length;
}

/// Whether the transfer failed on a connection kept from an earlier one, before any answer. libcurl opens another
/// connection by itself only when it learns of that before it sends a body.
bool WasClosedIdle(CURL* handle) {
  long opened = 0;
  long headerBytes = 0;
  return curl_easy_getinfo(handle, CURLINFO_NUM_CONNECTS, &opened) == CURLE_OK && opened == 0 &&
         curl_easy_getinfo(handle, CURLINFO_HEADER_SIZE, &headerBytes) == CURLE_OK && headerBytes == 0;
}

/// Whether a body from `stream`, if there is one, can be sent once more.
bool Rewind(std::istream* stream) {
  return stream == nullptr || Callbacks::SeekStream(stream, 0, SEEK_SET) == CURL_SEEKFUNC_OK;
}

/// What libcurl's own text does not say of a transfer that was ended here.
std::string Reason(const Callbacks::BodyTarget& target, const Kelvar::Http::Transfer& transfer) {
  if (target.exceeded) {
    return ": the body is larger than " + std::to_string(target.maxBytes) + " bytes";
  }
  return transfer.Complaint() == nullptr ? "" : std::string(": ") + transfer.Complaint();
}

void SetAccount(CURL* handle, const std::string& user, const std::string& password) {
  if (!user.empty()) {
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
    curl_easy_setopt(handle, CURLOPT_USERNAME, user.c_str());
    curl_easy_setopt(handle, CURLOPT_PASSWORD, password.c_str());
  }
}

}  // namespace

RestClient::RestClient()
    : loginGuard(Kelvar::KeptConnectionOptions::CurrentGuard()),
      tlsTrust(std::make_unique<Kelvar::Http::TlsTrust>(Kelvar::ConnectionOptionsScope::Current())),
      accountStaysWithHost(Kelvar::ConnectionOptionsScope::Current().keep_account_from_other_hosts),
      curlHandle(Kelvar::Http::MakeHandle()),
      userAgent("TVKE_RAVLOT") {
  if (curlHandle == nullptr) {
    throw std::runtime_error("Couldn't initialize curl handle");
  }
  maxBodyBytes = Kelvar::ResponseLimit(maxBodyBytes);
}

RestClient::~RestClient() {
  Kelvar::Http::HandleCleanup()(curlHandle);
  for (std::string* const secret : {&basicAuthPassword, &keyPassword, &proxyPassword}) {
    Kelvar::Text::WipeText(*secret);
  }
  WipeHeaders();
}

/// The response to a request that must not be sent any more.
std::optional<RestResponse> RestClient::Withheld() const {
  if (loginGuard && loginGuard->IsRefused() && !basicAuthUser.empty()) {
    RestResponse response(CURLE_OK, kUnauthorized, {});
    response.cause = Kelvar::FailureCause::LoginRefused;
    return response;
  }
  if (Kelvar::OperationDeadline::IsOver()) {
    RestResponse response(CURLE_OPERATION_TIMEDOUT, -1, "the time for the operation is over");
    response.cause = Kelvar::FailureCause::Deadline;
    return response;
  }
  return std::nullopt;
}

RestResponse RestClient::Run(const std::string& url, const std::function<void()>& setOwnOptions,
                             ProgressCallback* progress, std::istream* stream) {
  if (auto response = Withheld()) {
    RecordWithheld(url, *response);
    return std::move(*response);
  }
  const HandleReset reset(curlHandle);
  setOwnOptions();
  return Perform(url, progress, stream);
}

RestResponse RestClient::Perform(const std::string& url, ProgressCallback* progress, std::istream* stream) {
  RestResponse response(-1, -1, {});
  Callbacks::BodyTarget bodyTarget{response, maxBodyBytes, curlHandle};
  Callbacks::HeaderTarget headerTarget{response};
  if (compressionEnabled) {
    curl_easy_setopt(curlHandle, CURLOPT_ACCEPT_ENCODING, "gzip");
  }
  curl_easy_setopt(curlHandle, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curlHandle, CURLOPT_WRITEFUNCTION,
                   outputFile != nullptr ? &Callbacks::WriteFile : &Callbacks::WriteBody);
  curl_easy_setopt(curlHandle, CURLOPT_WRITEDATA, outputFile != nullptr ? static_cast<void*>(outputFile) : &bodyTarget);
  curl_easy_setopt(curlHandle, CURLOPT_HEADERFUNCTION, &Callbacks::ReadHeader);
  curl_easy_setopt(curlHandle, CURLOPT_HEADERDATA, &headerTarget);
  const HeaderList headers = MakeHeaderList(requestHeaders, disableExpect);
  curl_easy_setopt(curlHandle, CURLOPT_HTTPHEADER, headers.get());
  SetAccount(curlHandle, basicAuthUser, basicAuthPassword);
  curl_easy_setopt(curlHandle, CURLOPT_USERAGENT, userAgent.c_str());
  SetLimits();
  SetSecurity();
  SetProxyAndCookies();
  const CURLcode trust = tlsTrust->Apply(curlHandle);
  if (trust != CURLE_OK) {
    return {trust, -1, curl_easy_strerror(trust)};
  }
  char errorText[CURL_ERROR_SIZE] = {};
  curl_easy_setopt(curlHandle, CURLOPT_ERRORBUFFER, errorText);
  Kelvar::Http::Transfer transfer(curlHandle);
  transfer.ReportTo(&Callbacks::Progress, progress);
  response.curlCode = transfer.Perform();
  if (response.curlCode == CURLE_SEND_ERROR && WasClosedIdle(curlHandle) && Rewind(stream)) {
    SetLimits();
    response.curlCode = transfer.Perform();
  }
  if (response.curlCode == CURLE_OK) {
    Collect(response);
    Kelvar::DiagnosticsRecorder::NoteTls(tlsTrust->Last());
    response.cause = Kelvar::Http::CauseOfStatus(response.httpCode);
    if (loginGuard && response.httpCode == kUnauthorized) {
      loginGuard->NoteRefused();
    }
  } else {
    response.httpCode = -1;
    response.body = errorText + Reason(bodyTarget, transfer);
    response.cause = CauseOf(response.curlCode, bodyTarget.exceeded);
  }
  RecordTransfer(curlHandle, url, response, outputFile == nullptr);
  return response;
}

Kelvar::FailureCause RestClient::CauseOf(std::int32_t code, bool exceeded) const {
  if (exceeded) {
    return Kelvar::FailureCause::TooLarge;
  }
  if (code == CURLE_OPERATION_TIMEDOUT && Kelvar::OperationDeadline::IsOver()) {
    return Kelvar::FailureCause::Deadline;
  }
  return Kelvar::Http::CauseOfTransfer(curlHandle, static_cast<CURLcode>(code));
}

void RestClient::SetLimits() {
  if (timeoutSeconds >= 0) {
    const std::chrono::milliseconds own = std::chrono::seconds(timeoutSeconds);
    const auto limit = own.count() == 0 ? own : Kelvar::OperationDeadline::Within(own);
    curl_easy_setopt(curlHandle, CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
  } else {
    curl_easy_setopt(curlHandle, CURLOPT_LOW_SPEED_TIME, 60L);
    curl_easy_setopt(curlHandle, CURLOPT_LOW_SPEED_LIMIT, 30L);
  }
  curl_easy_setopt(curlHandle, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(curlHandle, CURLOPT_REDIR_PROTOCOLS_STR, accountStaysWithHost ? "https" : "http,https");
  if (followRedirects) {
    curl_easy_setopt(curlHandle, CURLOPT_UNRESTRICTED_AUTH, accountStaysWithHost ? 0L : 1L);
    curl_easy_setopt(curlHandle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(curlHandle, CURLOPT_MAXREDIRS, static_cast<long>(maxRedirects));
  }
}

void RestClient::SetSecurity() {
  if (!caInfoPath.empty()) {
    curl_easy_setopt(curlHandle, CURLOPT_CAINFO, caInfoPath.c_str());
  } else if (skipTlsVerification) {
    curl_easy_setopt(curlHandle, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curlHandle, CURLOPT_SSL_VERIFYHOST, 0L);
  }
  SetText(curlHandle, CURLOPT_SSLCERT, certPath);
  SetText(curlHandle, CURLOPT_SSLCERTTYPE, certType);
  SetText(curlHandle, CURLOPT_SSLKEY, keyPath);
  SetText(curlHandle, CURLOPT_KEYPASSWD, keyPassword);
}

void RestClient::SetProxyAndCookies() {
  // Even without one: else libcurl takes it, and who goes without, from the environment.
  curl_easy_setopt(curlHandle, CURLOPT_PROXY, proxyUrl.c_str());
  curl_easy_setopt(curlHandle, CURLOPT_NOPROXY, "");
  if (!proxyUrl.empty()) {
    curl_easy_setopt(curlHandle, CURLOPT_HTTPPROXYTUNNEL, 1L);
    if (!proxyUser.empty() && !proxyPassword.empty()) {
      curl_easy_setopt(curlHandle, CURLOPT_PROXYUSERNAME, proxyUser.c_str());
      curl_easy_setopt(curlHandle, CURLOPT_PROXYPASSWORD, proxyPassword.c_str());
    }
  }
  // Switches the cookie engine on. Were it still set at clean-up, the cookies would go to standard output.
  curl_easy_setopt(curlHandle, CURLOPT_COOKIEJAR, "-");
  SetText(curlHandle, CURLOPT_COOKIELIST, cookieList);
}

void RestClient::Collect(RestResponse& response) {
  long status = 0;
  curl_easy_getinfo(curlHandle, CURLINFO_RESPONSE_CODE, &status);
  response.httpCode = static_cast<std::int32_t>(status);
  curl_slist* lines = nullptr;
  if (curl_easy_getinfo(curlHandle, CURLINFO_COOKIELIST, &lines) == CURLE_OK) {
    const HeaderList owner(lines);
    for (const curl_slist* line = lines; line != nullptr; line = line->next) {
      response.cookies.emplace_back(line->data);
    }
  }
}

void RestClient::SetStream(std::istream& stream, bool post) {
  const curl_off_t length = LengthOf(stream);
  curl_easy_setopt(curlHandle, CURLOPT_READFUNCTION, &Callbacks::ReadStream);
  curl_easy_setopt(curlHandle, CURLOPT_READDATA, &stream);
  curl_easy_setopt(curlHandle, post ? CURLOPT_POSTFIELDSIZE_LARGE : CURLOPT_INFILESIZE_LARGE, length);
  curl_easy_setopt(curlHandle, CURLOPT_SEEKFUNCTION, &Callbacks::SeekStream);
  curl_easy_setopt(curlHandle, CURLOPT_SEEKDATA, &stream);
}

RestResponse RestClient::Request(int type, const std::string& url, const std::string& data) {
  switch (type) {
    case 0:
      return Get(url);
    case 1:
      return Post(url, data);
    case 2:
      return Put(url, data);
    case 3:
      return Patch(url, data);
    case 5:
      return Head(url);
    case 6:
      return Options(url);
    default:
      return {-1, -1, "unknown request type"};
  }
}

RestResponse RestClient::Get(const std::string& url) {
  return Run(url, [] {});
}

RestResponse RestClient::PostMime(const std::string& url, MimeParts& parts, ProgressCallback progress) {
  // Outlives the transfer and the reset of the handle.
  const std::unique_ptr<curl_mime, MimeFree> mime(curl_mime_init(curlHandle));
  if (!mime) {
    throw std::bad_alloc();
  }
  const auto setOwnOptions = [&] {
    curl_easy_setopt(curlHandle, CURLOPT_POST, 1L);
    for (const std::shared_ptr<MimePart>& part : parts) {
      part->Fill(curl_mime_addpart(mime.get()));
    }
    curl_easy_setopt(curlHandle, CURLOPT_MIMEPOST, mime.get());
  };
  return Run(url, setOwnOptions, &progress);
}

RestResponse RestClient::PostStream(const std::string& url, std::istream& stream) {
  const auto setOwnOptions = [&] {
    curl_easy_setopt(curlHandle, CURLOPT_POST, 1L);
    SetStream(stream, true);
  };
  return Run(url, setOwnOptions, nullptr, &stream);
}

RestResponse RestClient::Post(const std::string& url, const std::string& data) {
  return Run(url, [&] {
    curl_easy_setopt(curlHandle, CURLOPT_POST, 1L);
    curl_easy_setopt(curlHandle, CURLOPT_POSTFIELDS, data.data());
    curl_easy_setopt(curlHandle, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(data.size()));
  });
}

RestResponse RestClient::PutStream(const std::string& url, std::istream& stream) {
  const auto setOwnOptions = [&] {
    curl_easy_setopt(curlHandle, CURLOPT_UPLOAD, 1L);  // a PUT
    SetStream(stream, false);
  };
  return Run(url, setOwnOptions, nullptr, &stream);
}

RestResponse RestClient::Put(const std::string& url, const std::string& data) {
  std::istringstream stream(data);
  return PutStream(url, stream);
}

RestResponse RestClient::PatchStream(const std::string& url, std::istream& stream) {
  const auto setOwnOptions = [&] {
    curl_easy_setopt(curlHandle, CURLOPT_CUSTOMREQUEST, "PATCH");
    curl_easy_setopt(curlHandle, CURLOPT_UPLOAD, 1L);
    SetStream(stream, false);
  };
  return Run(url, setOwnOptions, nullptr, &stream);
}

RestResponse RestClient::Patch(const std::string& url, const std::string& data) {
  std::istringstream stream(data);
  return PatchStream(url, stream);
}

RestResponse RestClient::Delete(const std::string& url) {
  return Run(url, [&] { curl_easy_setopt(curlHandle, CURLOPT_CUSTOMREQUEST, "DELETE"); });
}

RestResponse RestClient::Head(const std::string& url) {
  return Run(url, [&] {
    curl_easy_setopt(curlHandle, CURLOPT_CUSTOMREQUEST, "HEAD");
    curl_easy_setopt(curlHandle, CURLOPT_NOBODY, 1L);
  });
}

RestResponse RestClient::Options(const std::string& url) {
  return Run(url, [&] {
    curl_easy_setopt(curlHandle, CURLOPT_CUSTOMREQUEST, "OPTIONS");
    curl_easy_setopt(curlHandle, CURLOPT_NOBODY, 1L);
  });
}

}  // namespace Rest

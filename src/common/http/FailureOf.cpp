#include "common/http/FailureOf.h"

#include <cerrno>

namespace Kelvar::Http {

FailureCause CauseOfTransfer(CURL* handle, CURLcode code) noexcept {
  long error = 0;
  switch (code) {
    case CURLE_OK:
    case CURLE_OUT_OF_MEMORY:
      return FailureCause::None;
    case CURLE_COULDNT_CONNECT:
      curl_easy_getinfo(handle, CURLINFO_OS_ERRNO, &error);
      return error == ECONNREFUSED ? FailureCause::Refused : FailureCause::Unreachable;
    case CURLE_URL_MALFORMAT:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_OPERATION_TIMEDOUT:
    case CURLE_GOT_NOTHING:
    case CURLE_SEND_ERROR:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_FAIL_REWIND:  // closed without a response, and the request is not sent again
      return FailureCause::Unreachable;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_ENGINE_NOTFOUND:
    case CURLE_SSL_ENGINE_SETFAILED:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_USE_SSL_FAILED:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_SHUTDOWN_FAILED:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return FailureCause::Tls;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_UNSUPPORTED_PROTOCOL:
      return FailureCause::NotSuchService;
    case CURLE_ABORTED_BY_CALLBACK:
    case CURLE_FILESIZE_EXCEEDED:
      return FailureCause::TooLarge;
    default:
      return FailureCause::BadData;
  }
}

FailureCause CauseOfStatus(long status) noexcept {
  switch (status) {
    case 401:
    case 403:
      return FailureCause::LoginRefused;
    case 404:
    case 405:
    case 410:
    case 501:
      return FailureCause::NotOffered;
    case 429:
    case 503:
      return FailureCause::Refused;
    default:
      return status < 400 ? FailureCause::None : FailureCause::BadData;
  }
}

}  // namespace Kelvar::Http

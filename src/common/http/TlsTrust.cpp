#include "common/http/TlsTrust.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <cctype>
#include <ctime>
#include <utility>

namespace Kelvar::Http {

namespace {

int HexValue(char digit) noexcept {
  const auto byte = static_cast<unsigned char>(digit);
  if (std::isxdigit(byte) == 0) {
    return -1;
  }
  return std::isdigit(byte) != 0 ? byte - '0' : (byte | 0x20) - 'a' + 10;
}

/// In seconds since 1970; 0 for what cannot be told.
std::int64_t EndOf(const X509* certificate) noexcept {
  std::tm time{};
  if (certificate == nullptr || ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &time) != 1) {
    return 0;
  }
  return timegm(&time);
}

}  // namespace

struct TlsTrust::Checks {
  /// In place of OpenSSL's own verification, which still runs when there are certificates to verify with.
  static int Verify(X509_STORE_CTX* store, void* self) noexcept {
    const auto& trust = *static_cast<const TlsTrust*>(self);
    if (!trust.IsPinned(X509_STORE_CTX_get0_cert(store))) {
      X509_STORE_CTX_set_error(store, X509_V_ERR_APPLICATION_VERIFICATION);
      return 0;
    }
    if (!trust.caFile_.empty()) {
      return X509_verify_cert(store);
    }
    X509_STORE_CTX_set_error(store, X509_V_OK);
    return 1;
  }

  /// Where a context keeps its TlsTrust.
  static int Index() noexcept {
    static const int index = SSL_CTX_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    return index;
  }

  static void OnState(const SSL* connection, int where, int /*result*/) noexcept {
    void* const self = SSL_CTX_get_ex_data(SSL_get_SSL_CTX(connection), Index());
    if ((where & SSL_CB_HANDSHAKE_DONE) != 0 && self != nullptr) {
      const bool verified = SSL_get_verify_mode(connection) != SSL_VERIFY_NONE;
      static_cast<TlsTrust*>(self)->TakeHandshake(SSL_get_version(connection), verified,
                                                  EndOf(SSL_get0_peer_certificate(connection)));
    }
  }
};

TlsTrust::TlsTrust(std::string caFile, const std::string& fingerprint)
    : caFile_(std::move(caFile)), isPinned_(!fingerprint.empty()), digest_(Parse(fingerprint)) {}

std::optional<TlsTrust::Digest> TlsTrust::Parse(std::string_view text) noexcept {
  Digest digest{};
  std::size_t digits = 0;
  for (const char letter : text) {
    if (letter == ':') {
      continue;
    }
    const int value = HexValue(letter);
    if (value < 0 || digits == 2 * digest.size()) {
      return std::nullopt;
    }
    digest[digits / 2] = static_cast<unsigned char>(digest[digits / 2] << 4 | value);
    ++digits;
  }
  return digits == 2 * digest.size() ? std::optional(digest) : std::nullopt;
}

bool TlsTrust::IsPinned(const void* certificate) const noexcept {
  Digest found{};
  unsigned int size = 0;
  const auto* const x509 = static_cast<const X509*>(certificate);
  return digest_ && x509 != nullptr && X509_digest(x509, EVP_sha256(), found.data(), &size) == 1 && found == *digest_;
}

CURLcode TlsTrust::OnContext(CURL* /*handle*/, void* context, void* self) noexcept {
  auto* const tls = static_cast<SSL_CTX*>(context);
  SSL_CTX_set_keylog_callback(tls, nullptr);
  if (SSL_CTX_set_ex_data(tls, Checks::Index(), self) == 1) {
    SSL_CTX_set_info_callback(tls, &Checks::OnState);
  }
  if (static_cast<TlsTrust*>(self)->isPinned_) {
    SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(tls, &Checks::Verify, self);
  }
  return CURLE_OK;
}

void TlsTrust::TakeHandshake(const char* version, bool verified, std::int64_t certificateEnd) noexcept {
  const bool byAuthority = isPinned_ ? !caFile_.empty() : verified;
  last_.version = version;
  last_.certificate_end = certificateEnd;
  last_.verification = isPinned_ ? (byAuthority ? TlsVerification::PinAndAuthority : TlsVerification::Pin)
                                 : (byAuthority ? TlsVerification::Authority : TlsVerification::None);
}

CURLcode TlsTrust::Apply(CURL* handle) noexcept {
  if (!caFile_.empty()) {
    const CURLcode code = curl_easy_setopt(handle, CURLOPT_CAINFO, caFile_.c_str());
    if (code != CURLE_OK) {
      return code;
    }
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 2L);
  }
  // Only a libcurl with OpenSSL hands its context out.
  const CURLcode code = curl_easy_setopt(handle, CURLOPT_SSL_CTX_FUNCTION, &OnContext);
  if (code == CURLE_OK) {
    curl_easy_setopt(handle, CURLOPT_SSL_CTX_DATA, this);
  }
  return isPinned_ ? code : CURLE_OK;
}

}  // namespace Kelvar::Http

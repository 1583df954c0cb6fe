#include "common/http/TlsTrust.h"

#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>

#include <cctype>

namespace Kelvar::Http {

namespace {

int HexValue(char digit) noexcept {
  const auto byte = static_cast<unsigned char>(digit);
  if (std::isxdigit(byte) == 0) {
    return -1;
  }
  return std::isdigit(byte) != 0 ? byte - '0' : (byte | 0x20) - 'a' + 10;
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
};

TlsTrust::TlsTrust(const ConnectionOptions& options)
    : caFile_(options.tls_ca_file),
      isPinned_(!options.tls_pinned_fingerprint.empty()),
      digest_(Parse(options.tls_pinned_fingerprint)) {}

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
  if (static_cast<TlsTrust*>(self)->isPinned_) {
    SSL_CTX_set_verify(tls, SSL_VERIFY_PEER, nullptr);
    SSL_CTX_set_cert_verify_callback(tls, &Checks::Verify, self);
  }
  return CURLE_OK;
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

#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <curl/curl.h>

#include <kelvar/ConnectionOptions.h>
#include <kelvar/Diagnostics.h>

namespace Kelvar::Http {

/// Which certificate a target must have. Must outlive the handle that it was applied to: a connection may ask again.
class TlsTrust {
 public:
  /// As the options say. A fingerprint that is malformed trusts nobody.
  explicit TlsTrust(const ConnectionOptions& options) : TlsTrust(options.tls_ca_file, options.tls_pinned_fingerprint) {}
  TlsTrust(std::string caFile, const std::string& fingerprint);
  TlsTrust(const TlsTrust&) = delete;
  TlsTrust& operator=(const TlsTrust&) = delete;

  /// Before each transfer, after whatever else is set for TLS. Keeps the session keys from the file that the
  /// environment may name, too. An error when the options ask for what this libcurl cannot do.
  CURLcode Apply(CURL* handle) noexcept;

  /// Of the last connection that was made over TLS; its version is empty without one. It counts once libcurl has
  /// accepted the certificate, so after a transfer that succeeded.
  const DiagnosticTls& Last() const noexcept { return last_; }

 private:
  struct Checks;
  static constexpr std::size_t kDigestBytes = 32;
  using Digest = std::array<unsigned char, kDigestBytes>;

  static std::optional<Digest> Parse(std::string_view text) noexcept;
  static CURLcode OnContext(CURL* handle, void* context, void* self) noexcept;
  /// `version` lives as long as the program.
  void TakeHandshake(const char* version, bool verified, std::int64_t certificateEnd) noexcept;
  bool IsPinned(const void* certificate) const noexcept;

  const std::string caFile_;
  const bool isPinned_;
  const std::optional<Digest> digest_;
  DiagnosticTls last_;
};

}  // namespace Kelvar::Http

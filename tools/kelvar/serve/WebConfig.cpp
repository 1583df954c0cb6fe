#include "tools/kelvar/serve/WebConfig.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include "tools/kelvar/ExitCode.h"
#include "tools/kelvar/serve/WebConfigFile.h"

namespace Kelvar::Tool::Serve {

namespace {

namespace ssl = boost::asio::ssl;

std::string LastTlsError() {
  const unsigned long code = ERR_get_error();
  ERR_clear_error();
  const char* const reason = ERR_GET_LIB(code) == ERR_LIB_SYS ? nullptr : ERR_reason_error_string(code);
  return reason == nullptr ? "cannot be read" : reason;
}

/// Builds the context that a file describes.
class ContextBuilder {
 public:
  ContextBuilder(const std::string& file, const WebConfigFile::Tls& tls)
      : file_(file), tls_(tls), made_(std::make_shared<ssl::context>(ssl::context::tls_server)) {}

  std::shared_ptr<ssl::context> Build() {
    SSL_CTX_set_options(Handle(), SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_mode(Handle(), SSL_MODE_RELEASE_BUFFERS);
    SSL_CTX_set_session_cache_mode(Handle(), SSL_SESS_CACHE_OFF);
    constexpr unsigned char kName[] = "kelvar";
    SSL_CTX_set_session_id_context(Handle(), kName, sizeof kName);
    SSL_CTX_set_default_passwd_cb(Handle(), [](char*, int, int, void*) { return -1; });  // nobody is asked for one
    SSL_CTX_set_min_proto_version(Handle(), VersionOf(tls_.lowestVersion));
    SSL_CTX_set_max_proto_version(Handle(), VersionOf(tls_.highestVersion));
    LoadIdentity();
    LoadClientCa();
    SetCiphers();
    return std::move(made_);
  }

 private:
  [[noreturn]] void Refuse(int line, const std::string& why) const {
    throw ToolError(ExitCode::Usage, "web configuration " + file_ + ": line " + std::to_string(line) + ": " + why);
  }
  void Need(bool good, const WebText& setting, const char* what) const {
    if (!good) {
      Refuse(setting.line, std::string(what) + " " + setting.text + ": " + LastTlsError());
    }
  }

  SSL_CTX* Handle() const { return made_->native_handle(); }
  static int VersionOf(int version) { return version == 12 ? TLS1_2_VERSION : TLS1_3_VERSION; }

  void LoadIdentity() const {
    ERR_clear_error();
    Need(SSL_CTX_use_certificate_chain_file(Handle(), tls_.certificate.text.c_str()) == 1, tls_.certificate,
         "cert_file");
    Need(SSL_CTX_use_PrivateKey_file(Handle(), tls_.key.text.c_str(), SSL_FILETYPE_PEM) == 1, tls_.key, "key_file");
    Need(SSL_CTX_check_private_key(Handle()) == 1, tls_.key, "key_file");
  }

  void LoadClientCa() const {
    const bool needed = tls_.client == ClientCertificate::Any || tls_.client == ClientCertificate::Verified;
    const bool anything = tls_.client == ClientCertificate::Any || tls_.client == ClientCertificate::Requested;
    if (tls_.client == ClientCertificate::None) {
      return;
    }
    SSL_CTX_set_verify(Handle(), SSL_VERIFY_PEER | (needed ? SSL_VERIFY_FAIL_IF_NO_PEER_CERT : 0), nullptr);
    if (anything) {
      SSL_CTX_set_cert_verify_callback(
          Handle(), [](X509_STORE_CTX*, void*) { return 1; }, nullptr);
    }
    if (tls_.clientCa.line != 0) {
      const char* const authority = tls_.clientCa.text.c_str();
      Need(SSL_CTX_load_verify_locations(Handle(), authority, nullptr) == 1, tls_.clientCa, "client_ca_file");
      SSL_CTX_set_client_CA_list(Handle(), SSL_load_client_CA_file(authority));
    }
  }

  void SetCiphers() const {
    std::string curves;
    for (const std::string& curve : tls_.curves) {
      curves += (curves.empty() ? "" : ":") + curve;
    }
    if (!curves.empty()) {
      SSL_CTX_set1_curves_list(Handle(), curves.data());  // its macro casts to char*
    }
    std::string list;
    for (const WebText& suite : tls_.cipherSuites) {
      list += (list.empty() ? "" : ":") + CipherNamed(suite);
    }
    if (!list.empty() && SSL_CTX_set_cipher_list(Handle(), list.c_str()) != 1) {
      Refuse(tls_.cipherSuites.front().line, "cipher_suites: " + LastTlsError());
    }
  }

  /// OpenSSL's own name of a suite for TLS 1.2.
  std::string CipherNamed(const WebText& suite) const {
    STACK_OF(SSL_CIPHER)* const known = SSL_CTX_get_ciphers(Handle());
    for (int number = 0; number < sk_SSL_CIPHER_num(known); ++number) {
      const SSL_CIPHER* const cipher = sk_SSL_CIPHER_value(known, number);
      if (suite.text == SSL_CIPHER_standard_name(cipher)) {
        return SSL_CIPHER_get_name(cipher);
      }
    }
    Refuse(suite.line, "unknown or weak cipher suite");
  }

  const std::string& file_;
  const WebConfigFile::Tls& tls_;
  std::shared_ptr<ssl::context> made_;
};

}  // namespace

std::shared_ptr<const WebConfig> LoadWebConfig(const std::string& file) {
  auto config = std::make_shared<WebConfig>();
  if (file.empty()) {
    return config;
  }
  WebConfigFile read = ReadWebConfigFile(file);
  if (read.hasTls) {
    config->tls = ContextBuilder(file, read.tls).Build();
  }
  config->headers = std::move(read.headers);
  config->users = std::move(read.users);
  return config;
}

}  // namespace Kelvar::Tool::Serve

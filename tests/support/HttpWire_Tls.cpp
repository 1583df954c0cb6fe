#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <stdexcept>

#include "support/HttpWire.h"

namespace Kelvar::Test {

namespace {

template <auto Free>
struct Freer {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};

using KeyOwner = std::unique_ptr<EVP_PKEY, Freer<EVP_PKEY_free>>;
using CertificateOwner = std::unique_ptr<X509, Freer<X509_free>>;
using ContextOwner = std::unique_ptr<SSL_CTX, Freer<SSL_CTX_free>>;
using SslOwner = std::unique_ptr<SSL, Freer<SSL_free>>;

void AddExtension(X509* certificate, int kind, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
  X509_EXTENSION* extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
  X509_add_ext(certificate, extension, -1);
  X509_EXTENSION_free(extension);
}

CertificateOwner MakeCertificate(EVP_PKEY* key) {
  CertificateOwner certificate(X509_new());
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -86400);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
  X509_set_pubkey(certificate.get(), key);
  X509_NAME* name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("localhost"), -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  AddExtension(certificate.get(), NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(certificate.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
  if (X509_sign(certificate.get(), key, EVP_sha256()) == 0) {
    throw std::runtime_error("the test server's certificate could not be signed");
  }
  return certificate;
}

/// Key, certificate and server context, made once per process.
struct Identity {
  KeyOwner key{EVP_EC_gen("P-256")};  // NOLINT(clang-diagnostic-cast-qual): within the macro
  CertificateOwner certificate = MakeCertificate(key.get());
  ContextOwner context{SSL_CTX_new(TLS_server_method())};

  Identity() {
    if (SSL_CTX_use_certificate(context.get(), certificate.get()) != 1 ||
        SSL_CTX_use_PrivateKey(context.get(), key.get()) != 1) {
      throw std::runtime_error("the test server's certificate could not be used");
    }
  }
};

const Identity& TheIdentity() {
  static const Identity kIdentity;
  return kIdentity;
}

class TlsWire : public HttpWire {
 public:
  explicit TlsWire(SslOwner ssl) : ssl_(std::move(ssl)) {}

  long Read(char* buffer, std::size_t size) override {
    std::size_t got = 0;
    return SSL_read_ex(ssl_.get(), buffer, size, &got) == 1 ? static_cast<long>(got) : 0;
  }

  bool Write(std::string_view bytes) override {
    std::size_t sent = 0;
    return bytes.empty() || SSL_write_ex(ssl_.get(), bytes.data(), bytes.size(), &sent) == 1;
  }

 private:
  SslOwner ssl_;
};

}  // namespace

std::unique_ptr<HttpWire> HttpWire::Tls(int socket) {
  SslOwner ssl(SSL_new(TheIdentity().context.get()));
  if (!ssl || SSL_set_fd(ssl.get(), socket) != 1 || SSL_accept(ssl.get()) != 1) {
    return nullptr;
  }
  return std::make_unique<TlsWire>(std::move(ssl));
}

std::string ScriptedHttpServer::CertificatePem() {
  BIO* memory = BIO_new(BIO_s_mem());
  PEM_write_bio_X509(memory, TheIdentity().certificate.get());
  char* text = nullptr;
  const long size = BIO_get_mem_data(memory, &text);
  std::string pem(text, static_cast<std::size_t>(size));
  BIO_free(memory);
  return pem;
}

}  // namespace Kelvar::Test

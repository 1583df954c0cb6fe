#include "simulator/http/Certificate.h"

#include <memory>
#include <stdexcept>

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

namespace Kelvar::Simulator {

namespace {

struct Free {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
  void operator()(X509* certificate) const { X509_free(certificate); }
  void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
  void operator()(BIO* bio) const { BIO_free(bio); }
};

template <class T>
using Owned = std::unique_ptr<T, Free>;

void Require(bool done) {
  if (!done) {
    throw std::runtime_error("cannot make a certificate");
  }
}

void AddExtension(X509& certificate, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, &certificate, &certificate, nullptr, nullptr, 0);
  const Owned<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  Require(extension != nullptr && X509_add_ext(&certificate, extension.get(), -1) == 1);
}

void SetName(X509& certificate) {
  X509_NAME* name = X509_get_subject_name(&certificate);
  const auto* words = reinterpret_cast<const unsigned char*>("localhost");
  Require(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, words, -1, -1, 0) == 1);
  Require(X509_set_issuer_name(&certificate, name) == 1);
}

std::string TextIn(BIO& bio) {
  char* data = nullptr;
  const long size = BIO_get_mem_data(&bio, &data);
  return {data, static_cast<std::size_t>(size)};
}

}  // namespace

Certificate MakeCertificate() {
  constexpr long kDay = 24L * 60 * 60;
  const Owned<EVP_PKEY> key(EVP_EC_gen("P-256"));
  const Owned<X509> certificate(X509_new());
  Require(key != nullptr && certificate != nullptr);
  Require(X509_set_version(certificate.get(), 2) == 1);
  // Clients refuse two certificates of one issuer with the same number.
  std::uint32_t serial = 0;
  Require(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1);
  Require(ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()), serial) == 1);
  Require(X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -kDay) != nullptr);
  Require(X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 365 * kDay) != nullptr);
  Require(X509_set_pubkey(certificate.get(), key.get()) == 1);
  SetName(*certificate);
  AddExtension(*certificate, NID_basic_constraints, "critical,CA:TRUE");
  AddExtension(*certificate, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1,IP:::1");
  Require(X509_sign(certificate.get(), key.get(), EVP_sha256()) > 0);

  const Owned<BIO> certificateText(BIO_new(BIO_s_mem()));
  const Owned<BIO> keyText(BIO_new(BIO_s_mem()));
  Require(PEM_write_bio_X509(certificateText.get(), certificate.get()) == 1);
  Require(PEM_write_bio_PrivateKey(keyText.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1);
  return {TextIn(*certificateText), TextIn(*keyText)};
}

}  // namespace Kelvar::Simulator

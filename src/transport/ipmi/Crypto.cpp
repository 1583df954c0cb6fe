#include "transport/ipmi/Crypto.h"

#include <algorithm>

#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include "common/text/ByteReader.h"
#include "transport/ipmi/IpmiClientInterface.h"

namespace Kelvar::Ipmi {
namespace {

void Require(bool worked, const char* what) {
  if (!worked) {
    throw IpmiException(std::string("libcrypto: ") + what + " failed");
  }
}

/// Takes back what a failure leaves in this thread's queue of errors, which belongs to the host program.
class ErrorQueueGuard {
 public:
  ErrorQueueGuard() noexcept { ERR_set_mark(); }
  ~ErrorQueueGuard() { ERR_pop_to_mark(); }
  ErrorQueueGuard(const ErrorQueueGuard&) = delete;
  ErrorQueueGuard& operator=(const ErrorQueueGuard&) = delete;
};

struct FreeFetched {
  void operator()(EVP_MAC* mac) const { EVP_MAC_free(mac); }
  void operator()(EVP_CIPHER* cipher) const { EVP_CIPHER_free(cipher); }
};

}  // namespace

Secret::Secret(ByteView bytes) : size_(std::min(bytes.size(), bytes_.size())) {
  std::copy_n(bytes.begin(), size_, bytes_.begin());
}

Secret::~Secret() {
  OPENSSL_cleanse(bytes_.data(), bytes_.size());
}

Hmac::Hmac(const char* digest, ByteView key) {
  const ErrorQueueGuard guard;
  const std::unique_ptr<EVP_MAC, FreeFetched> mac(EVP_MAC_fetch(nullptr, "HMAC", nullptr));
  Require(mac != nullptr, "HMAC");
  context_.reset(EVP_MAC_CTX_new(mac.get()));
  Require(context_ != nullptr, "HMAC context");
  std::string name(digest);
  const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_MAC_PARAM_DIGEST, name.data(), 0),
                                   OSSL_PARAM_construct_end()};
  const u8 none = 0;  // a null key would mean "the key of before"
  Require(EVP_MAC_init(context_.get(), key.empty() ? &none : key.data(), key.size(), parameters) == 1, digest);
}

Secret Hmac::Of(ByteView message) {
  return Of({message});
}

Secret Hmac::Of(std::initializer_list<ByteView> pieces) {
  const ErrorQueueGuard guard;
  Require(EVP_MAC_init(context_.get(), nullptr, 0, nullptr) == 1, "HMAC start");
  for (const ByteView piece : pieces) {
    Require(EVP_MAC_update(context_.get(), piece.data(), piece.size()) == 1, "HMAC update");
  }
  Secret code;
  Require(EVP_MAC_final(context_.get(), code.bytes_.data(), &code.size_, code.bytes_.size()) == 1, "HMAC end");
  return code;
}

AesCbc::AesCbc(ByteView key) : encrypt_(EVP_CIPHER_CTX_new()), decrypt_(EVP_CIPHER_CTX_new()) {
  const ErrorQueueGuard guard;
  const std::unique_ptr<EVP_CIPHER, FreeFetched> cipher(EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr));
  Require(cipher && encrypt_ && decrypt_ && key.size() >= kBlock, "AES-128-CBC");
  Require(EVP_CipherInit_ex2(encrypt_.get(), cipher.get(), key.data(), nullptr, 1, nullptr) == 1, "AES key");
  Require(EVP_CipherInit_ex2(decrypt_.get(), cipher.get(), key.data(), nullptr, 0, nullptr) == 1, "AES key");
}

void AesCbc::Run(ByteView initVector, std::span<u8> inPlace, bool encrypt) {
  const ErrorQueueGuard guard;
  EVP_CIPHER_CTX* context = encrypt ? encrypt_.get() : decrypt_.get();
  Require(initVector.size() == kBlock && inPlace.size() % kBlock == 0, "AES size");
  Require(EVP_CipherInit_ex2(context, nullptr, nullptr, initVector.data(), -1, nullptr) == 1, "AES start");
  EVP_CIPHER_CTX_set_padding(context, 0);
  int written = 0;
  Require(EVP_CipherUpdate(context, inPlace.data(), &written, inPlace.data(), static_cast<int>(inPlace.size())) == 1 &&
              static_cast<std::size_t>(written) == inPlace.size(),
          "AES");
}

std::array<u8, 16> Md5(std::initializer_list<ByteView> pieces) {
  const ErrorQueueGuard guard;
  struct Free {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  const std::unique_ptr<EVP_MD_CTX, Free> context(EVP_MD_CTX_new());
  Require(context && EVP_DigestInit_ex2(context.get(), EVP_md5(), nullptr) == 1, "MD5");
  for (const ByteView piece : pieces) {
    Require(EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1, "MD5 update");
  }
  std::array<u8, 16> digest{};
  Require(EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) == 1, "MD5 end");
  return digest;
}

void FillRandom(std::span<u8> bytes) {
  const ErrorQueueGuard guard;
  Require(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "random numbers");
}

u32 RandomNumber() {
  std::array<u8, 4> bytes{};
  FillRandom(bytes);
  const u32 number = Text::ByteReader(bytes).U32();
  return number == 0 ? 1 : number;
}

void Wipe(std::span<u8> bytes) {
  OPENSSL_cleanse(bytes.data(), bytes.size());
}

bool SameBytes(ByteView left, ByteView right) {
  return left.size() == right.size() && CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

}  // namespace Kelvar::Ipmi

#pragma once

#include <array>
#include <memory>

#include <openssl/evp.h>

#include "transport/ipmi/WireBytes.h"

namespace Kelvar::Ipmi {

/// Keys and hashes, wiped when they go out of use. At most 32 bytes.
class Secret {
 public:
  Secret() = default;
  explicit Secret(ByteView bytes);
  Secret(const Secret& other) = default;
  Secret& operator=(const Secret& other) = default;
  ~Secret();

  ByteView View() const { return {bytes_.data(), size_}; }
  ByteView First(std::size_t count) const { return View().first(count < size_ ? count : size_); }

 private:
  friend class Hmac;
  std::array<u8, 32> bytes_{};
  std::size_t size_ = 0;
};

/// Keyed hash with one key for many messages. Failures of libcrypto throw IpmiException, here and below.
class Hmac {
 public:
  Hmac(const char* digest, ByteView key);
  Secret Of(ByteView message);
  Secret Of(std::initializer_list<ByteView> pieces);

 private:
  struct Free {
    void operator()(EVP_MAC_CTX* context) const { EVP_MAC_CTX_free(context); }
  };
  std::unique_ptr<EVP_MAC_CTX, Free> context_;
};

/// AES-128 in CBC mode without padding of its own: sizes are multiples of 16.
class AesCbc {
 public:
  static constexpr std::size_t kBlock = 16;
  /// The first 16 bytes of `key` count.
  explicit AesCbc(ByteView key);
  void Encrypt(ByteView initVector, std::span<u8> inPlace) { Run(initVector, inPlace, true); }
  void Decrypt(ByteView initVector, std::span<u8> inPlace) { Run(initVector, inPlace, false); }

 private:
  void Run(ByteView initVector, std::span<u8> inPlace, bool encrypt);

  struct Free {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
  };
  std::unique_ptr<EVP_CIPHER_CTX, Free> encrypt_;
  std::unique_ptr<EVP_CIPHER_CTX, Free> decrypt_;
};

std::array<u8, 16> Md5(std::initializer_list<ByteView> pieces);
void FillRandom(std::span<u8> bytes);
/// Never 0.
u32 RandomNumber();
void Wipe(std::span<u8> bytes);
/// In a time that depends on the sizes alone.
bool SameBytes(ByteView left, ByteView right);

}  // namespace Kelvar::Ipmi

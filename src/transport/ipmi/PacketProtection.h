#pragma once

#include <optional>

#include "transport/ipmi/Crypto.h"
#include "transport/ipmi/RmcpPacket.h"

namespace Kelvar::Ipmi {

/// Appends a random initialisation vector and the encrypted message with its padding.
void AppendEncrypted(Bytes& to, AesCbc& cipher, ByteView message);
/// Decrypts in place. Nothing when the size or the padding is wrong.
std::optional<ByteView> Decrypt(std::span<u8> payload, AesCbc& cipher);

/// Appends padding and the first `size` bytes of the authentication code to a packet that begins with its RMCP header.
void AppendTrailer(Bytes& packet, Hmac& integrity, std::size_t size);
/// Whether the trailer is whole and its code, of `size` bytes, is the right one.
bool TrailerFits(const RmcpPlusPacket& packet, Hmac& integrity, std::size_t size);

/// Session sequence numbers seen so far: takes each once, any number ahead, and those late by less than 32.
class SequenceWindow {
 public:
  /// Numbers begin after `before`.
  explicit SequenceWindow(u32 before = 0) : newest_(before) {}
  bool Take(u32 sequence);

 private:
  u32 newest_;
  u32 seen_ = 1;  ///< bit n: newest_ - n
};

}  // namespace Kelvar::Ipmi

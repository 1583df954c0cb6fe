#include "transport/ipmi/PacketProtection.h"

namespace Kelvar::Ipmi {
namespace {

constexpr u8 kNextHeader = 0x07;
constexpr u8 kIntegrityPad = 0xFF;

}  // namespace

void AppendEncrypted(Bytes& to, AesCbc& cipher, ByteView message) {
  const std::size_t start = to.size();
  to.resize(start + AesCbc::kBlock);
  FillRandom(std::span(to).subspan(start));
  Append(to, message);
  const std::size_t padding = (AesCbc::kBlock - (message.size() + 1) % AesCbc::kBlock) % AesCbc::kBlock;
  for (std::size_t count = 1; count <= padding; ++count) {
    to.push_back(static_cast<u8>(count));
  }
  to.push_back(static_cast<u8>(padding));
  const auto vector = std::span(to).subspan(start, AesCbc::kBlock);
  cipher.Encrypt(vector, std::span(to).subspan(start + AesCbc::kBlock));
}

std::optional<ByteView> Decrypt(std::span<u8> payload, AesCbc& cipher) {
  if (payload.size() < 2 * AesCbc::kBlock || payload.size() % AesCbc::kBlock != 0) {
    return std::nullopt;
  }
  const auto text = payload.subspan(AesCbc::kBlock);
  cipher.Decrypt(payload.first(AesCbc::kBlock), text);
  const std::size_t padding = text.back();
  if (padding >= AesCbc::kBlock || padding >= text.size()) {
    return std::nullopt;
  }
  const std::size_t size = text.size() - 1 - padding;
  for (std::size_t index = 0; index < padding; ++index) {
    if (text[size + index] != index + 1) {
      return std::nullopt;
    }
  }
  return text.first(size);
}

void AppendTrailer(Bytes& packet, Hmac& integrity, std::size_t size) {
  constexpr std::size_t kFixed = 2;  // pad length and next header
  const std::size_t length = packet.size() - kRmcpHeaderSize + kFixed;
  const std::size_t padding = (4 - length % 4) % 4;
  packet.insert(packet.end(), padding, kIntegrityPad);
  packet.push_back(static_cast<u8>(padding));
  packet.push_back(kNextHeader);
  const Secret code = integrity.Of(ByteView(packet).subspan(kRmcpHeaderSize));
  Append(packet, code.First(size));
}

bool TrailerFits(const RmcpPlusPacket& packet, Hmac& integrity, std::size_t size) {
  constexpr std::size_t kFixed = 2;
  const ByteView trailer = packet.trailer;
  if (trailer.size() < size + kFixed) {
    return false;
  }
  const std::size_t padding = trailer.size() - size - kFixed;
  if (padding > 3 || trailer[padding] != padding || trailer[padding + 1] != kNextHeader) {
    return false;
  }
  const Secret code = integrity.Of(packet.afterHeader.first(packet.afterHeader.size() - size));
  return SameBytes(code.First(size), trailer.last(size));
}

bool SequenceWindow::Take(u32 sequence) {
  constexpr u32 kWidth = 32;
  const u32 ahead = sequence - newest_;
  if (ahead != 0 && ahead < 0x80000000U) {
    seen_ = ahead < kWidth ? (seen_ << ahead) | 1U : 1U;
    newest_ = sequence;
    return true;
  }
  const u32 behind = newest_ - sequence;
  if (behind >= kWidth || ((seen_ >> behind) & 1U) != 0) {
    return false;
  }
  seen_ |= 1U << behind;
  return true;
}

}  // namespace Kelvar::Ipmi

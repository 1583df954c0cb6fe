// What an RMCP+ packet with a right authentication code holds once decrypted: any padding, any message. It is taken
// once.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/Check.h"
#include "transport/ipmi/IpmiMessage.h"
#include "transport/ipmi/Rakp.h"
#include "transport/ipmi/RmcpPlusSession.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr u32 kId = 1;
  constexpr std::size_t kMost = 1024;
  static const Secret key(Bytes(20, 1));
  Bytes text(data, data + std::min(size, kMost));
  text.resize(text.size() / AesCbc::kBlock * AesCbc::kBlock);
  const Bytes plain = text;
  Bytes payload(AesCbc::kBlock);
  AesCbc(DerivedKey(kSuite3, key, 2).View()).Encrypt(payload, text);
  Append(payload, text);
  RmcpPlusPacket fields;
  fields.encrypted = fields.authenticated = true;
  fields.sessionId = kId;
  fields.sequence = 1;
  fields.payload = payload;
  Bytes packet;
  AppendRmcpPlusPacket(packet, fields);
  Hmac integrity(kSuite3.digest, DerivedKey(kSuite3, key, 1).View());
  AppendTrailer(packet, integrity, kSuite3.integritySize);
  RmcpPlusSession session(kSuite3, key, kId, kId);
  Bytes again = packet;
  if (const auto message = session.Unwrap(packet)) {
    FUZZ_CHECK(message->size() < text.size() && message->size() + AesCbc::kBlock >= text.size());
    FUZZ_CHECK(std::equal(message->begin(), message->end(), plain.begin()));
    FUZZ_CHECK(plain.back() == plain.size() - message->size() - 1);
    (void)DecodeReply(*message);
    (void)DecodeRakp4(*message);
  }
  FUZZ_CHECK(!session.Unwrap(again));
  return 0;
}

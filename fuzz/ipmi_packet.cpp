// Datagrams as they come off the wire: every decoder that sees them before their authenticity is known. What is taken
// for a packet is written again to the same bytes, and nothing without the right code gets into a session.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "fuzz/Check.h"
#include "transport/ipmi/Ipmi15Session.h"
#include "transport/ipmi/IpmiMessage.h"
#include "transport/ipmi/RmcpPlusSession.h"
#include "transport/ipmi/SessionNegotiator.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

namespace {

void DecodeAll(ByteView payload) {
  const auto open = DecodeOpenSessionReply(payload);
  FUZZ_CHECK(!open || open->status != 0 || payload.size() >= 36);
  const auto rakp2 = DecodeRakp2(payload);
  FUZZ_CHECK(!rakp2 || rakp2->status != 0 || rakp2->code.size() == payload.size() - 40);
  const auto rakp4 = DecodeRakp4(payload);
  FUZZ_CHECK(!rakp4 || rakp4->code.size() <= payload.size());
  const auto reply = DecodeReply(payload);
  FUZZ_CHECK(!reply || reply->reply.data.size() == payload.size() - 8);
  FUZZ_CHECK(DecodeSuiteRecords(payload).size() <= payload.size());
  FUZZ_CHECK(DecodeAuthCapabilities(payload).has_value() == (payload.size() >= 4));
}

/// The RMCP header has bytes that mean nothing.
void CheckWritten(const Bytes& written, ByteView input) {
  FUZZ_CHECK(written.size() <= input.size());
  FUZZ_CHECK(std::equal(written.begin() + kRmcpHeaderSize, written.end(), input.begin() + kRmcpHeaderSize));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input(data, size);
  DecodeAll(input);
  const auto packet15 = ParseIpmi15Packet(input);
  const auto packetPlus = ParseRmcpPlusPacket(input);
  FUZZ_CHECK(!packet15 || !packetPlus);
  Bytes written;
  if (packet15) {
    DecodeAll(packet15->message);
    AppendIpmi15Packet(written, *packet15);
    CheckWritten(written, input);
  }
  if (packetPlus) {
    DecodeAll(packetPlus->payload);
    AppendRmcpPlusPacket(written, *packetPlus);
    CheckWritten(written, input);
    FUZZ_CHECK(written.size() + packetPlus->trailer.size() == size);
  }
  static const Credentials credentials("admin", "kelvar-demo");
  Bytes copy(input.begin(), input.end());
  const auto message = NoSession().Unwrap(copy);
  FUZZ_CHECK(!message || (packet15 && packet15->sessionId == 0));
  FUZZ_CHECK(!Ipmi15Session(credentials, {AuthType::Md5, 1, 1}, 1).Unwrap(copy));
  (void)Ipmi15Session(credentials, {AuthType::Password, 1, 1}, 1).Unwrap(copy);
  (void)Ipmi15Session(credentials, {AuthType::None, 1, 1}, 1).Unwrap(copy);
  for (const CipherSuite* suite : kCipherSuites) {
    FUZZ_CHECK(!RmcpPlusSession(*suite, Secret(Bytes(20, 1)), 1, 1).Unwrap(copy));
    FUZZ_CHECK(std::equal(copy.begin(), copy.end(), input.begin()));  // nothing was decrypted
  }
  return 0;
}

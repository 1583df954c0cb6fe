// Datagrams as they come off the wire: every decoder that sees them before their authenticity is known.

#include <cstddef>
#include <cstdint>

#include "common/ipmi/Ipmi15Session.h"
#include "common/ipmi/IpmiMessage.h"
#include "common/ipmi/LanOpening.h"
#include "common/ipmi/RmcpPlusSession.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

namespace {

void DecodeAll(ByteView payload) {
  (void)DecodeOpenSessionReply(payload);
  (void)DecodeRakp2(payload);
  (void)DecodeRakp4(payload);
  (void)DecodeReply(payload, {kNetFnApplication, 0x01, 1});
  (void)DecodeSuiteRecords(payload);
  (void)DecodeAuthCapabilities(payload);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const ByteView input(data, size);
  DecodeAll(input);
  if (const auto packet = ParsePacket15(input)) {
    DecodeAll(packet->message);
  }
  if (const auto packet = ParsePacketPlus(input)) {
    DecodeAll(packet->payload);
  }
  static const Login login("admin", "kelvar-demo");
  Bytes copy(input.begin(), input.end());
  (void)NoSession().Unwrap(copy);
  (void)Ipmi15Session(login, {AuthType::Md5, 1, 1}, 1).Unwrap(copy);
  (void)Ipmi15Session(login, {AuthType::None, 1, 1}, 1).Unwrap(copy);
  for (const CipherSuite* suite : {&kSuite3, &kSuite17}) {
    (void)RmcpPlusSession(*suite, Secret(Bytes(20, 1)), 1, 1).Unwrap(copy);
  }
  return 0;
}

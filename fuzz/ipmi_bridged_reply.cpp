// Replies to bridged commands, with checksums that are made right so that the rest is looked at: as messages of their
// own and inside of the reply to Send Message, which must come to the same.

#include <cstddef>
#include <cstdint>
#include <numeric>

#include "fuzz/Check.h"
#include "transport/ipmi/BridgedMessage.h"

using namespace Kelvar;
using namespace Kelvar::Ipmi;

namespace {

constexpr std::size_t kHead = 2;

void AppendChecksum(Bytes& to, std::size_t from) {
  to.push_back(static_cast<u8>(0U - std::accumulate(to.begin() + static_cast<std::ptrdiff_t>(from), to.end(), 0U)));
}

Bytes Framed(ByteView bytes) {
  const ByteView head = bytes.first(std::min(kHead, bytes.size()));
  Bytes message(head.begin(), head.end());
  AppendChecksum(message, 0);
  const std::size_t body = message.size();
  Append(message, bytes.subspan(head.size()));
  AppendChecksum(message, body);
  return message;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using Kind = BridgedReply::Kind;
  const ControllerAddress satellite{0x2C, 0, 1};
  const RequestKey key{0x04, 0x2D, 0};
  const ByteView input(data, size);
  const Bytes message = Framed(input);
  const BridgedReply alone = DecodeBridgedReply(message, satellite, key);
  FUZZ_CHECK(alone.kind != Kind::Answered || alone.reply.data.size() <= size);
  FUZZ_CHECK(alone.kind != Kind::HandedOn || alone.reply.data.empty());
  (void)DecodeBridgedReply(input, satellite, key);

  Bytes outer{kRemoteConsole,    (kNetFnApplication | 1) << 2,
              kServiceProcessor, static_cast<u8>(alone.sequence << 2),
              kSendMessage,      0};
  Append(outer, message);
  const BridgedReply inside = DecodeBridgedReply(Framed(outer), satellite, key);
  FUZZ_CHECK((inside.kind == Kind::Answered) == (alone.kind == Kind::Answered && size >= 6 && input[2] == 0x2C));
  FUZZ_CHECK(inside.kind != Kind::Answered || inside.reply.data == alone.reply.data);
  return 0;
}

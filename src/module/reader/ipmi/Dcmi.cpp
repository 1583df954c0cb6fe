#include "module/reader/ipmi/Dcmi.h"

#include <algorithm>
#include <iterator>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/TypedText.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kGroup = 0xDC;
constexpr u8 kGetCapabilities = 0x01;
constexpr u8 kGetPowerReading = 0x02;
constexpr u8 kGetAssetTag = 0x06;
constexpr u8 kGetControllerId = 0x09;

/// Data without the group; a response of another group is none.
CommandReply Run(ReadingContext& context, u8 command, std::vector<u8> data) {
  data.insert(data.begin(), kGroup);
  CommandReply reply = context.commands.Run(kNetFnGroupExtension, command, std::move(data));
  if (reply.Ok() && (reply.data.empty() || reply.data[0] != kGroup)) {
    return {Outcome::NotOffered, reply.completionCode, {}};
  }
  if (reply.Ok()) {
    reply.data.erase(reply.data.begin());
  }
  return reply;
}

bool IsOffered(ReadingContext& context) {
  constexpr u8 kSupported = 0x01;
  if (!context.hasDcmi) {
    context.hasDcmi = Run(context, kGetCapabilities, {kSupported}).Ok();
  }
  return *context.hasDcmi;
}

/// A text that is read in pieces: each response has the length of the whole first.
std::string ReadText(ReadingContext& context, u8 command, const char* what, FamilyProgress& progress) {
  constexpr std::size_t kLongest = 64;
  constexpr std::size_t kPiece = 16;
  std::vector<u8> text;
  std::size_t length = IsOffered(context) ? kPiece : 0;
  while (text.size() < length) {
    const auto count = static_cast<u8>(std::min(kPiece, length - text.size()));
    const CommandReply reply = Run(context, command, {static_cast<u8>(text.size()), count});
    if (!reply.Ok() && !reply.IsAbsent()) {
      progress.Miss(reply, what);
    }
    Text::ByteReader reader(reply.data);
    length = std::min<std::size_t>(reader.U8(), kLongest);
    const auto piece = reader.Rest();
    if (!reply.Ok() || piece.empty()) {
      break;
    }
    text.insert(text.end(), piece.begin(), piece.end());
  }
  text.resize(std::min(text.size(), length));
  constexpr u8 kByteOrderMark[] = {0xEF, 0xBB, 0xBF};  // some targets begin UTF-8 with it
  const bool marked =
      text.size() >= 3 && std::equal(std::begin(kByteOrderMark), std::end(kByteOrderMark), text.begin());
  return WithoutPlaceholder(DecodeLatin1(std::span(text).subspan(marked ? 3 : 0)));
}

}  // namespace

std::string ControllerName(ReadingContext& context, FamilyProgress& progress) {
  if (!context.controllerName) {
    context.controllerName = ReadText(context, kGetControllerId, "controller identifier", progress);
  }
  return *context.controllerName;
}

std::string DcmiAssetTag(ReadingContext& context, FamilyProgress& progress) {
  return ReadText(context, kGetAssetTag, "asset tag", progress);
}

std::optional<double> ParseDcmiPower(std::span<const u8> data) noexcept {
  constexpr std::size_t kStatistics = 14;  // lowest, highest, average; time stamp and period
  constexpr u8 kActive = 0x40;
  Text::ByteReader reader(data);
  const u16 watts = reader.U16();
  reader.Skip(kStatistics);
  const bool active = (reader.U8() & kActive) != 0;
  return reader.Ok() && active ? std::optional<double>(watts) : std::nullopt;
}

std::optional<Model::Sensor> DcmiPower(ReadingContext& context, FamilyProgress& progress) {
  constexpr u8 kSystemStatistics = 0x01;
  if (!IsOffered(context)) {
    return std::nullopt;
  }
  const CommandReply reply = Run(context, kGetPowerReading, {kSystemStatistics, 0, 0});
  if (!reply.Ok() && !reply.IsAbsent()) {
    progress.Miss(reply, "power reading");
  }
  const auto watts = reply.Ok() ? ParseDcmiPower(reply.data) : std::nullopt;
  if (!watts) {
    return std::nullopt;
  }
  Model::Sensor sensor;
  sensor.id = "dcmi-power";
  sensor.name = "System power";
  sensor.kind = "power";
  sensor.reading = watts;
  sensor.unit = "W";
  sensor.state = "enabled";
  sensor.parent = kSystemId;
  return sensor;
}

}  // namespace Kelvar::Reader::Ipmi

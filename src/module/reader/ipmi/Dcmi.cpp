#include "module/reader/ipmi/Dcmi.h"

#include <algorithm>
#include <iterator>

#include "common/text/ByteReader.h"
#include "module/reader/ipmi/TypedText.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kGroup = 0xDC;

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

/// A target that was too busy to say is asked again next time; one that drops or refuses the question has no DCMI.
bool IsOffered(ReadingContext& context, FamilyProgress& progress) {
  constexpr u8 kSupported = 0x01;
  if (!context.hasDcmi) {
    const CommandReply reply = Run(context, kGetDcmiCapabilities, {kSupported});
    if (reply.IsUnsent() || (reply.outcome == Outcome::Failed && IsBusyCode(reply.completionCode))) {
      progress.Miss(reply, "DCMI capabilities");
      return false;
    }
    context.hasDcmi = reply.Ok();
  }
  return *context.hasDcmi;
}

/// A text that is read in pieces: each response has the length of the whole first. Nothing when that failed.
std::optional<std::string> ReadText(ReadingContext& context, u8 command, const char* what, FamilyProgress& progress) {
  constexpr std::size_t kLongest = 64;
  constexpr std::size_t kPiece = 16;
  std::vector<u8> text;
  const bool offered = IsOffered(context, progress);
  bool failed = !context.hasDcmi;
  std::size_t length = offered ? kPiece : 0;
  while (text.size() < length) {
    const auto count = static_cast<u8>(std::min(kPiece, length - text.size()));
    const CommandReply reply = Run(context, command, {static_cast<u8>(text.size()), count});
    if (!reply.Ok() && !reply.IsAbsent()) {
      progress.Miss(reply, what);
      failed = true;
    }
    Text::ByteReader reader(reply.data);
    length = std::min<std::size_t>(reader.U8(), kLongest);
    const auto piece = reader.Bytes(std::min<std::size_t>(reader.Remaining(), count));
    if (!reply.Ok() || piece.empty()) {
      break;
    }
    text.insert(text.end(), piece.begin(), piece.end());
  }
  if (failed) {
    return std::nullopt;
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
    context.controllerName = ReadText(context, kGetDcmiControllerId, "controller identifier", progress);
  }
  return context.controllerName.value_or("");
}

std::string DcmiAssetTag(ReadingContext& context, FamilyProgress& progress) {
  return ReadText(context, kGetDcmiAssetTag, "asset tag", progress).value_or("");
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
  if (!IsOffered(context, progress)) {
    return std::nullopt;
  }
  const CommandReply reply = Run(context, kGetDcmiPowerReading, {kSystemStatistics, 0, 0});
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

#include "module/reader/ipmi/CipherSuites.h"

#include <algorithm>

#include "common/text/ByteReader.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr u8 kStandardSuite = 0xC0;
constexpr u8 kOemSuite = 0xC1;

/// All records of a channel, which come in pieces.
std::vector<u8> ReadRecords(ReadingContext& context, u8 channel, FamilyProgress& progress) {
  constexpr u8 kBySuite = 0x80;
  constexpr u8 kMostPieces = 0x40;
  constexpr std::size_t kWholePiece = 16;
  std::vector<u8> records;
  std::vector<u8> before;
  for (u8 index = 0; index < kMostPieces; ++index) {
    const CommandReply reply =
        context.commands.Run(kNetFnApplication, kGetCipherSuites, {channel, 0, static_cast<u8>(kBySuite | index)});
    if (!reply.Ok()) {
      if (!reply.IsAbsent()) {
        progress.Miss(reply, "cipher suites of channel " + std::to_string(channel));
      }
      break;
    }
    if (reply.data.size() < 2 || reply.data == before) {
      break;  // the end, or a target that always gives the same
    }
    records.insert(records.end(), reply.data.begin() + 1, reply.data.end());
    if (reply.data.size() <= kWholePiece) {
      break;
    }
    before = reply.data;
  }
  return records;
}

}  // namespace

std::vector<std::string> ParseCipherSuites(std::span<const u8> records) {
  std::vector<std::string> suites;
  Text::ByteReader reader(records);
  while (reader.Ok() && reader.Remaining() > 0) {
    const u8 start = reader.U8();
    if (start != kStandardSuite && start != kOemSuite) {
      continue;  // an algorithm of the suite before
    }
    std::string suite = std::to_string(reader.U8());
    if (start == kOemSuite) {
      const u32 manufacturer = reader.U16();
      suite += " of manufacturer " + std::to_string(manufacturer | static_cast<u32>(reader.U8()) << 16);
    }
    if (reader.Ok() && std::find(suites.begin(), suites.end(), suite) == suites.end()) {
      suites.push_back(std::move(suite));
    }
  }
  return suites;
}

std::vector<std::string> ReadCipherSuites(ReadingContext& context, u8 channel, FamilyProgress& progress) {
  return ParseCipherSuites(ReadRecords(context, channel, progress));
}

}  // namespace Kelvar::Reader::Ipmi

#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "module/reader/ipmi/CommandRunner.h"
#include "transport/ipmi/IpmiCommands.h"

namespace Kelvar::Reader::Ipmi {

/// The commands of a repository: the controller's main one, or that of its own device.
struct RepositoryCommands {
  u8 netFn;
  u8 info;
  u8 reserve;
  u8 get;
  ControllerAddress at{};

  RepositoryCommands At(const ControllerAddress& place) const { return {netFn, info, reserve, get, place}; }
};
constexpr RepositoryCommands kMainRepository = {kNetFnStorage, kGetSdrRepositoryInfo, kReserveSdrRepository, kGetSdr};
constexpr RepositoryCommands kDeviceRepository = {kNetFnSensorEvent, kGetDeviceSdrInfo, kReserveDeviceSdr,
                                                  kGetDeviceSdr};

/// Reads the records of a repository one after the other.
///
/// A record is asked for as a whole first. What the target refuses in one piece is read in smaller ones; the size that
/// works is kept. A lost reservation is made anew, within a bound.
class RecordReader {
 public:
  RecordReader(CommandRunner& commands, const RepositoryCommands& repository)
      : commands_(commands), repository_(repository), block_(repository.at.IsBridged() ? kBridgedBlock : 0xFF) {}

  struct Record {
    u16 next = 0;
    std::vector<u8> bytes;
  };
  /// Nothing when the record cannot be read; LastReply tells why.
  std::optional<Record> Read(u16 id);
  /// Asks for records that will be read next, several at a time. Only where the size of pieces is known to work.
  void Prefetch(const std::vector<u16>& ids);
  const CommandReply& LastReply() const noexcept { return reply_; }

 private:
  static constexpr std::size_t kHeaderSize = 5;
  static constexpr std::size_t kBridgedBlock = 16;  ///< messages on the bus have 32 bytes at most

  std::optional<Record> ReadInBlocks(u16 id);
  bool MayBeTooLong() const;
  bool IsEndOf(const Record& record) const;
  bool ReadPiece(u16 id, std::size_t count, Record& record);
  CommandReply Ask(u16 id, std::size_t offset, std::size_t count);
  std::vector<u8> RequestFor(u16 id, std::size_t offset, std::size_t count) const;
  /// The next pieces of records of which some bytes are there, by id.
  bool PrefetchPieces(std::map<u16, std::vector<u8>>& records);
  bool Reserve();
  bool Shrink();

  CommandRunner& commands_;
  const RepositoryCommands repository_;
  CommandReply reply_;
  std::optional<u16> reservation_;
  std::size_t block_;  ///< bytes of a piece; FF: the whole record
  unsigned lost_ = 0;  ///< reservations, in a row
};

}  // namespace Kelvar::Reader::Ipmi

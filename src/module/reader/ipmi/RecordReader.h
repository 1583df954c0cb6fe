#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "module/reader/ipmi/CommandRunner.h"

namespace Kelvar::Reader::Ipmi {

/// The commands of a repository: the controller's main one, or that of its own device.
struct RepositoryCommands {
  u8 netFn;
  u8 info;
  u8 reserve;
  u8 get;
};
constexpr RepositoryCommands kMainRepository = {0x0A, 0x20, 0x22, 0x23};
constexpr RepositoryCommands kDeviceRepository = {0x04, 0x20, 0x22, 0x21};

/// Reads the records of a repository one after the other.
///
/// A record is asked for as a whole first. What the target refuses in one piece is read in smaller ones; the size that
/// works is kept. A lost reservation is made anew, within a bound.
class RecordReader {
 public:
  RecordReader(CommandRunner& commands, const RepositoryCommands& repository)
      : commands_(commands), repository_(repository) {}

  struct Record {
    u16 next = 0;
    std::vector<u8> bytes;
  };
  /// Nothing when the record cannot be read; LastReply tells why.
  std::optional<Record> Read(u16 id);
  const CommandReply& LastReply() const noexcept { return reply_; }

 private:
  static constexpr std::size_t kHeaderSize = 5;

  bool ReadPiece(u16 id, std::size_t count, Record& record);
  CommandReply Ask(u16 id, std::size_t offset, std::size_t count);
  bool Reserve();
  bool Shrink();

  CommandRunner& commands_;
  const RepositoryCommands& repository_;
  CommandReply reply_;
  std::optional<u16> reservation_;
  std::size_t block_ = 0xFF;  ///< bytes of a piece; FF: the whole record
  unsigned lost_ = 0;
};

}  // namespace Kelvar::Reader::Ipmi

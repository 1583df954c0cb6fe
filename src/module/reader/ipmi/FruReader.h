#pragma once

#include <string_view>
#include <vector>

#include "module/reader/ipmi/ReadingContext.h"

namespace Kelvar::Reader::Ipmi {

/// Reads FRU devices of the controller, as far as their areas go. The size of a piece that the target accepts is kept
/// from device to device.
class FruReader {
 public:
  explicit FruReader(CommandRunner& commands) : commands_(commands) {}

  /// The bytes from the start of the device; fewer than its areas need when a read fails, see LastReply.
  std::vector<u8> Read(u8 device);
  /// Of the last command: Ok when the device could be read.
  const CommandReply& LastReply() const noexcept { return reply_; }

 private:
  bool Open(u8 device);
  bool LoadUpTo(std::size_t end);
  bool LoadPiece();
  void LoadMultiRecords(std::size_t offset);
  bool Shrink();

  CommandRunner& commands_;
  CommandReply reply_;
  std::size_t block_ = 0xFF;
  u8 device_ = 0;
  bool words_ = false;
  std::size_t size_ = 0;
  std::vector<u8> bytes_;
};

/// Reads and decodes a device; what is wrong with it goes to `progress`. `state` becomes "absent" when the target says
/// that the device is not there.
FruInventory ReadFru(FruReader& reader, u8 device, std::string_view what, FamilyProgress& progress, std::string& state);

/// FRU device 0, which describes the system itself; read once in a reading.
const FruInventory& OwnFru(ReadingContext& context, FamilyProgress& progress);

}  // namespace Kelvar::Reader::Ipmi

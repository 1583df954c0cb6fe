#pragma once

#include <string_view>
#include <vector>

#include "module/reader/ipmi/ReadingContext.h"

namespace Kelvar::Reader::Ipmi {

/// Where the bytes of a FRU device are read: a device of a controller, or an EEPROM on a bus of it.
struct FruPlace {
  ControllerAddress at{};
  u8 device = 0;          ///< number of the device, or slave address of the EEPROM
  std::optional<u8> bus;  ///< of an EEPROM, as Master Write-Read names it
};
FruPlace PlaceOf(const FruLocator& locator);

/// Reads FRU devices, as far as their areas go. The size of a piece that the target accepts is kept from device to
/// device. EEPROMs are taken to have 256 bytes, which one byte addresses; what does not begin as FRU data does is not
/// read further.
class FruReader {
 public:
  explicit FruReader(CommandRunner& commands) : commands_(commands) {}

  /// The bytes from the start of the device; fewer than its areas need when a read fails, see LastReply.
  std::vector<u8> Read(const FruPlace& place);
  /// Of the last command: Ok when the device could be read.
  const CommandReply& LastReply() const noexcept { return reply_; }

 private:
  bool Open(const FruPlace& place);
  bool LoadUpTo(std::size_t end);
  bool LoadPiece();
  std::size_t Block() const;
  /// The data of the reply are those of the device.
  CommandReply Ask(std::size_t offset, std::size_t count);
  CommandReply AskEeprom(std::size_t offset, std::size_t count);
  void LoadMultiRecords(std::size_t offset);
  bool Shrink();

  CommandRunner& commands_;
  CommandReply reply_;
  std::size_t block_ = 0xFF;
  FruPlace place_;
  bool words_ = false;
  std::size_t size_ = 0;
  std::vector<u8> bytes_;
};

/// Reads and decodes a device; what is wrong with it goes to `progress`. `state` becomes "absent" when the target says
/// that the device is not there.
FruInventory ReadFru(FruReader& reader, const FruPlace& place, std::string_view what, FamilyProgress& progress,
                     std::string& state);

/// FRU device 0, which describes the system itself; read once in a reading.
const FruInventory& OwnFru(ReadingContext& context, FamilyProgress& progress);

}  // namespace Kelvar::Reader::Ipmi

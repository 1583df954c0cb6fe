#include "module/nfw/inventory/ipmi/NodeFirmwareIPMIFRUFunc.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"

namespace Kelvar {

namespace {

constexpr u8 kLocatorRecord = 0x11;
constexpr u16 kLastRecord = 0xFFFF;
constexpr u8 kHeaderSize = 15;
constexpr u8 kWholeRest = 0xFF;
constexpr std::size_t kLongestIDString = 300;

constexpr std::size_t kFRUChunk = 16;
constexpr std::size_t kFRUBytes = 528;
constexpr std::size_t kAvailableProbe = 101;

constexpr std::size_t kBoardOffsetIndex = 3;
constexpr std::size_t kLongestBoardText = 32;

/// Places of the board texts within the board area: component name, vendor, FRU number, part number, serial number.
/// The service processor keeps them there whatever the type/length bytes of the area say.
constexpr std::size_t kBoardTexts[] = {38, 7, 134, 102, 71};
static_assert(255 * 8 + 134 + kLongestBoardText <= IPMIFRULocator::kDeviceSize);

constexpr std::array<bool, 256> MakeAllowed() {
  std::array<bool, 256> allowed{};
  for (std::size_t c = 0; c < allowed.size(); ++c) {
    allowed[c] = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
  }
  for (const char c : std::string_view(" ()-./[\\]_")) {
    allowed[static_cast<unsigned char>(c)] = true;
  }
  return allowed;
}

constexpr auto kAllowed = MakeAllowed();
static_assert(std::count(kAllowed.begin(), kAllowed.end(), true) == 72);

/// How targets answer a read past the end of a FRU device, or of one that is not there.
bool IsEndOfDevice(u8 completionCode) {
  static constexpr u8 kCodes[] = {0xC7, 0xC8, 0xC9, 0xCA, 0xCB};
  return std::find(std::begin(kCodes), std::end(kCodes), completionCode) != std::end(kCodes);
}

u8 Low(std::size_t value) {
  return static_cast<u8>(value & 0xFF);
}

u8 High(std::size_t value) {
  return static_cast<u8>(value >> 8);
}

}  // namespace

bool IPMIFRULocator::IsfruDataAvailable() const noexcept {
  const auto end = FRUData.begin() + static_cast<std::ptrdiff_t>(std::min(FRUData.size(), kAvailableProbe));
  return std::any_of(FRUData.begin(), end, [](u8 byte) { return byte != 0; });
}

std::string IPMIFRULocator::BoardText(std::size_t offset) const {
  std::string text;
  while (text.size() < kLongestBoardText && kAllowed[ByteAt(offset + text.size())]) {
    text.push_back(static_cast<char>(ByteAt(offset + text.size())));
  }
  return text;
}

int IPMIFRULocator::BuildBoardInfo(const std::string& idString, bool bFRUZero) {
  KELVAR_LOG(4) << "Entering IPMIFRULocator::BuildBoardInfo......";
  for (std::size_t i = 0; i < 8; ++i) {
    KELVAR_LOG(4) << "===============CommonHead: " << std::hex << int{ByteAt(i)};
  }
  const bool isCPU = idString == "CPU";
  boardInfo_.assign(isCPU ? 5 : 0, " ");
  fruInfo_.assign(isCPU ? 4 : 0, " ");
  if (const std::size_t board = std::size_t{ByteAt(kBoardOffsetIndex)} * 8; board != 0) {
    KELVAR_LOG(4) << "===============there is borad info!================= ";
    for (const std::size_t offset : kBoardTexts) {
      boardInfo_.push_back(BoardText(board + offset));
    }
  } else {
    KELVAR_LOG(4) << "===============there is no borad info!================= ";
  }
  if (bFRUZero) {
    KELVAR_LOG(4) << "===============bFRUZero!================= ";
  } else if (!boardInfo_.empty()) {
    KELVAR_LOG(4) << "===============BoardInfo is not empty================= ";
    fruInfo_.insert(fruInfo_.end(), boardInfo_.begin() + 1, boardInfo_.begin() + 5);
  }
  KELVAR_LOG(4) << "Existing IPMIFRULocator::BuildBoardInfo......";
  return 0;
}

bool DecodeSDRHeader(std::span<const u8> reply, SDRHeader& header) noexcept {
  Text::ByteReader reader(reply);
  header.nextRecord = reader.U16();
  const u8 recordIDLow = reader.U8();
  const u8 recordIDHigh = reader.U8();
  const u8 version = reader.U8();
  const u8 type = reader.U8();
  if (!reader.Ok()) {
    return false;
  }
  header.isLocator = type == kLocatorRecord;
  if (!header.isLocator) {
    return true;
  }
  header.head = {recordIDHigh, recordIDLow, version, type};
  for (std::size_t i = 4; i < header.head.size(); ++i) {
    if (i == 9) {
      reader.Skip(1);  // reserved
    }
    header.head[i] = reader.U8();
  }
  return reader.Ok();
}

bool DecodeSDRString(std::span<const u8> reply, std::string& text) {
  Text::ByteReader reader(reply);
  reader.Skip(3);  // next record ID and the type/length byte: the text ends with the reply
  if (!reader.Ok()) {
    return false;
  }
  const auto rest = reader.Rest();
  const auto taken = rest.first(std::min(rest.size(), kLongestIDString));
  text.assign(taken.begin(), std::find(taken.begin(), taken.end(), u8{0}));
  return true;
}

IPMIRequestFRULocator::Status IPMIRequestFRULocator::IPMIReserveSDR() {
  KELVAR_LOG(4) << "Entering IPMIRequestFRULocator::IPMIReserveSDR......";
  const IpmiReply reply = SendCommand(*client_, kNetFnStorage, kReserveSdrRepository);
  Text::ByteReader reader(reply.data);
  const u16 given = reader.U16();
  if (reply.completionCode != 0 || !reader.Ok()) {
    NoteFailure(reply);
    KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIReserveSDR......fRspBuf[4] != 0x00";
    return StatusFail;
  }
  reservation_ = given;
  KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIReserveSDR......StatusOK";
  return StatusOK;
}

bool IPMIRequestFRULocator::ReadRecord(u8 offset, u8 count, std::vector<u8>& data) {
  IpmiReply reply =
      SendCommand(*client_, kNetFnStorage, kGetSdr,
                  {Low(reservation_), High(reservation_), Low(currentRecord_), High(currentRecord_), offset, count});
  NoteFailure(reply);
  data = std::move(reply.data);
  return reply.completionCode == 0;
}

/// Keeps how the last command ended, in case the walk ends with it.
void IPMIRequestFRULocator::NoteFailure(const IpmiReply& reply) {
  lastSent_ = reply.sent;
  lastCompletionCode_ = reply.completionCode;
}

IPMIRequestFRULocator::Status IPMIRequestFRULocator::EndWalk() const {
  std::ostringstream what;
  what << "sensor data records from 0x" << std::hex << currentRecord_ << " on";
  if (lastCompletionCode_ == 0) {
    RecordUnusable(what.str(), "a response is too short, or leads back to an earlier record");
  } else {
    RecordMissing(what.str(), {lastSent_, lastCompletionCode_, {}}, GapKind::LostRecords);
  }
  return StatusFail;
}

IPMIRequestFRULocator::Status IPMIRequestFRULocator::IPMIGetSDRHeader(IPMIFRULocator& locator) {
  KELVAR_LOG(4) << "Entering IPMIRequestFRULocator::IPMIGetSDRHeader......";
  std::vector<u8> data;
  SDRHeader header;
  if (!ReadRecord(0, kHeaderSize, data) || !DecodeSDRHeader(data, header)) {
    KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDRHeader - IPMI error in obtaining sensor data record "
                     "header";
    return StatusFail;
  }
  nextRecord_ = header.nextRecord;
  if (!header.isLocator) {
    KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDRHeader - StatusNoMatchingData";
    return StatusNoMatchingData;
  }
  locator.SDRHead = header.head;
  KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDRHeader......StatusOK";
  return StatusOK;
}

IPMIRequestFRULocator::Status IPMIRequestFRULocator::IPMIGetSDRString(IPMIFRULocator& locator) {
  KELVAR_LOG(4) << "Entering IPMIRequestFRULocator::IPMIGetSDRString......";
  std::vector<u8> data;
  if (!ReadRecord(kHeaderSize, kWholeRest, data) || !DecodeSDRString(data, locator.IDString)) {
    KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDRString -IPMI error in obtaining sensor data record "
                     "header";
    return StatusFail;
  }
  KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDRString......StatusOK";
  return StatusOK;
}

/// The current record, when it is a locator. The text is asked for even when the header failed.
IPMIRequestFRULocator::Status IPMIRequestFRULocator::GetLocator(IPMIFRULocator& locator) {
  const Status header = IPMIGetSDRHeader(locator);
  if (header == StatusNoMatchingData) {
    KELVAR_LOG(4) << "IPMIRequestFRULocator::IPMIGetSDREntry - StatusNoMatchingData";
    return header;
  }
  if (header == StatusFail) {
    KELVAR_LOG(4) << "IPMIRequestFRULocator::IPMIGetSDREntry - IPMIGetSDRHeader.StatusFail";
  }
  const Status text = IPMIGetSDRString(locator);
  if (text == StatusFail) {
    KELVAR_LOG(4) << "IPMIRequestFRULocator::IPMIGetSDREntry - IPMIGetSDRString.StatusFail";
  }
  return header == StatusFail ? header : text;
}

int IPMIRequestFRULocator::IPMIGetSDREntry(std::vector<IPMIFRULocator>& locators, IpmiClientInterface& transport) {
  KELVAR_LOG(4) << "Entering IPMIRequestFRULocator::IPMIGetSDREntry......";
  client_ = &transport;
  currentRecord_ = 0;
  if (IPMIReserveSDR() == StatusFail) {
    KELVAR_LOG(4) << "===============IPMIReserveSDR() == StatusFail.================= ";
    return EndWalk();
  }
  bool retried = false;
  std::vector<bool> seen(std::size_t{kLastRecord} + 1);
  while (currentRecord_ != kLastRecord) {
    IPMIFRULocator locator;
    const Status status = GetLocator(locator);
    if (status == StatusFail) {
      if (retried) {
        KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDREntry......StatusFail";
        return EndWalk();
      }
      retried = true;
      if (IPMIReserveSDR() == StatusFail) {
        KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDREntry......IPMIReserveSDR() == StatusFail";
        return EndWalk();
      }
      continue;
    }
    if (status == StatusOK) {
      locators.push_back(std::move(locator));
    }
    seen[currentRecord_] = true;
    if (seen[nextRecord_]) {
      KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDREntry......StatusFail";
      return EndWalk();
    }
    currentRecord_ = nextRecord_;
  }
  KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetSDREntry......StatusOK";
  return StatusOK;
}

int IPMIRequestFRULocator::IPMIGetFRUData(IPMIFRULocator& locator, IpmiClientInterface& transport, bool bFRUZero) {
  constexpr int kFailed = 15;
  KELVAR_LOG(4) << "Entering IPMIRequestFRULocator::IPMIGetFRUData......";
  const u8 device = bFRUZero ? u8{0} : locator.DeviceID();
  locator.FRUData.assign(kFRUBytes, 0);
  for (std::size_t offset = 0; offset < kFRUBytes; offset += kFRUChunk) {
    const IpmiReply reply =
        SendCommand(transport, kNetFnStorage, kReadFruData, {device, Low(offset), High(offset), u8{kFRUChunk}});
    if (reply.completionCode != 0) {
      if (!IsEndOfDevice(reply.completionCode)) {
        RecordMissing("FRU device " + std::to_string(device) + " from byte " + std::to_string(offset) + " on", reply);
      }
      return kFailed;
    }
    Text::ByteReader reader(reply.data);
    reader.Skip(1);
    const auto data = reader.Rest();
    std::copy_n(data.begin(), std::min(data.size(), kFRUChunk),
                locator.FRUData.begin() + static_cast<std::ptrdiff_t>(offset));
  }
  KELVAR_LOG(4) << "Existing IPMIRequestFRULocator::IPMIGetFRUData......StatusOK";
  return 0;
}

}  // namespace Kelvar

#include <gmock/gmock.h>

#include <numeric>

#include "common/text/FixedText.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"
#include "support/LogCapture.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Test {
namespace {

using Backend = NodeFirmwareInventoryImpIPMI;
using KelvarNfw::NODEFIRMWARESYSTEMVPD;

constexpr u8 kOem = 0x3A;
constexpr u8 kVPD = 0x0B;
constexpr u8 kStorage = 0x0A;

const Bytes kMachineType = {0x0E, 0x00, 0x10, 0x07};
const Bytes kSerialNumber = {0x15, 0x00, 0x10, 0x07};
const Bytes kManufacturer = {0x60, 0x00, 0x10, 0x04};
const Bytes kUUID = {0x9F, 0x00, 0x10, 0x10};
const Bytes kMachineTypeOn = {0x0E, 0x00, 0x10, 0x1E};

std::string Shown(const KelvarAgentless::ComputerSystem& s) {
  return s.ProductName + "|" + s.SerialNumber + "|" + s.Manufacturer + "|" + s.SystemGUID + "|" + s.UUID + s.Model +
         s.Version;
}

void ScriptIdentity(ScriptedIpmi& bmc) {
  Bytes uuid(16);
  std::iota(uuid.begin(), uuid.end(), u8{0});
  uuid[15] = 0xFF;
  bmc.On(kOem, kVPD, kMachineType, {Reply({'7', 'K', '4', 0, 0, 0, 0})});
  bmc.On(kOem, kVPD, kSerialNumber, {Reply(BytesOf("KV4A001overlong"))});
  bmc.On(kOem, kVPD, kManufacturer, {Reply(BytesOf("Tavr"))});
  bmc.On(kOem, kVPD, kUUID, {Reply(uuid)});
}

TEST(HardwareInfo, ReadsFourPlacesOfTheVPDStore) {
  const std::string guid = "00010203-0405-0607-0809-0a0b0c0d0eff";
  const std::string untouched = "caller||||";
  const struct {
    Bytes location;
    std::vector<IpmiAnswer> answers;
    int code;
    std::string system;
    std::size_t commands;
  } cases[] = {
      {{}, {Refuse(0xC1)}, 0, "7K4|KV4A001|Tavr|" + guid + "|", 4},
      {kMachineType, {NoExchange(0)}, 0, "|KV4A001|Tavr|" + guid + "|", 4},
      {kSerialNumber, {Reply(BytesOf("KV"))}, 0, "7K4|KV|Tavr|" + guid + "|", 4},
      {kUUID, {Reply(Bytes(15))}, 0, "7K4|KV4A001|Tavr||", 4},
      {kMachineType, {Refuse(0xC9)}, 15, untouched, 1},
      {kManufacturer, {Refuse(0xCB)}, 15, untouched, 3},
      {kUUID, {Refuse(0xD5)}, 15, untouched, 4},
      {kUUID, {Throw("lost")}, 5, untouched, 4},
      {kSerialNumber, {ThrowOther()}, 15, untouched, 2},
  };
  for (const auto& c : cases) {
    ScriptedIpmi bmc;
    ScriptIdentity(bmc);
    bmc.On(kOem, kVPD, c.location, c.answers);
    Backend backend({}, bmc.Transport());
    const LogCapture log;
    KelvarAgentless::ComputerSystem system;
    system.ProductName = "caller";
    EXPECT_EQ(backend.GetHardwareInfoComputerSystem(system), c.code);
    EXPECT_EQ(Shown(system), c.system);
    EXPECT_EQ(bmc.commands.size(), c.commands);
    EXPECT_EQ(log.Texts(1).size(), c.answers[0].exception || c.answers[0].otherException ? 1U : 0U);
    if (c.code == 0 && c.location.empty()) {
      EXPECT_EQ(log.Texts(3), (std::vector<std::string>{
                                  "MachineType of remote system:7K4", "Serial Number of remote system:KV4A001",
                                  "Manufacturer of remote system: Tavr", "System UUID of remote system:" + guid}));
    }
  }
}

/// FRU device 0: machine type and serial number in a Product Info Area at offset 8, before the end of the device.
Bytes ProductFRU() {
  Bytes fru = {0x01, 0, 0, 0, 0x01, 0, 0, 0xFE, 0x01, 0x00, 0x19};
  for (const char* text : {"Brand", "Product", "7K40FRU", "v1", "FRU0017"}) {
    fru.push_back(static_cast<u8>(0xC0 + std::string_view(text).size()));
    fru = fru + BytesOf(text);
  }
  fru.resize(128);
  return fru;
}

TEST(SystemVPD, TakesTheVPDStoreOrTheFRUDevice) {
  const IpmiAnswer second = Reply({0, 1});
  const IpmiAnswer vpd = Reply(BytesOf("7K40AB1KV4A001and the rest, unread"));
  const Bytes fru = ProductFRU();
  const struct {
    const char* name;
    IpmiAnswer generation, vpd;
    Bytes fru;
    int code;
    const char* machineType;
    const char* serialNumber;
    std::size_t vpdReads;
  } cases[] = {
      {"second generation", second, vpd, fru, 0, "7K40AB1", "KV4A001", 1},
      {"short VPD reply", second, Reply(BytesOf("7K40AB1KV")), fru, 0, "7K40AB1", "KV", 1},
      {"one byte", second, Reply(BytesOf("7")), fru, 0, "7", "", 1},
      {"VPD refused", second, Refuse(0xC9), fru, 0, "7K40FRU", "FRU0017", 1},
      {"VPD not exchanged", second, NoExchange(0), fru, 0, "7K40FRU", "FRU0017", 1},
      {"VPD empty", second, Reply({}), fru, 0, "7K40FRU", "FRU0017", 1},
      {"first generation", Reply({0, 0}), vpd, fru, 0, "7K40FRU", "FRU0017", 0},
      {"generation refused", Refuse(0xD5), vpd, fru, 0, "7K40FRU", "FRU0017", 0},
      {"generation raises", Throw("lost"), vpd, fru, 0, "7K40FRU", "FRU0017", 0},
      {"both fail", second, Refuse(0xC9), {}, 15, "", "", 1},
      {"VPD raises", second, Throw("lost"), fru, 5, "", "", 1},
      {"VPD raises otherwise", second, ThrowOther(), fru, 15, "", "", 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedIpmi bmc;
    bmc.On(kOem, 0xC1, {c.generation});
    bmc.On(kOem, kVPD, kMachineTypeOn, {c.vpd});
    bmc.AddFRU(0, c.fru);
    Backend backend({}, bmc.Transport());
    const LogCapture log;
    NODEFIRMWARESYSTEMVPD out{"left over", "left over", "left over", 1};
    EXPECT_EQ(backend.GetNodeFirmwareSystemVPD(out), c.code);
    EXPECT_STREQ(out.MachineType, c.machineType);
    EXPECT_STREQ(out.SerialNumber, c.serialNumber);
    EXPECT_EQ(out.ModelName[0] + out.HasModelName, 0);
    EXPECT_EQ(bmc.Sent(kOem, kVPD).size(), c.vpdReads);
    EXPECT_TRUE(log.Has(4, "Exiting buildNodeFirmwareSystemVPD,ret =" + std::to_string(c.code)));
    const bool fromFRU = std::string_view(c.machineType) == "7K40FRU";
    EXPECT_EQ(log.Has(3, " Get Current Machine Type : 7K40FRU"), fromFRU);
    EXPECT_EQ(log.Has(4, "SerialNum read from FRU is FRU0017"), fromFRU);
  }
}

TEST(SystemVPD, WaysLeaveExceptionsToTheirCaller) {
  const LogCapture log;
  ScriptedIpmi bmc;
  bmc.On(kOem, kVPD, {Refuse(0xD5), Throw("lost")});
  bmc.On(kStorage, 0x10, {Throw("lost")});
  Backend backend({}, bmc.Transport());
  NODEFIRMWARESYSTEMVPD out{};
  EXPECT_EQ(backend.IPMIReadVPD(out), 4);
  EXPECT_THROW(backend.IPMIReadVPD(out), IpmiException);
  EXPECT_THROW(backend.GetNodeFirmwareSystemVPDViaFRU(out), IpmiException);
}

/// Offset and count of each Read FRU Data after the one for the Common Header.
std::vector<std::pair<int, int>> Chunks(const ScriptedIpmi& bmc) {
  std::vector<std::pair<int, int>> chunks;
  for (const Bytes& request : bmc.Sent(kStorage, 0x11)) {
    chunks.emplace_back(request[1] + request[2] * 256, request[3]);
  }
  chunks.erase(chunks.begin());
  return chunks;
}

TEST(SystemVPDViaFRU, ReadsToTheMultiRecordAreaOrTheEndOfTheDevice) {
  using Ranges = std::vector<std::pair<int, int>>;
  const struct {
    const char* name;
    u8 product, multiRecord;
    std::size_t size;
    int code;
    Ranges chunks;
  } cases[] = {
      {"to the end", 8, 0, 256, 0, {{64, 35}, {99, 35}, {134, 35}, {169, 35}, {204, 35}, {239, 17}}},
      {"to the MultiRecord Area", 1, 6, 256, 0, {{8, 35}, {43, 5}}},
      {"MultiRecord Area before it", 8, 2, 101, 0, {{64, 35}, {99, 2}}},
      {"MultiRecord Area beyond the device", 8, 255, 99, 0, {{64, 35}}},
      {"a byte more than a chunk", 8, 0, 100, 0, {{64, 35}, {99, 1}}},
      {"starts at the end", 8, 0, 64, 15, {}},
      {"starts after the end", 255, 0, 64, 15, {}},
      {"no Product Info Area", 0, 6, 64, 15, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const LogCapture log;
    ScriptedIpmi bmc;
    Bytes fru(c.size);
    fru[0] = 1;
    fru[4] = c.product;
    fru[5] = c.multiRecord;
    bmc.AddFRU(0, fru);
    Backend backend({}, bmc.Transport());
    NODEFIRMWARESYSTEMVPD out{};
    EXPECT_EQ(backend.GetNodeFirmwareSystemVPDViaFRU(out), c.code);
    EXPECT_EQ(Chunks(bmc), c.chunks);
    EXPECT_STREQ(out.MachineType, "");
  }
}

TEST(SystemVPDViaFRU, SurvivesDevicesThatLie) {
  const Bytes fru = ProductFRU();
  const auto header = [](Bytes bytes) { return std::pair{Bytes{0, 0, 0, 8}, Reply(std::move(bytes))}; };
  const struct {
    const char* name;
    std::vector<std::pair<Bytes, IpmiAnswer>> reads;
    int code;
    const char* machineType;
    const char* serialNumber;
    std::vector<std::string> failures;
  } cases[] = {
      {"no header", {header({8, 1, 0, 0, 0, 1})}, 15, "", "", {}},
      {"unknown version", {header({8, 2, 0, 0, 0, 1, 0})}, 15, "", "", {"Unknown FRU header version"}},
      {"refused in the middle", {{{0, 43, 0, 35}, Refuse(0xC9)}}, 15, "", "", {}},
      // 20 bytes end within the machine type, 27 after it.
      {"a short chunk ends the read",
       {{{0, 8, 0, 35}, Reply(Bytes{20} + Bytes(fru.begin() + 8, fru.begin() + 28))}},
       0,
       "",
       "",
       {}},
      {"fields within a short chunk count",
       {{{0, 8, 0, 35}, Reply(Bytes{27} + Bytes(fru.begin() + 8, fru.begin() + 35))}},
       0,
       "7K40FRU",
       "",
       {}},
      {"an empty chunk", {{{0, 8, 0, 35}, Reply({})}}, 0, "", "", {}},
      {"more than asked for",
       {{{0, 8, 0, 35}, Reply(Bytes{35} + Bytes(fru.begin() + 8, fru.begin() + 43) + Bytes(9, 'x'))}},
       0,
       "7K40FRU",
       "FRU0017",
       {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    ScriptedIpmi bmc;
    bmc.AddFRU(0, fru);
    for (const auto& [request, answer] : c.reads) {
      bmc.On(kStorage, 0x11, request, {answer});
    }
    Backend backend({}, bmc.Transport());
    const LogCapture log;
    NODEFIRMWARESYSTEMVPD out{};
    EXPECT_EQ(backend.GetNodeFirmwareSystemVPDViaFRU(out), c.code);
    EXPECT_STREQ(out.MachineType, c.machineType);
    EXPECT_STREQ(out.SerialNumber, c.serialNumber);
    EXPECT_EQ(log.Texts(1), c.failures);
  }
}

TEST(SystemVPDViaFRU, NeedsTheSizeOfTheDevice) {
  for (const Bytes& size : {Bytes{}, Bytes{64}, Bytes{0, 0}}) {
    const LogCapture log;
    ScriptedIpmi bmc;
    bmc.On(kStorage, 0x10, {Reply(size)});
    Backend backend({}, bmc.Transport());
    NODEFIRMWARESYSTEMVPD out{};
    EXPECT_EQ(backend.GetNodeFirmwareSystemVPDViaFRU(out), 15);
    EXPECT_EQ(log.Has(1, "Invalid FRU size."), size.size() == 2);
    EXPECT_EQ(bmc.commands.size(), 1U);
  }
}

TEST(SystemVPDViaFRU, CutsTextsToTheirFields) {
  const LogCapture log;
  ScriptedIpmi bmc;
  Bytes fru = {0x01, 0, 0, 0, 0x01, 0, 0, 0xFE, 0x01, 0x00, 0x19, 0x00, 0x00};
  fru = fru + Bytes{0xC0 + 25} + Bytes(25, 'm') + Bytes{0x00} + Bytes{0xC0 + 40} + Bytes(40, 's');
  bmc.AddFRU(0, fru);
  Backend backend({}, bmc.Transport());
  NODEFIRMWARESYSTEMVPD out{};
  EXPECT_EQ(backend.GetNodeFirmwareSystemVPDViaFRU(out), 0);
  EXPECT_EQ(Text::FixedView(out.MachineType), std::string(19, 'm'));
  EXPECT_EQ(Text::FixedView(out.SerialNumber), std::string(29, 's'));
}

}  // namespace
}  // namespace Kelvar::Test

#include <algorithm>
#include <iostream>
#include <iterator>
#include <sstream>
#include <string>
#include <string_view>

#include "common/diagnostics/DiagnosticsRecorder.h"
#include "common/log/LogMacros.h"
#include "common/text/ByteReader.h"
#include "common/text/FixedText.h"
#include "module/nfw/inventory/ipmi/IpmiExchange.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"

namespace Kelvar {

using KelvarNfw::NODEFIRMWAREBUILDID;
using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

/// Where the version follows a build ID of seven characters and its "-".
constexpr std::size_t kVersionIndex = 8;

/// A value that the service processor gives for a path, and how it enters its field.
struct PathField {
  std::string_view path;
  u8 constant;  ///< request byte 2: fixed for each path, following no rule
  std::size_t index;
  std::size_t length;
  std::string_view behind;    ///< follows the value
  std::string_view tooShort;  ///< in place of a value that the reply does not hold
};

constexpr PathField kBackUpID{"/qelc/dm/fw/zmc2/backup_build_id", 0x22, 0, 7, "-", "NULL----"};
constexpr PathField kBackUpDate{"/qelc/dm/fw/zmc2/backup_build_date", 0x24, 0, 10, "", "NULL---"};
constexpr PathField kBackUpVersion{"/qelc/dm/fw/zmc2/backup_build_version", 0x27, kVersionIndex, 4, "", "NULL"};
constexpr PathField kQDGID{"/v2/qdg/build_id", 0x14, 0, 7, "-", "NULL----"};
constexpr PathField kQDGVersion{"/v2/qdg/build_version", 0x16, kVersionIndex, 4, "", "NULL"};
constexpr PathField kQDGDate{"/v2/qdg/build_date", 0x16, 0, 10, "", "NULL------"};

std::vector<u8> PathRequest(const PathField& row) {
  std::vector<u8> data(4 + row.path.size());
  data[2] = row.constant;
  data[3] = static_cast<u8>(0x80 + row.path.size());
  std::copy(row.path.begin(), row.path.end(), data.begin() + 4);
  return data;
}

/// Asks for the value of a path and writes it into `field`; a refused query writes nothing.
template <std::size_t N>
IpmiReply ReadPath(IpmiClientInterface& client, const PathField& row, char (&field)[N]) {
  IpmiReply reply = SendCommand(client, kNetFnOem, kQueryPath, PathRequest(row));
  if (!reply.Ok()) {
    LogFailedCommand(reply);
    RecordMissing(row.path, reply);
    return reply;
  }
  Text::ByteReader reader(reply.data);
  reader.Skip(4);
  const std::string value = reader.String(row.length).append(row.behind);
  if (!reader.Ok()) {
    RecordUnusable(row.path);
  }
  Text::PutFixed(field, row.index, reader.Ok() ? std::string_view(value) : row.tooShort);
  return reply;
}

Code CodeOf(const IpmiReply& reply) {
  return reply.Ok() ? NodeFirmwareInventory::INVENTORY_SUCCESS : CodeOfCompletion(reply.completionCode);
}

/// Firmware Revision 1 as one character where it has one, and the two BCD digits of Firmware Revision 2.
std::string VersionText(u8 revision1, u8 revision2) {
  const std::size_t major = revision1 & 0x7F;
  std::string text = major < kBCDPlus.size() ? std::string(1, kBCDPlus[major]) : std::to_string(major);
  return text.append(1, '.').append(1, kBCDPlus[revision2 >> 4]).append(1, kBCDPlus[revision2 & 0x0F]);
}

/// After a failed step that is not the last one.
void RecordSkipped(bool anyLeft) {
  if (anyLeft) {
    DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, "firmware",
                                "an earlier query failed: what comes after it was not read");
  }
}

/// Of a query that failed, or whose response has fewer bytes than `size`.
void LogFailedStep(std::string_view what, const IpmiReply& reply, std::size_t size) {
  LogFailedCommand(reply);
  if (reply.Ok()) {
    LogShortReply(size, reply.data.size());
    RecordUnusable(what);
  } else {
    RecordMissing(what, reply);
  }
}

/// Build ID and date of the service processor; false when the query failed.
bool ReadBuildInfo(IpmiClientInterface& client, NODEFIRMWAREBUILDID& record) {
  constexpr std::size_t kSize = 19;
  const IpmiReply reply = SendCommand(client, kNetFnOem, kQueryBuildInfo);
  Text::ByteReader reader(reply.data);
  const std::string buildID = reader.String(7) + "-";
  reader.Skip(2);
  const std::string date = reader.String(10);
  if (!reply.Ok() || !reader.Ok()) {
    LogFailedStep("build ID and date of the service processor", reply, kSize);
    return false;
  }
  Text::PutFixed(record.BMCBuildID, 0, buildID);
  Text::PutFixed(record.BMCBuildDate, 0, date);
  return true;
}

/// One bank of the UEFI firmware: where its data is in the VPD store, and its fields.
struct UEFIBank {
  std::string_view what;
  u8 location;
  char (NODEFIRMWAREBUILDID::*buildID)[24];
  char (NODEFIRMWAREBUILDID::*buildDate)[12];
};

constexpr UEFIBank kUEFIPrimary{"UEFI build ID and date", 0x06, &NODEFIRMWAREBUILDID::uEFIBuildID,
                                &NODEFIRMWAREBUILDID::uEFIBuildDate};
constexpr UEFIBank kUEFIBackUp{"UEFI backup build ID and date", 0x4E, &NODEFIRMWAREBUILDID::uEFIBackUpBuildID,
                               &NODEFIRMWAREBUILDID::uEFIBackUpBuildDate};

/// The build ID ends at its first blank, and runs on into the date when there is none within its own 22 bytes; one of
/// 19 characters or more leaves no room for the version.
std::string UEFIBuildID(std::string_view reply) {
  constexpr std::size_t kLongestScan = 25;
  constexpr std::size_t kLongestWithVersion = 18;
  const std::string_view scanned = reply.substr(4, kLongestScan);
  std::string text(scanned.substr(0, scanned.find(' ')));
  if (text.size() <= kLongestWithVersion) {
    text.append(1, '-').append(reply.substr(0, 4));
  }
  return text;
}

Code ReadUEFI(IpmiClientInterface& client, const UEFIBank& bank, NODEFIRMWAREBUILDID& record) {
  constexpr u8 kSize = 36;
  const IpmiReply reply = SendCommand(client, kNetFnOem, kReadVPD, {bank.location, 0x04, 0x10, kSize});
  Text::ByteReader reader(reply.data);
  const std::string text = reader.String(kSize);
  if (!reply.Ok() || !reader.Ok()) {
    LogFailedStep(bank.what, reply, kSize);
    return CodeOfCompletion(reply.completionCode);
  }
  Text::PutFixed(record.*bank.buildID, 0, UEFIBuildID(text));
  Text::PutFixed(record.*bank.buildDate, 0, std::string_view(text).substr(26));
  return NodeFirmwareInventory::INVENTORY_SUCCESS;
}

/// The one text that the library writes to standard output.
void PrintRefusedQDGQuery(Code code, const PathField& row) {
  std::ostringstream text;
  text << "QDG complete code not zero= " << code << ' ' << std::hex;
  for (const u8 byte : PathRequest(row)) {
    text << int{byte} << ' ';
  }
  std::cout << text.str();
}

template <std::size_t N>
Code ReadQDGPath(IpmiClientInterface& client, const PathField& row, char (&field)[N]) {
  const Code code = CodeOf(ReadPath(client, row, field));
  if (code != NodeFirmwareInventory::INVENTORY_SUCCESS) {
    PrintRefusedQDGQuery(code, row);
  }
  return code;
}

/// Runs one step between its trace lines; the exit line shows the field that it built.
template <std::size_t N, typename Step>
Code RunStep(const char* name, const char (&field)[N], Step step) {
  KELVAR_LOG(4) << "Entering NodeFirmwareInventoryImpIPMI::" << name << "()";
  const Code code = step();
  KELVAR_LOG(4) << "Exiting NodeFirmwareInventoryImpIPMI::" << name << "(), ret = " << code
                << " string =" << Text::FixedView(field);
  return code;
}

}  // namespace

Code NodeFirmwareInventoryImpIPMI::GetNodeFirmwareBuildID(std::vector<NODEFIRMWAREBUILDID>& list) {
  using Step = Code (NodeFirmwareInventoryImpIPMI::*)(NODEFIRMWAREBUILDID&);
  static constexpr Step kSteps[] = {
      &NodeFirmwareInventoryImpIPMI::buildZMCInfo, &NodeFirmwareInventoryImpIPMI::buildZMCBackUpInfo,
      &NodeFirmwareInventoryImpIPMI::builduEFIInfo, &NodeFirmwareInventoryImpIPMI::builduEFIBackUpInfo,
      &NodeFirmwareInventoryImpIPMI::buildQDGInfo};
  return Run("GetNodeFirmwareBuildID", [&](Code& code) {
    NODEFIRMWAREBUILDID record{};
    for (const Step step : kSteps) {
      code = (this->*step)(record);
      if (code != NodeFirmwareInventory::INVENTORY_SUCCESS) {
        RecordSkipped(step != kSteps[std::size(kSteps) - 1]);
        break;
      }
    }
    list.push_back(record);
  });
}

Code NodeFirmwareInventoryImpIPMI::buildZMCInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("buildZMCInfo", record.BMCBuildID, [&] {
    constexpr std::size_t kSize = 4;
    const std::size_t index = ReadBuildInfo(*client_, record) ? kVersionIndex : 0;
    const IpmiReply reply = SendCommand(*client_, kNetFnApplication, kGetDeviceId);
    if (!reply.Ok()) {
      RecordMissing("version of the service processor", reply);
      // 0xD5 has no code of its own here.
      const Code code = CodeOfCompletion(reply.completionCode);
      return code == NodeFirmwareInventory::INVENTORY_IPMI_NOT_SUPPORTED_NOW ? NodeFirmwareInventory::INVENTORY_FAILED
                                                                             : code;
    }
    Text::ByteReader reader(reply.data);
    reader.Skip(2);
    const u8 revision1 = reader.U8();
    const u8 revision2 = reader.U8();
    if (!reader.Ok()) {
      LogShortReply(kSize, reply.data.size());
      RecordUnusable("version of the service processor");
      return NodeFirmwareInventory::INVENTORY_FAILED;
    }
    Text::PutFixed(record.BMCBuildID, index, VersionText(revision1, revision2));
    return NodeFirmwareInventory::INVENTORY_SUCCESS;
  });
}

Code NodeFirmwareInventoryImpIPMI::buildZMCBackUpInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("buildZMCBackUpInfo", record.BMCBackUpBuildID, [&] {
    ZMCGENERATIONTYPE generation = NodeFirmwareInventory::ZMC_GENERATION_1;
    const Code known = GetZMCGenerationType(generation);
    if (generation == NodeFirmwareInventory::ZMC_GENERATION_1) {
      if (known != NodeFirmwareInventory::INVENTORY_SUCCESS) {
        DiagnosticsRecorder::AddGap(GapKind::Failure, FailureCause::None, "backup of the service processor's firmware",
                                    "the query of the generation failed");
      }
      KELVAR_LOG(4) << "Exit buildZMCBackUpInfo, due to target is a ZMC1 system which does not have backup version";
      return known;
    }
    ReadPath(*client_, kBackUpID, record.BMCBackUpBuildID);
    ReadPath(*client_, kBackUpDate, record.BMCBackUpBuildDate);
    return CodeOf(ReadPath(*client_, kBackUpVersion, record.BMCBackUpBuildID));
  });
}

Code NodeFirmwareInventoryImpIPMI::builduEFIInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("builduEFIInfo", record.uEFIBuildID, [&] { return ReadUEFI(*client_, kUEFIPrimary, record); });
}

Code NodeFirmwareInventoryImpIPMI::builduEFIBackUpInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("builduEFIBackUpInfo", record.uEFIBackUpBuildID,
                 [&] { return ReadUEFI(*client_, kUEFIBackUp, record); });
}

Code NodeFirmwareInventoryImpIPMI::buildQDGInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("buildQDGInfo", record.QDGpBuildID, [&] {
    const Code buildID = CodeOf(ReadPath(*client_, kQDGID, record.QDGpBuildID));
    KELVAR_LOG(4) << "In NodeFirmwareInventoryImpIPMI::buildQDGInfo(), the build ID query gave " << buildID;
    buildQDGVerInfo(record);
    return buildQDGDateInfo(record);
  });
}

Code NodeFirmwareInventoryImpIPMI::buildQDGVerInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("buildQDGVerInfo", record.QDGpBuildID,
                 [&] { return ReadQDGPath(*client_, kQDGVersion, record.QDGpBuildID); });
}

Code NodeFirmwareInventoryImpIPMI::buildQDGDateInfo(NODEFIRMWAREBUILDID& record) {
  return RunStep("buildQDGDateInfo", record.QDGpBuildIDDate,
                 [&] { return ReadQDGPath(*client_, kQDGDate, record.QDGpBuildIDDate); });
}

}  // namespace Kelvar

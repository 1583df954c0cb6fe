#include "simulator/ipmi/IpmiData.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "simulator/ipmi/ByteText.h"
#include "simulator/ipmi/FruImage.h"
#include "simulator/ipmi/SdrBytes.h"
#include "simulator/ipmi/SensorRecord.h"
#include "simulator/machine/JsonFile.h"

namespace Kelvar::Simulator {

namespace {

using rapidjson::Value;

constexpr const char* kBmc = "0x20";
constexpr unsigned kBmcAddress = 0x20;
constexpr u8 kFirstTypeWithoutTime = 0xE0;

void WriteRule(std::ostream& out, const Value& rule) {
  out << "rule " << Json::Text(rule, "netFn") << ' ' << Json::Text(rule, "command") << ' '
      << PatternOf(Json::Text(rule, "prefix", ""));
  for (const char* name : {"at", "lun", "skip", "times", "delay", "truncate"}) {
    if (Json::Find(rule, name) != nullptr) {
      out << ' ' << name << '=' << Json::Number(rule, name);
    }
  }
  if (Json::Flag(rule, "silent")) {
    out << " silent";
  }
  if (Json::Find(rule, "reply") != nullptr) {
    out << " reply=" << HexOf(BytesOf(Json::Text(rule, "reply")));
  }
  for (const auto& patch : Json::List(rule, "patch")) {
    out << " patch=" << Json::Number(patch, "at") << ':' << HexOf(BytesOf(Json::Text(patch, "bytes")));
  }
  out << '\n';
}

void WriteStore(std::ostream& out, const Value& entry) {
  Bytes bytes = BytesOf(Json::Text(entry, "bytes"));
  bytes.resize(std::max<std::size_t>(bytes.size(), Json::Number(entry, "width", 0)));
  out << "store " << Json::Number(entry, "offset") << ' ' << HexOf(bytes) << '\n';
}

/// The entries that a machine and each of its faults may have.
void WriteReplies(std::ostream& out, const Value& data) {
  for (const auto& rule : Json::List(data, "rules")) {
    WriteRule(out, rule);
  }
  for (const auto& entry : Json::List(data, "store")) {
    WriteStore(out, entry);
  }
  for (const auto& path : Json::Members(data, "paths")) {
    out << "path " << path.name.GetString() << ' ' << HexOf(BytesOf(Json::Words(path.value))) << '\n';
  }
  const char* separator = "suites ";
  for (const unsigned suite : Json::Numbers(data, "suites")) {
    out << separator << suite;
    separator = ",";
  }
  out << '\n';
  if (Json::Find(data, "sessionTimeoutSeconds") != nullptr) {
    out << "session-timeout " << Json::Number(data, "sessionTimeoutSeconds") << '\n';
  }
  for (const auto& [member, entry] : {std::pair("latencyMs", "latency "), std::pair("delayMs", "delay ")}) {
    if (Json::Find(data, member) != nullptr) {
      out << entry << Json::Number(data, member) << '\n';
    }
  }
}

/// Answers to Get Sensor Thresholds and Get Sensor Reading: of each sensor that a record stands for, in turn; the last
/// one again.
void WriteReadings(std::ostream& out, const Value& document) {
  constexpr unsigned kLunMask = 0x03;
  for (const auto& record : Json::List(document, "sdr")) {
    const std::string place = " at=" + std::to_string(Json::Number(record, "owner", kBmcAddress)) +
                              " lun=" + std::to_string(Json::Number(record, "place", 0) & kLunMask);
    if (const Bytes thresholds = LiveThresholds(record); !thresholds.empty()) {
      const auto number = static_cast<u8>(Json::Number(record, "sensor"));
      out << "rule 04 27 " << HexOf({number}) << place << " reply=00" << HexOf(thresholds) << '\n';
    }
    const auto readings = Json::List(record, "readings");
    if (readings.Empty()) {
      continue;
    }
    for (unsigned index = 0; index < SharedBy(record); ++index) {
      const Value& reading = readings[std::min<rapidjson::SizeType>(index, readings.Size() - 1)];
      const auto number = static_cast<u8>(Json::Number(record, "sensor") + index);
      out << "rule 04 2D " << HexOf({number}) << place << " reply=" << HexOf(BytesOf(Json::Words(reading))) << '\n';
    }
  }
}

/// Answers to Get LAN Configuration Parameters; a channel that has any lacks the others.
void WriteLanParameters(std::ostream& out, const Value& document) {
  for (const auto& channel : Json::Members(document, "lan")) {
    const std::string number = channel.name.GetString();
    for (const auto& parameter : channel.value.GetObject()) {
      out << "rule 0C 02 " << PatternOf(number + ' ' + parameter.name.GetString()) << " reply=0011"
          << HexOf(BytesOf(Json::Words(parameter.value))) << '\n';
    }
    out << "rule 0C 02 " << PatternOf(number) << " reply=80\n";
  }
}

const Value& FaultNamed(const Value& document, const std::string& name) {
  const Value* faults = Json::Find(document, "faults");
  const Value* fault = faults == nullptr ? nullptr : Json::Find(*faults, name.c_str());
  if (fault == nullptr) {
    throw std::runtime_error("the machine has no fault \"ipmi:" + name + '"');
  }
  return *fault;
}

/// The event log: its entries, again and again with later times until there are as many as "selEntries" of the machine
/// or of a fault says. An entry is its type and the 13 bytes that follow.
std::vector<Bytes> EventLog(const Value& document, const Machine& machine) {
  constexpr std::size_t kEntrySize = 14;
  const auto entries = Json::List(document, "sel");
  unsigned count = Json::Number(document, "selEntries", entries.Size());
  for (const std::string& fault : machine.FaultsOf("ipmi")) {
    count = Json::Number(FaultNamed(document, fault), "selEntries", count);
  }
  std::vector<Bytes> log;
  for (unsigned number = 0; number < count && !entries.Empty(); ++number) {
    Bytes entry = BytesOf(Json::Words(entries[number % entries.Size()]));
    if (entry.size() != kEntrySize) {
      throw std::runtime_error("an entry of the event log must have 14 bytes");
    }
    if (entry[0] < kFirstTypeWithoutTime) {
      const unsigned later = entry[2] + number / entries.Size();  // in steps of 256 seconds
      entry[2] = static_cast<u8>(later);
      entry[3] = static_cast<u8>(entry[3] + (later >> 8));
    }
    log.push_back(std::move(entry));
  }
  return log;
}

std::string Replies(const Value& document, const Machine& machine) {
  std::ostringstream out;
  WriteReplies(out, document);
  WriteReadings(out, document);
  for (const auto& satellite : Json::List(document, "satellites")) {
    out << "satellite " << Json::Number(satellite, "address") << ' ' << Json::Text(satellite, "replies", "ack-first")
        << '\n';
    WriteReadings(out, satellite);
  }
  WriteLanParameters(out, document);
  for (const auto& device : Json::List(document, "fru")) {
    out << "fru " << Json::Number(device, "id") << ' ' << HexOf(FruImage(device)) << '\n';
  }
  unsigned id = 0;
  for (const auto& record : Json::List(document, "sdr")) {
    ++id;
    out << "record " << id << ' ' << SdrRecord(record, id).size() << '\n';
  }
  unsigned event = 0;
  for (const Bytes& entry : EventLog(document, machine)) {
    ++event;
    if (entry[0] < kFirstTypeWithoutTime) {
      out << "event " << event << ' ' << HexOf({entry.begin() + 1, entry.begin() + 5}) << '\n';
    }
  }
  std::string replies;
  for (const std::string& fault : machine.FaultsOf("ipmi")) {
    std::ostringstream text;
    WriteReplies(text, FaultNamed(document, fault));
    replies += text.str();
  }
  return replies + out.str();
}

void WriteController(std::ostream& out, unsigned address, bool hasDeviceRecords, const Value& device) {
  const std::string firmware = Json::Text(device, "firmwareRevision");
  const std::size_t point = std::min(firmware.find('.'), firmware.size());
  out << "mc_add " << address << ' ' << Json::Number(device, "deviceId")
      << (hasDeviceRecords ? " has-device-sdrs " : " no-device-sdrs ") << Json::Number(device, "deviceRevision") << ' '
      << firmware.substr(0, point) << " 0x" << firmware.substr(std::min(point + 1, firmware.size())) << ' '
      << Json::Number(device, "deviceSupport") << ' ' << Json::Number(device, "manufacturerId") << ' '
      << Json::Number(device, "productId") << '\n';
}

void WriteBytes(std::ostream& out, const Bytes& bytes) {
  for (const u8 byte : bytes) {
    out << ' ' << unsigned{byte};
  }
  out << '\n';
}

void WriteFruDevices(std::ostream& out, unsigned address, const Value& controller) {
  for (const auto& device : Json::List(controller, "fru")) {
    const Bytes image = FruImage(device);
    out << "mc_add_fru_data " << address << ' ' << Json::Number(device, "id") << ' ' << image.size() << " data";
    WriteBytes(out, image);
  }
}

/// Its own records, and what it is.
void WriteSatellite(std::ostream& out, const Value& satellite) {
  const unsigned address = Json::Number(satellite, "address");
  const Value* device = Json::Find(satellite, "device");
  const auto records = Json::List(satellite, "sdr");
  if (device == nullptr) {
    throw std::runtime_error("a satellite without \"device\"");
  }
  WriteController(out, address, !records.Empty(), *device);
  WriteFruDevices(out, address, satellite);
  unsigned id = 0;
  for (const auto& record : records) {
    out << "device_sdr_add " << address << " 0";
    WriteBytes(out, SdrRecord(record, ++id));
  }
  out << "mc_enable " << address << '\n';
}

void WriteRepository(std::ostream& out, const Value& document) {
  unsigned id = 0;
  for (const auto& record : Json::List(document, "sdr")) {
    out << "main_sdr_add " << kBmc;
    WriteBytes(out, SdrRecord(record, ++id));
    if (Json::Find(record, "sensor") != nullptr && Json::Find(record, "record") == nullptr) {
      const unsigned sensor = Json::Number(record, "sensor");
      out << "sensor_add " << kBmc << " 0 " << sensor << ' ' << Json::Number(record, "sensorType") << " 1\n"
          << "sensor_set_value " << kBmc << " 0 " << sensor << ' ' << Json::Number(record, "value") << " 0\n";
    }
  }
}

void WriteEventLog(std::ostream& out, const std::vector<Bytes>& log) {
  constexpr unsigned kRoom = 4000;
  if (log.empty()) {
    return;
  }
  out << "sel_enable " << kBmc << ' ' << kRoom << " 10\n";
  for (const Bytes& entry : log) {
    out << "sel_add " << kBmc;
    WriteBytes(out, entry);
  }
}

std::string Guid(const Value& document) {
  std::string digits = Json::Text(document, "guid");
  digits.erase(std::remove(digits.begin(), digits.end(), '-'), digits.end());
  return digits;
}

/// ipmi_sim reads names in double quotes, which have no escapes.
void CheckAccount(const Account& account) {
  constexpr std::size_t kLongestName = 16;
  constexpr std::size_t kLongestPassword = 20;
  if (account.user.size() > kLongestName || account.password.size() > kLongestPassword ||
      (account.user + account.password).find_first_of("\"\n") != std::string::npos) {
    throw std::runtime_error("machine.json: account \"" + account.user +
                             "\" cannot log in over IPMI: up to 16 and 20 characters, without quotes");
  }
}

}  // namespace

IpmiConfiguration ReadIpmiData(const Machine& machine) {
  try {
    const rapidjson::Document document = Json::ReadObject(machine.folder / "ipmi.json");
    const Value* device = Json::Find(document, "device");
    if (device == nullptr) {
      throw std::runtime_error("no \"device\"");
    }
    std::ostringstream emulator;
    emulator << "mc_setbmc " << kBmc << '\n';
    WriteController(emulator, kBmcAddress, false, *device);
    WriteFruDevices(emulator, kBmcAddress, document);
    WriteRepository(emulator, document);
    WriteEventLog(emulator, EventLog(document, machine));
    for (const auto& satellite : Json::List(document, "satellites")) {
      WriteSatellite(emulator, satellite);
    }
    emulator << "mc_enable " << kBmc << "\nend_of_machine\n";
    return {emulator.str(), Replies(document, machine), Guid(document)};
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("ipmi.json: ") + error.what());
  }
}

std::string LanConfiguration(const Machine& machine, const IpmiConfiguration& data, unsigned short port, bool withIpv6,
                             const std::string& loadLibrary) {
  std::ostringstream out;
  out << "name \"kelvar\"\nset_working_mc " << kBmc << '\n';
  unsigned channel = 1;
  for (const char* address : {"127.0.0.1", "::1"}) {
    if (channel > 1 && !withIpv6) {
      break;
    }
    out << "startlan " << channel++ << "\n addr " << address << ' ' << port << "\n priv_limit admin\n";
    for (const char* level : {"callback", "user", "operator", "admin"}) {
      out << " allowed_auths_" << level << " none md5 straight\n";
    }
    out << " guid " << data.guid << "\nendlan\n";
  }
  out << "user 1 true \"\" \"\" user 10\n";
  unsigned number = 2;
  for (const Account& account : machine.accounts) {
    CheckAccount(account);
    out << "user " << number++ << " true \"" << account.user << "\" \"" << account.password << "\" admin 10\n";
  }
  out << loadLibrary;
  return out.str();
}

}  // namespace Kelvar::Simulator

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

constexpr const char* bmc = "0x20";
constexpr u8 firstTypeWithoutTime = 0xE0;

void WriteRule(std::ostream& out, const Value& rule) {
  out << "rule " << Json::Text(rule, "netFn") << ' ' << Json::Text(rule, "command") << ' '
      << PatternOf(Json::Text(rule, "prefix", ""));
  for (const char* name : {"skip", "times", "delay", "truncate"}) {
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
  if (Json::Find(data, "latencyMs") != nullptr) {
    out << "latency " << Json::Number(data, "latencyMs") << '\n';
  }
}

/// Answers to Get Sensor Thresholds and Get Sensor Reading: of each sensor that a record stands for, in turn; the last
/// one again.
void WriteReadings(std::ostream& out, const Value& document) {
  for (const auto& record : Json::List(document, "sdr")) {
    if (const Bytes thresholds = LiveThresholds(record); !thresholds.empty()) {
      const auto number = static_cast<u8>(Json::Number(record, "sensor"));
      out << "rule 04 27 " << HexOf({number}) << " reply=00" << HexOf(thresholds) << '\n';
    }
    const auto readings = Json::List(record, "readings");
    if (readings.Empty()) {
      continue;
    }
    for (unsigned index = 0; index < SharedBy(record); ++index) {
      const Value& reading = readings[std::min<rapidjson::SizeType>(index, readings.Size() - 1)];
      const auto number = static_cast<u8>(Json::Number(record, "sensor") + index);
      out << "rule 04 2D " << HexOf({number}) << " reply=" << HexOf(BytesOf(Json::Words(reading))) << '\n';
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
    throw std::runtime_error("the machine knows no fault \"ipmi:" + name + '"');
  }
  return *fault;
}

/// The event log: its entries, again and again with later times until there are as many as "selEntries" of the machine
/// or of a fault says. An entry is its type and the 13 bytes that follow.
std::vector<Bytes> EventLog(const Value& document, const Machine& machine) {
  constexpr std::size_t entrySize = 14;
  const auto entries = Json::List(document, "sel");
  unsigned count = Json::Number(document, "selEntries", entries.Size());
  for (const std::string& fault : machine.FaultsOf("ipmi")) {
    count = Json::Number(FaultNamed(document, fault), "selEntries", count);
  }
  std::vector<Bytes> log;
  for (unsigned number = 0; number < count && !entries.Empty(); ++number) {
    Bytes entry = BytesOf(Json::Words(entries[number % entries.Size()]));
    if (entry.size() != entrySize) {
      throw std::runtime_error("an entry of the event log must have 14 bytes");
    }
    if (entry[0] < firstTypeWithoutTime) {
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
    if (entry[0] < firstTypeWithoutTime) {
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

void WriteController(std::ostream& out, const Value& device) {
  const std::string firmware = Json::Text(device, "firmwareRevision");
  const std::size_t point = std::min(firmware.find('.'), firmware.size());
  out << "mc_setbmc " << bmc << '\n'
      << "mc_add " << bmc << ' ' << Json::Number(device, "deviceId") << " no-device-sdrs "
      << Json::Number(device, "deviceRevision") << ' ' << firmware.substr(0, point) << " 0x"
      << firmware.substr(std::min(point + 1, firmware.size())) << ' ' << Json::Number(device, "deviceSupport") << ' '
      << Json::Number(device, "manufacturerId") << ' ' << Json::Number(device, "productId") << '\n';
}

void WriteBytes(std::ostream& out, const Bytes& bytes) {
  for (const u8 byte : bytes) {
    out << ' ' << unsigned{byte};
  }
  out << '\n';
}

void WriteFruDevices(std::ostream& out, const Value& document) {
  for (const auto& device : Json::List(document, "fru")) {
    const Bytes image = FruImage(device);
    out << "mc_add_fru_data " << bmc << ' ' << Json::Number(device, "id") << ' ' << image.size() << " data";
    WriteBytes(out, image);
  }
}

void WriteRepository(std::ostream& out, const Value& document) {
  unsigned id = 0;
  for (const auto& record : Json::List(document, "sdr")) {
    out << "main_sdr_add " << bmc;
    WriteBytes(out, SdrRecord(record, ++id));
    if (Json::Find(record, "sensor") != nullptr && Json::Find(record, "record") == nullptr) {
      const unsigned sensor = Json::Number(record, "sensor");
      out << "sensor_add " << bmc << " 0 " << sensor << ' ' << Json::Number(record, "sensorType") << " 1\n"
          << "sensor_set_value " << bmc << " 0 " << sensor << ' ' << Json::Number(record, "value") << " 0\n";
    }
  }
}

void WriteEventLog(std::ostream& out, const std::vector<Bytes>& log) {
  constexpr unsigned room = 4000;
  if (log.empty()) {
    return;
  }
  out << "sel_enable " << bmc << ' ' << room << " 10\n";
  for (const Bytes& entry : log) {
    out << "sel_add " << bmc;
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
  constexpr std::size_t longestName = 16;
  constexpr std::size_t longestPassword = 20;
  if (account.user.size() > longestName || account.password.size() > longestPassword ||
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
    WriteController(emulator, *device);
    WriteFruDevices(emulator, document);
    WriteRepository(emulator, document);
    WriteEventLog(emulator, EventLog(document, machine));
    emulator << "mc_enable " << bmc << "\nend_of_machine\n";
    return {emulator.str(), Replies(document, machine), Guid(document)};
  } catch (const std::runtime_error& error) {
    throw std::runtime_error(std::string("ipmi.json: ") + error.what());
  }
}

std::string LanConfiguration(const Machine& machine, const IpmiConfiguration& data, unsigned short port, bool withIpv6,
                             const std::string& loadLibrary) {
  std::ostringstream out;
  out << "name \"kelvar\"\nset_working_mc " << bmc << '\n';
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

#pragma once

#include <gmock/gmock.h>

#include <kelvar/Inventory.h>

#include "module/reader/ipmi/ReadingContext.h"
#include "module/reader/ipmi/SdrCache.h"
#include "support/ScriptedIpmi.h"

namespace Kelvar::Reader::Ipmi {
using Model::Family;
using Model::FamilyStatus;
using std::chrono::milliseconds;
using Test::Bytes;
using Test::BytesOf;
using Test::IpmiAnswer;
using Test::NoExchange;
using Test::Refuse;
using Test::Reply;
using Test::ScriptedIpmi;
using Test::operator+;
using testing::ElementsAre;

/// Time passes by sleeping, and by `step` with each look at the clock.
class FakeClock : public Clock {
 public:
  TimePoint Now() override { return now_ += step; }
  void Sleep(milliseconds pause) override {
    pauses.push_back(static_cast<int>(pause.count()));
    now_ += pause;
  }

  milliseconds step{0};
  std::vector<int> pauses;

 private:
  TimePoint now_{};
};

/// A full record of a temperature sensor whose thresholds software may set.
inline Bytes SensorBytes(u8 number, const std::string& name, u8 owner = 0x20, u8 linearisation = 0) {
  Bytes record = {
      0,    0,    0x51, 0x01, 0, owner, 0,    number, 7,    1,    0x7F, 0x68,
      0x01, 0x01, 0,    0,    0, 0,     0x18, 0,      0x80, 0x01, 0,    linearisation,
      1,    0,    0,    0,    0, 0,     0,    0,      0,    0,    0x7F, 0x80,
      0,    90,   80,   0,    0, 0,     1,    1,      0,    0,    0,    static_cast<u8>(0xC0 | name.size())};
  record.insert(record.end(), name.begin(), name.end());
  record[4] = static_cast<u8>(record.size() - 5);
  return record;
}

/// One whose thresholds software may read alone.
inline Bytes FixedSensorBytes(u8 number, const std::string& name) {
  Bytes record = SensorBytes(number, name);
  record[11] = 0x64;
  return record;
}

inline u8 ZeroSum(const Bytes& bytes) {
  u8 sum = 0;
  for (const u8 byte : bytes) {
    sum = static_cast<u8>(sum + byte);
  }
  return static_cast<u8>(-sum);
}

/// An area of a FRU device: what comes before its fields, and these.
inline Bytes AreaBytes(const Bytes& start, const std::vector<std::string>& fields) {
  Bytes area = Bytes{1, 0} + start;
  for (const std::string& field : fields) {
    area.push_back(static_cast<u8>(0xC0 | field.size()));
    area.insert(area.end(), field.begin(), field.end());
  }
  area.push_back(0xC1);
  area.resize((area.size() + 8) / 8 * 8 - 1);
  area[1] = static_cast<u8>((area.size() + 1) / 8);
  area.push_back(ZeroSum(area));
  return area;
}

/// A FRU device of a chassis, a board and a product area; of those that are not empty.
inline Bytes FruBytes(const Bytes& chassis, const Bytes& board, const Bytes& product) {
  Bytes header = {1, 0};
  Bytes image;
  for (const Bytes* area : {&chassis, &board, &product}) {
    header.push_back(area->empty() ? u8{0} : static_cast<u8>(1 + image.size() / 8));
    image = image + *area;
  }
  header = header + Bytes{0, 0};
  header.push_back(ZeroSum(header));
  return header + image;
}

/// A FRU device with a product area of a name and a serial number.
inline Bytes FruBytes(const std::string& name) {
  return FruBytes({}, {}, AreaBytes({0}, {"", name, "", "", "SN1", "", ""}));
}

class ReadingTest : public testing::Test {
 protected:
  ReadingTest() {
    bmc_.On(0x06, 0x01, {Reply({0x20, 1, 2, 0x45, 2, 0xBF, 0x4C, 0xFE, 0, 1, 0})});
    for (u8 number = 0; number < 4; ++number) {
      bmc_.AddSDR(SensorBytes(number, "Temp " + std::to_string(number)));
      bmc_.On(0x04, 0x2D, {number}, {Reply({static_cast<u8>(40 + number), 0xC0, 0xC0})});
    }
    SdrCache::ClearProcess();
  }

  /// An entry of the event log: a limit that was exceeded.
  static IpmiAnswer Entry(u16 id, unsigned next) {
    return Reply({static_cast<u8>(next), static_cast<u8>(next >> 8), static_cast<u8>(id), static_cast<u8>(id >> 8),
                  0x02, static_cast<u8>(id), 0, 0, 0x60, 0x20, 0, 0x04, 0x01, 1, 0x05, 0x01, 0xFF, 0xFF});
  }

  /// A log of so many entries, numbered from 1 on.
  void ScriptedLog(u8 count, const std::function<IpmiAnswer(u16 id)>& entry) {
    bmc_.On(0x0A, 0x40, {Reply({0x51, count, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0})});
    bmc_.On(0x0A, 0x43, [entry](const Bytes& request) {
      const auto id = static_cast<u16>(request.at(2) | request.at(3) << 8);
      return entry(id == 0 ? 1 : id);
    });
  }

  Model::Inventory Read(const std::vector<Family>& families) { return ReadFrom(bmc_, families); }

  Model::Inventory ReadFrom(ScriptedIpmi& bmc, const std::vector<Family>& families) {
    options_.families = families;
    Model::Inventory inventory;
    const auto transport = bmc.Transport();
    transport->connect();
    ReadInventory(*transport, clock_, options_, inventory);
    return inventory;
  }

  /// The readings of all sensors, "-" for none.
  static std::string Readings(const Model::Inventory& inventory) {
    std::string text;
    for (const Model::Sensor& sensor : inventory.sensors) {
      text += (sensor.reading ? std::to_string(static_cast<int>(*sensor.reading)) : "-") + " ";
    }
    return text;
  }

  ScriptedIpmi bmc_;
  FakeClock clock_;
  ReadingOptions options_;
};

}  // namespace Kelvar::Reader::Ipmi

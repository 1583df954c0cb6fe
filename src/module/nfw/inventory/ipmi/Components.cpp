#include <algorithm>
#include <iterator>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "common/log/LogMacros.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareIPMIFRUFunc.h"
#include "module/nfw/inventory/ipmi/NodeFirmwareInventoryImpIPMI.h"

namespace Kelvar {

using Code = NodeFirmwareInventory::INVENTORYRETURNCODE;

namespace {

/// Gathers the components as key and value texts.
class OtherVPDCollector {
 public:
  using Entry = std::map<std::string, std::string>;

  /// The first value of a key stays; an empty value is kept as one blank.
  void AddProperty(const std::string& key, const std::string& value) {
    if (value.empty()) {
      current_.try_emplace(key, " ");
    } else if (!key.empty()) {
      current_.try_emplace(key, value);
    }
  }

  void CommitEntry() { entries_.push_back(std::exchange(current_, {})); }
  const std::vector<Entry>& GetEntries() const { return entries_; }

 private:
  std::vector<Entry> entries_;
  Entry current_;
};

constexpr const char* kBoardKeys[] = {"Name", "Vendor", "FRUNumber", "PartNumber", "SerialNumber"};
constexpr const char* kFRUKeys[] = {"Vendor", "FRUNumber", "PartNumber", "SerialNumber"};

/// A value for each key, in order; one blank for each when there are no values.
template <std::size_t N>
void AddAll(OtherVPDCollector& collector, const char* const (&keys)[N], const std::vector<std::string>& values) {
  for (std::size_t i = 0; i < N; ++i) {
    collector.AddProperty(keys[i], i < values.size() ? values[i] : std::string());
  }
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

/// "CPU", any character, and a digit: a processor socket. Throws std::out_of_range for a text that ends before it.
bool IsNumberedCPU(const std::string& name) {
  const std::size_t start = name.find("CPU");
  if (start == std::string::npos) {
    return false;
  }
  const char character = name.at(start + 4);
  return character >= '0' && character <= '9';
}

/// Names of devices that are listed elsewhere, or are not components.
bool IsExcluded(const std::string& name) {
  static constexpr std::string_view kNames[] = {"QVL8", "GWMA", "KJ6"};
  static constexpr std::string_view kParts[] = {"Processor", "DIMM", "YTD4", "WHEA", "CMOS", "ServerView", "Chassis"};
  return IsNumberedCPU(name) || std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames) ||
         std::any_of(std::begin(kParts), std::end(kParts), [&](std::string_view part) { return Contains(name, part); });
}

bool HasVisibleCharacter(std::string_view name) {
  return std::any_of(name.begin(), name.end(), [](char c) { return c >= 33 && c <= 126; });
}

std::string CleanName(const std::string& name) {
  constexpr std::size_t kMemoryCardLength = 13;
  constexpr std::size_t kLongest = 100;
  if (Contains(name, "Memory Card")) {
    return name.substr(0, kMemoryCardLength);
  }
  std::string clean;
  std::copy_if(name.begin(), name.end(), std::back_inserter(clean),
               [](char c) { return static_cast<signed char>(c) >= 32; });
  clean.resize(std::min(clean.size(), kLongest));
  return clean;
}

void AddSystemBoard(OtherVPDCollector& collector, IpmiClientInterface& client) {
  IPMIFRULocator board;
  IPMIRequestFRULocator().IPMIGetFRUData(board, client, true);
  KELVAR_LOG(4) << "FRUInstZero, data available: " << board.IsfruDataAvailable();
  if (!board.IsfruDataAvailable()) {
    return;
  }
  collector.AddProperty("Name", "System Board");
  collector.AddProperty("ElementName", "System Board");
  board.BuildBoardInfo("", true);
  AddAll(collector, kBoardKeys, board.GetBoardInfo());
  collector.CommitEntry();
}

/// Takes the locator, so that what is read from its device goes with it.
void AddComponent(OtherVPDCollector& collector, IpmiClientInterface& client, IPMIFRULocator locator) {
  IPMIRequestFRULocator().IPMIGetFRUData(locator, client, false);
  const std::string name = locator.GetIDString();
  KELVAR_LOG(4) << "FRULocatorInstance " << name << ", data available: " << locator.IsfruDataAvailable();
  if (!locator.IsfruDataAvailable() || IsExcluded(name) || !HasVisibleCharacter(name)) {
    return;
  }
  const std::string clean = CleanName(name);
  collector.AddProperty("Name", clean);
  collector.AddProperty("ElementName", clean);
  const bool isCPU = Contains(name, "CPU") && !Contains(name, "CPU Card") && !Contains(name, "CPU Board");
  locator.BuildBoardInfo(isCPU ? "CPU" : name, false);
  AddAll(collector, kFRUKeys, locator.GetFRUInfo());
  collector.CommitEntry();
}

std::string ValueOf(const OtherVPDCollector::Entry& entry, const char* key) {
  const auto found = entry.find(key);
  return found != entry.end() ? found->second : std::string();
}

OtherSystemVPD ToRecord(const OtherVPDCollector::Entry& entry) {
  OtherSystemVPD record;
  record.Name = ValueOf(entry, "ElementName");
  record.SerialNumber = ValueOf(entry, "SerialNumber");
  record.PartNumber = ValueOf(entry, "PartNumber");
  record.Manufacturer = ValueOf(entry, "Vendor");
  record.FruPartNumber = ValueOf(entry, "FRUNumber");
  return record;
}

}  // namespace

Code NodeFirmwareInventoryImpIPMI::GetNodeOtherSystemVPD(std::vector<OtherSystemVPD>& list) {
  return Run("GetNodeOtherSystemVPD", [&](Code& code) {
    OtherVPDCollector collector;
    AddSystemBoard(collector, *client_);
    std::vector<IPMIFRULocator> locators;
    IPMIRequestFRULocator().IPMIGetSDREntry(locators, *client_);
    KELVAR_LOG(4) << "===============FRULocatorVector.size: ================" << locators.size();
    for (IPMIFRULocator& locator : locators) {
      AddComponent(collector, *client_, std::move(locator));
    }
    std::vector<OtherSystemVPD> found;
    for (const OtherVPDCollector::Entry& entry : collector.GetEntries()) {
      if (entry.size() > 2) {
        found.push_back(ToRecord(entry));
      }
    }
    if (!found.empty()) {
      list.insert(list.end(), std::make_move_iterator(found.begin()), std::make_move_iterator(found.end()));
      code = NodeFirmwareInventory::INVENTORY_SUCCESS;
    }
    KELVAR_LOG(4) << "Finish buildNodeOtherSystemVPD, ret =" << code;
  });
}

}  // namespace Kelvar

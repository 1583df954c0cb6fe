#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "module/reader/redfish/Collected.h"
#include "module/reader/redfish/Link.h"

namespace Kelvar::Reader {

namespace {

struct KindRow {
  std::string_view part;  ///< of the path of what it belongs to, in lower case
  const char* kind;
};

constexpr std::array<KindRow, 6> kByPath = {{
    {"/bios", "bios"},
    {"/powersupplies", "psu"},
    {"/networkadapters", "nic"},
    {"/networkinterfaces", "nic"},
    {"/drives", "drive"},
    {"/ethernetinterfaces", "nic"},
}};

// Where neither the first table nor the words tell: much stands under a manager that is not its own firmware.
constexpr KindRow kByManager{"managers/", "bmc"};

// Whole words of the name or the last segment of the path. The first row that fits counts.
constexpr std::array<KindRow, 30> kByWord = {{
    {"driver", "driver"},
    {"cpld", "cpld"},
    {"fpga", "cpld"},
    {"pld", "cpld"},
    {"programmable logic", "cpld"},
    {"in backplane", "drive"},
    {"backplane", "other"},
    {"power management", "other"},
    {"erot", "other"},
    {"bios", "bios"},
    {"uefi", "bios"},
    {"system rom", "bios"},
    {"psu", "psu"},
    {"power supply", "psu"},
    {"gpu", "gpu"},
    {"drive", "drive"},
    {"ssd", "drive"},
    {"nvme", "drive"},
    {"hdd", "drive"},
    {"disk", "drive"},
    {"bmc", "bmc"},
    {"management controller", "bmc"},
    {"service processor", "bmc"},
    {"nic", "nic"},
    {"ethernet", "nic"},
    {"network", "nic"},
    {"lan", "nic"},
    {"lom", "nic"},
    {"infiniband", "nic"},
    {"ocp", "nic"},
}};

bool IsLetter(char letter) {
  return letter >= 'a' && letter <= 'z';
}

/// Whether the words are in the text with no letter next to them.
bool HasWord(std::string_view text, std::string_view word) {
  for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
    const auto end = at + word.size();
    if ((at == 0 || !IsLetter(text[at - 1])) && (end == text.size() || !IsLetter(text[end]))) {
      return true;
    }
  }
  return false;
}

bool IsUpper(char letter) {
  return letter >= 'A' && letter <= 'Z';
}

/// "HostBIOSImage" -> "host bios image".
std::string SplitWords(std::string_view text) {
  std::string words;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool ends = i + 1 < text.size() && IsLetter(text[i + 1]);
    const bool begins = i > 0 && IsUpper(text[i]) && (IsLetter(text[i - 1]) || (IsUpper(text[i - 1]) && ends));
    words += begins ? " " : "";
    words += text[i];
  }
  return Lower(words);
}

std::string WordsOf(const Model::Firmware& firmware) {
  const std::string told = firmware.name + '\n' + std::string(LastSegment(firmware.id));
  return Lower(told) + '\n' + SplitWords(told);
}

const char* KindByPath(JsonValue related) {
  for (const JsonValue item : related.Elements()) {
    const std::string path = Lower(LinkedId(item, ""));
    for (const KindRow& row : kByPath) {
      if (path.find(row.part) != std::string::npos) {
        return row.kind;
      }
    }
  }
  return nullptr;
}

std::string KindOf(const Model::Firmware& firmware, JsonValue related) {
  if (const char* const kind = KindByPath(related)) {
    return kind;
  }
  const std::string path = Lower(firmware.component);
  const bool ofGpu = HasWord(path, "gpu") && !HasWord(path, "erot");
  const std::string words = WordsOf(firmware);
  for (const KindRow& row : kByWord) {
    if (HasWord(words, row.part)) {
      // "GPU_FW_CPU_0" alone does not say which of the two it is for.
      const bool unclear = std::string_view(row.kind) == "gpu" && !ofGpu && HasWord(words, "cpu");
      return unclear ? "other" : row.kind;
    }
  }
  return path.find(kByManager.part) != std::string::npos ? kByManager.kind : ofGpu ? "gpu" : "other";
}

std::string BankOf(const Model::Firmware& firmware) {
  const std::string words = WordsOf(firmware);
  const bool isBackup =
      HasWord(words, "backup") || HasWord(words, "redundant system rom") || HasWord(words, "previous");
  return isBackup ? "backup" : HasWord(words, "primary") ? "primary" : "";
}

/// Whether two texts name one version: the one may say more than the other ("2.10" and "System 2.10 (03/2026)").
bool SameVersion(const std::string& left, const std::string& right) {
  const bool leftShorter = left.size() < right.size();
  const std::string& part = leftShorter ? left : right;
  const std::string& whole = leftShorter ? right : left;
  if (left == right) {
    return true;
  }
  const auto at = part.size() < 4 ? std::string::npos : whole.find(part);
  return at != std::string::npos && (at == 0 || whole[at - 1] == ' ' || whole[at - 1] == 'v') &&
         (at + part.size() == whole.size() || whole[at + part.size()] == ' ');
}

/// The firmware that a system or manager names itself: version, kind and property.
struct OwnFirmware {
  const std::string& version;
  const char* kind;
  const char* property;
};

OwnFirmware OwnOf(const Model::System& system) {
  return system.kind == "system" ? OwnFirmware{system.bios_version, "bios", "BiosVersion"}
                                 : OwnFirmware{system.firmware_version, "bmc", "FirmwareVersion"};
}

/// Whether the firmware is the one that the system or manager names itself.
bool IsOwn(const Model::Firmware& firmware, const Model::System& system) {
  const std::string& version = OwnOf(system).version;
  const bool isNamed = system.kind == "manager" && firmware.name.size() >= 3 &&
                       (firmware.name == system.model || version.rfind(firmware.name + ' ', 0) == 0);
  const bool isFor = Lower(firmware.component) == Lower(system.id) || firmware.kind == "other";
  return isNamed || (isFor && SameVersion(firmware.version, version));
}

void AddOwn(std::vector<Model::Firmware>& list, const Model::System& system) {
  const OwnFirmware told = OwnOf(system);
  Model::Firmware own;
  own.id = system.id + "#/" + told.property;
  own.name = system.name;
  own.kind = told.kind;
  own.version = told.version;
  own.component = system.id;
  list.push_back(std::move(own));
}

/// Whether firmware is of what the system or manager names itself: by its version, or by what it is for.
bool IsOf(const Model::Firmware& firmware, const Model::System& owner) {
  const std::string component = Lower(firmware.component) + '/';
  return firmware.kind == OwnOf(owner).kind &&
         (component.rfind(Lower(owner.id) + '/', 0) == 0 || SameVersion(firmware.version, OwnOf(owner).version) ||
          IsOwn(firmware, owner));
}

/// Those whose own firmware is not in the list. The only one of its kind needs no more than firmware of that kind.
std::vector<const Model::System*> Unlisted(const std::vector<Model::Firmware>& list,
                                           const std::vector<const Model::System*>& owners) {
  std::vector<const Model::System*> unlisted;
  for (const Model::System* const owner : owners) {
    const std::string_view kind = OwnOf(*owner).kind;
    const bool isOnly = std::count_if(owners.begin(), owners.end(),
                                      [&](const Model::System* one) { return OwnOf(*one).kind == kind; }) == 1;
    const bool isListed = std::any_of(list.begin(), list.end(), [&](const Model::Firmware& firmware) {
      return isOnly ? firmware.kind == kind : IsOf(firmware, *owner);
    });
    if (!isListed) {
      unlisted.push_back(owner);
    }
  }
  return unlisted;
}

/// Of an image that a manager may run, whether it does.
void TakeImage(const Collected& from, Model::Firmware& firmware) {
  const auto image = from.images.find(Lower(firmware.id));
  if (image != from.images.end()) {
    firmware.kind = firmware.kind == "other" ? "bmc" : firmware.kind;
    FillOne(firmware.bank, std::string(image->second ? "primary" : "backup"));
  }
}

/// The record that runs the firmware, or that holds what does.
std::string OwnerOf(const Collected& from, const std::string& component) {
  const bool isRecord = !from.Wants(Model::Family::Components) || from.places.count(Lower(component)) != 0;
  return isRecord ? from.SpellingOf(component) : from.PlaceAbove(component);
}

}  // namespace

void NoteImages(Collected& to, JsonValue manager) {
  const std::string active = Lower(LinkedId(manager, "Links/ActiveSoftwareImage"));
  const auto images = FirstOf(At(manager, "Links/SoftwareImages"), kMostDetails);
  for (const JsonValue image : images) {
    if (!active.empty() && images.size() > 1) {
      const std::string id = Lower(LinkedId(image, ""));
      to.images.emplace(id, id == active);
    }
  }
}

void TakeFirmware(Collected& to, const Node& node, JsonValue json) {
  Model::Firmware firmware;
  firmware.id = node.id;
  firmware.name = TextAt(json, "Name");
  firmware.version = TextAt(json, "Version");
  firmware.date = Date(TextAt(json, "ReleaseDate"));
  firmware.updateable = BoolAt(json, "Updateable");
  firmware.state = StatusOf(json).state;
  const auto related = json["RelatedItem"].Elements();
  firmware.component = related.empty() ? "" : LinkedId(related.front(), "");
  firmware.kind = KindOf(firmware, json["RelatedItem"]);
  firmware.bank = BankOf(firmware);
  to.inventory->firmware.push_back(std::move(firmware));
}

void FinishFirmware(Collected& from) {
  if (!from.Wants(Model::Family::Firmware)) {
    return;
  }
  auto& list = from.inventory->firmware;
  std::vector<const Model::System*> owners;
  for (const Model::System& system : from.inventory->systems) {
    if (system.kind != "chassis" && !OwnOf(system).version.empty()) {
      owners.push_back(&system);
    }
  }
  for (const Model::System* const owner : owners) {
    for (Model::Firmware& firmware : list) {
      if (IsOwn(firmware, *owner)) {
        firmware.kind = OwnOf(*owner).kind;
      }
    }
  }
  for (const Model::System* const owner : Unlisted(list, owners)) {
    AddOwn(list, *owner);
  }
  for (Model::Firmware& firmware : list) {
    TakeImage(from, firmware);
    firmware.component = OwnerOf(from, firmware.component);
  }
  std::stable_sort(list.begin(), list.end(), [](const Model::Firmware& left, const Model::Firmware& right) {
    return NaturalLess(left.id, right.id);
  });
}

}  // namespace Kelvar::Reader

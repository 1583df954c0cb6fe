#include <algorithm>
#include <cstdio>
#include <iterator>
#include <set>
#include <vector>

#include "module/reader/ipmi/EntityNames.h"
#include "module/reader/ipmi/FruReader.h"
#include "module/reader/ipmi/ReadingContext.h"

namespace Kelvar::Reader::Ipmi {

namespace {

using Model::Component;

constexpr u8 kOwnAddress = 0x20;
constexpr char kOwnId[] = "fru-0";
constexpr EntityKey kSystemBoard = {7, 1};
constexpr EntityKey kSystemChassis = {23, 1};

std::string FirstOf(const std::string& first, const std::string& second) {
  return first.empty() ? second : first;
}

/// What a device is: the product, else the board, else the chassis that it is part of.
void AddAreas(const FruInventory& fru, Component& component) {
  const FruProduct product = fru.product.value_or(FruProduct());
  const FruBoard board = fru.board.value_or(FruBoard());
  component.manufacturer = FirstOf(product.manufacturer, board.manufacturer);
  component.model = FirstOf(product.productName, board.productName);
  component.part_number = FirstOf(product.partNumber, board.partNumber);
  component.serial_number = FirstOf(product.serialNumber, board.serialNumber);
  component.asset_tag = product.assetTag;
  if (fru.chassis && !fru.product && !fru.board) {
    component.part_number = fru.chassis->partNumber;
    component.serial_number = fru.chassis->serialNumber;
  }
  component.power_capacity_watts = fru.records.capacityWatts;
  if (component.name.empty()) {
    component.name = component.model;
  }
}

/// Whether numbers of an area are not those of its device.
bool Differs(const Component& device, const std::string& partNumber, const std::string& serialNumber) {
  return (!partNumber.empty() && partNumber != device.part_number) ||
         (!serialNumber.empty() && serialNumber != device.serial_number);
}

Component PartOf(const Component& device, const char* kind, const std::string& partNumber,
                 const std::string& serialNumber) {
  Component part;
  part.id = device.id + "-" + kind;
  part.parent = device.id;
  part.kind = kind;
  part.name = device.name + " " + kind;
  part.part_number = partNumber;
  part.serial_number = serialNumber;
  return part;
}

/// The board and the chassis of a device that has numbers of its own.
void AddParts(const FruInventory& fru, const Component& device, std::vector<Component>& parts) {
  if (fru.board && Differs(device, fru.board->partNumber, fru.board->serialNumber)) {
    Component board = PartOf(device, "board", fru.board->partNumber, fru.board->serialNumber);
    board.manufacturer = fru.board->manufacturer;
    board.model = fru.board->productName;
    parts.push_back(std::move(board));
  }
  if (fru.chassis && Differs(device, fru.chassis->partNumber, fru.chassis->serialNumber)) {
    parts.push_back(PartOf(device, "chassis", fru.chassis->partNumber, fru.chassis->serialNumber));
  }
}

/// The parts of the system itself, which FRU device 0 describes. Its product area is the system's.
void AddOwnFru(const FruInventory& fru, ReadingContext& context) {
  auto& components = context.inventory.components;
  if (fru.chassis) {
    Component chassis;
    chassis.id = "fru-0-chassis";
    chassis.parent = kSystemId;
    chassis.kind = "chassis";
    chassis.name = "Chassis";
    chassis.part_number = fru.chassis->partNumber;
    chassis.serial_number = fru.chassis->serialNumber;
    components.push_back(std::move(chassis));
    context.componentOfEntity[kSystemChassis] = components.back().id;
  }
  if (fru.board) {
    Component board;
    board.id = kOwnId;
    board.parent = kSystemId;
    board.kind = "board";
    board.manufacturer = fru.board->manufacturer;
    board.model = fru.board->productName;
    board.name = FirstOf(fru.board->productName, "System board");
    board.part_number = fru.board->partNumber;
    board.serial_number = fru.board->serialNumber;
    components.push_back(std::move(board));
    context.componentOfEntity[kSystemBoard] = components.back().id;
  } else {
    std::erase_if(context.componentOfEntity, [](const auto& component) { return component.second == kOwnId; });
  }
}

std::string Description(const FruLocator& locator) {
  const ControllerAddress place = PlaceOf(locator).at;
  return "FRU device " + std::to_string(locator.fruId) + (place.IsPlain() ? "" : " of " + NameOf(place)) +
         (locator.name.empty() ? "" : " (" + locator.name + ")");
}

void AddLocated(const FruLocator& locator, FruReader& reader, ReadingContext& context, FamilyProgress& progress) {
  Component component;
  component.id = ComponentIdOf(locator);
  component.kind = EntityKindOf(locator.entity.id).kind;
  component.name = locator.name;
  const FruInventory fru = ReadFru(reader, PlaceOf(locator), Description(locator), progress, component.state);
  AddAreas(fru, component);
  if (component.kind == std::string("other") && fru.records.capacityWatts) {
    component.kind = "power_supply";
  }
  if (component.name.empty()) {
    component.name = "FRU device " + std::to_string(locator.fruId);
  }
  component.parent = context.ContainerOf(locator.entity);
  std::vector<Component> parts;
  AddParts(fru, component, parts);
  auto& components = context.inventory.components;
  components.push_back(std::move(component));
  components.insert(components.end(), std::make_move_iterator(parts.begin()), std::make_move_iterator(parts.end()));
}

}  // namespace

std::string ComponentIdOf(const FruLocator& locator) {
  if (locator.accessAddress == kOwnAddress && locator.logical) {
    return "fru-" + std::to_string(locator.fruId);
  }
  std::array<char, 32> text{};
  (void)std::snprintf(text.data(), text.size(), "fru-%02x-%u-%02x", unsigned{locator.accessAddress},
                      unsigned{locator.channel}, unsigned{locator.fruId});
  return text.data();
}

void ReadComponents(ReadingContext& context) {
  FamilyProgress progress("components");
  const Repository& repository = RepositoryOf(context);
  AddOwnFru(OwnFru(context, progress), context);
  progress.Inherit(context.repositoryProgress);
  FruReader reader(context.commands);
  std::set<std::string> seen;
  for (const FruLocator& locator : repository.frus) {
    const std::string id = ComponentIdOf(locator);
    if (id != kOwnId && seen.insert(id).second) {
      AddLocated(locator, reader, context, progress);
    }
  }
  context.inventory.ResultOf(Model::Family::Components) = progress.Result(!context.inventory.components.empty());
}

}  // namespace Kelvar::Reader::Ipmi

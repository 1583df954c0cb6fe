#include "module/reader/ipmi/EntityNames.h"

#include <array>

namespace Kelvar::Reader::Ipmi {

namespace {

constexpr EntityKind kUnknown = {"unknown", "other", ""};

/// By entity ID.
constexpr std::array<EntityKind, 67> kEntities = {{
    {"unspecified", "other", ""},
    {"other", "other", ""},
    {"unknown", "other", ""},
    {"processor", "processor", "cpu"},
    {"disk or disk bay", "drive", "storage_device"},
    {"peripheral bay", "other", ""},
    {"system management module", "other", ""},
    {"system board", "board", "system_board"},
    {"memory module", "memory", "memory"},
    {"processor module", "board", "cpu_subsystem"},
    {"power supply", "power_supply", "power_supply"},
    {"add-in card", "pcie_device", ""},
    {"front panel board", "board", "front"},
    {"back panel board", "board", "back"},
    {"power system board", "board", "power_subsystem"},
    {"drive backplane", "backplane", "backplane"},
    {"system internal expansion board", "board", ""},
    {"other system board", "board", "system_board"},
    {"processor board", "board", "cpu_subsystem"},
    {"power unit", "other", "power_subsystem"},
    {"power module", "other", "power_subsystem"},
    {"power management", "other", "power_subsystem"},
    {"chassis back panel board", "board", "back"},
    {"system chassis", "chassis", "chassis"},
    {"sub-chassis", "chassis", "chassis"},
    {"other chassis board", "board", "chassis"},
    {"disk drive bay", "other", "storage_bay"},
    {"peripheral bay", "other", ""},
    {"device bay", "other", ""},
    {"fan", "fan", "fan"},
    {"cooling unit", "other", "cooling_subsystem"},
    {"cable", "other", ""},
    {"memory device", "memory", "memory"},
    {"system management software", "other", ""},
    {"system firmware", "other", ""},
    {"operating system", "other", ""},
    {"system bus", "other", ""},
    {"group", "other", ""},
    {"remote management communication device", "other", ""},
    {"external environment", "other", ""},
    {"battery", "battery", "battery"},
    {"processing blade", "board", ""},
    {"connectivity switch", "other", ""},
    {"processor/memory module", "board", "cpu_subsystem"},
    {"I/O module", "board", ""},
    {"processor/IO module", "board", ""},
    {"management controller firmware", "other", ""},
    {"IPMI channel", "other", ""},
    {"PCI bus", "other", ""},
    {"PCI Express bus", "other", ""},
    {"SCSI bus", "other", ""},
    {"SATA/SAS bus", "other", ""},
    {"processor front-side bus", "other", ""},
    {"real time clock", "other", ""},
    {"reserved", "other", ""},
    {"air inlet", "other", "intake"},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"reserved", "other", ""},
    {"air inlet", "other", "intake"},
    {"processor", "processor", "cpu"},
    {"system board", "board", "system_board"},
}};

}  // namespace

const EntityKind& EntityKindOf(u8 id) noexcept {
  return id < kEntities.size() ? kEntities[id] : kUnknown;
}

}  // namespace Kelvar::Reader::Ipmi

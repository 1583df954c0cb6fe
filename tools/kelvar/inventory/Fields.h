#pragma once

#include <kelvar/Inventory.h>

namespace Kelvar::Tool {

// One function for each record of the model: calls `visit(name, value)` for every member, in the order of the header.
// The names are the keys of every output. A member that is added to a record and not here does not compile.

template <typename Visit>
void VisitFields(const Model::System& record, Visit&& visit) {
  const auto& [id, kind, name, manufacturer, model, part_number, sku, serial_number, asset_tag, uuid, host_name,
               bios_version, firmware_version, power_state, state, health, health_text, last_reset_time,
               uptime_seconds] = record;
  visit("id", id);
  visit("kind", kind);
  visit("name", name);
  visit("manufacturer", manufacturer);
  visit("model", model);
  visit("part_number", part_number);
  visit("sku", sku);
  visit("serial_number", serial_number);
  visit("asset_tag", asset_tag);
  visit("uuid", uuid);
  visit("host_name", host_name);
  visit("bios_version", bios_version);
  visit("firmware_version", firmware_version);
  visit("power_state", power_state);
  visit("state", state);
  visit("health", health);
  visit("health_text", health_text);
  visit("last_reset_time", last_reset_time);
  visit("uptime_seconds", uptime_seconds);
}

template <typename Visit>
void VisitFields(const Model::Firmware& record, Visit&& visit) {
  const auto& [id, name, kind, version, date, bank, updateable, state, component] = record;
  visit("id", id);
  visit("name", name);
  visit("kind", kind);
  visit("version", version);
  visit("date", date);
  visit("bank", bank);
  visit("updateable", updateable);
  visit("state", state);
  visit("component", component);
}

template <typename Visit>
void VisitFields(const Model::Component& record, Visit&& visit) {
  const auto& [id, parent, kind, name, location, manufacturer, model, part_number, spare_part_number, serial_number,
               asset_tag, firmware_version, state, health, health_text, capacity_bytes, speed_mhz, speed_mbps, cores,
               threads, media, protocol, predicted_life_left_percent, power_capacity_watts, mac_address] = record;
  visit("id", id);
  visit("parent", parent);
  visit("kind", kind);
  visit("name", name);
  visit("location", location);
  visit("manufacturer", manufacturer);
  visit("model", model);
  visit("part_number", part_number);
  visit("spare_part_number", spare_part_number);
  visit("serial_number", serial_number);
  visit("asset_tag", asset_tag);
  visit("firmware_version", firmware_version);
  visit("state", state);
  visit("health", health);
  visit("health_text", health_text);
  visit("capacity_bytes", capacity_bytes);
  visit("speed_mhz", speed_mhz);
  visit("speed_mbps", speed_mbps);
  visit("cores", cores);
  visit("threads", threads);
  visit("media", media);
  visit("protocol", protocol);
  visit("predicted_life_left_percent", predicted_life_left_percent);
  visit("power_capacity_watts", power_capacity_watts);
  visit("mac_address", mac_address);
}

template <typename Visit>
void VisitFields(const Model::Sensor& record, Visit&& visit) {
  const auto& [id, name, kind, reading, unit, lower_fatal, lower_critical, lower_caution, upper_caution, upper_critical,
               upper_fatal, range_min, range_max, state, health, health_text, context, parent, states] = record;
  visit("id", id);
  visit("name", name);
  visit("kind", kind);
  visit("reading", reading);
  visit("unit", unit);
  visit("lower_fatal", lower_fatal);
  visit("lower_critical", lower_critical);
  visit("lower_caution", lower_caution);
  visit("upper_caution", upper_caution);
  visit("upper_critical", upper_critical);
  visit("upper_fatal", upper_fatal);
  visit("range_min", range_min);
  visit("range_max", range_max);
  visit("state", state);
  visit("health", health);
  visit("health_text", health_text);
  visit("context", context);
  visit("parent", parent);
  visit("states", states);
}

template <typename Visit>
void VisitFields(const Model::Led& record, Visit&& visit) {
  const auto& [id, name, parent, purpose, state] = record;
  visit("id", id);
  visit("name", name);
  visit("parent", parent);
  visit("purpose", purpose);
  visit("state", state);
}

template <typename Visit>
void VisitFields(const Model::LogEntry& record, Visit&& visit) {
  const auto& [log, id, created, severity, message, message_id, arguments, source, resolved] = record;
  visit("log", log);
  visit("id", id);
  visit("created", created);
  visit("severity", severity);
  visit("message", message);
  visit("message_id", message_id);
  visit("arguments", arguments);
  visit("source", source);
  visit("resolved", resolved);
}

template <typename Visit>
void VisitFields(const Model::NetworkAddress& record, Visit&& visit) {
  const auto& [address, prefix_length, family, origin, gateway] = record;
  visit("address", address);
  visit("prefix_length", prefix_length);
  visit("family", family);
  visit("origin", origin);
  visit("gateway", gateway);
}

template <typename Visit>
void VisitFields(const Model::NetworkInterface& record, Visit&& visit) {
  const auto& [owner, id, name, mac_address, link, speed_mbps, vlan, host_name, fqdn, dhcp, addresses, name_servers] =
      record;
  visit("owner", owner);
  visit("id", id);
  visit("name", name);
  visit("mac_address", mac_address);
  visit("link", link);
  visit("speed_mbps", speed_mbps);
  visit("vlan", vlan);
  visit("host_name", host_name);
  visit("fqdn", fqdn);
  visit("dhcp", dhcp);
  visit("addresses", addresses);
  visit("name_servers", name_servers);
}

template <typename Visit>
void VisitFields(const Model::NetworkService& record, Visit&& visit) {
  const auto& [name, enabled, port, cipher_suites] = record;
  visit("name", name);
  visit("enabled", enabled);
  visit("port", port);
  visit("cipher_suites", cipher_suites);
}

/// Calls `visit(records)` for the list, or for network the two lists, of a family.
template <typename Visit>
void VisitRecords(const Model::Inventory& inventory, Model::Family family, Visit&& visit) {
  switch (family) {
    case Model::Family::System:
      return visit(inventory.systems);
    case Model::Family::Firmware:
      return visit(inventory.firmware);
    case Model::Family::Components:
      return visit(inventory.components);
    case Model::Family::Sensors:
      return visit(inventory.sensors);
    case Model::Family::Leds:
      return visit(inventory.leds);
    case Model::Family::Logs:
      return visit(inventory.log_entries);
    case Model::Family::Network:
      visit(inventory.network_interfaces);
      return visit(inventory.network_services);
  }
}

}  // namespace Kelvar::Tool
